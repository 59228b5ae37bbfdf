#include "upload/ReportPayload.h"

#include <gtest/gtest.h>

#include "platform/Stream.h"

namespace {

std::string PayloadOf(const std::string& bytes) {
  const Stream stream(std::tmpfile());
  EXPECT_NE(stream, nullptr);
  std::fwrite(bytes.data(), 1, bytes.size(), stream.get());
  std::rewind(stream.get());
  return ReadReportPayload(stream.get());
}

TEST(ReportPayload, DoublesTheLastCharacter) {
  EXPECT_EQ(PayloadOf("X"), "XX");
  EXPECT_EQ(PayloadOf("<a/>\n"), "<a/>\n\n");
}

TEST(ReportPayload, OfAnEmptyFileIsOneNulByte) {
  EXPECT_EQ(PayloadOf(""), std::string(1, '\0'));
}

TEST(ReportPayload, OfNoFileIsNothing) {
  EXPECT_EQ(ReadReportPayload(nullptr), "");
}

TEST(ReportPayload, IsWholeWhateverItsLength) {
  for (const size_t length : {65'535U, 65'536U, 65'537U, 1'000'000U}) {
    std::string bytes(length, 'a');
    bytes.back() = 'z';
    EXPECT_EQ(PayloadOf(bytes), bytes + "z") << length;
  }
}

}  // namespace
