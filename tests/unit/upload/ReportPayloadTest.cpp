#include "upload/ReportPayload.h"

#include <gtest/gtest.h>

#include "platform/Stream.h"

namespace {

std::string ReadPayload(const std::string& bytes) {
  const CStream stream(std::tmpfile());
  EXPECT_TRUE(stream);
  std::fwrite(bytes.data(), 1, bytes.size(), stream.Get());
  std::rewind(stream.Get());
  return ReadReportPayload(stream.Get());
}

// docs/compatibility.md, 35.
TEST(ReportPayload, LastCharacterIsDoubled) {
  EXPECT_EQ(ReadPayload("X"), "XX");
  EXPECT_EQ(ReadPayload("<a/>\n"), "<a/>\n\n");
}

TEST(ReportPayload, EmptyFileGivesOneNulByte) {
  EXPECT_EQ(ReadPayload(""), std::string(1, '\0'));
}

TEST(ReportPayload, MissingFileGivesNothing) {
  EXPECT_EQ(ReadReportPayload(nullptr), "");
}

TEST(ReportPayload, FileOfAnyLengthIsReadWhole) {
  for (const size_t length : {65'535U, 65'536U, 65'537U, 1'000'000U}) {
    std::string bytes(length, 'a');
    bytes.back() = 'z';
    EXPECT_EQ(ReadPayload(bytes), bytes + "z") << length;
  }
}

}  // namespace
