#include "upload/ReportPayload.h"

#include <gtest/gtest.h>

#include "platform/Stream.h"

namespace {

std::string PayloadOf(const std::string& bytes) {
  const CStream stream(std::tmpfile());
  EXPECT_TRUE(stream);
  std::fwrite(bytes.data(), 1, bytes.size(), stream.Get());
  std::rewind(stream.Get());
  return ReadReportPayload(stream.Get());
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
