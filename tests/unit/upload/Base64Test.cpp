#include "upload/Base64.h"

#include <gtest/gtest.h>

namespace {

TEST(Base64Encode, MatchesTheTestVectorsOfRfc4648) {
  EXPECT_EQ(Base64Encode("", 0, '\n'), "");
  EXPECT_EQ(Base64Encode("f", 0, '\n'), "Zg==");
  EXPECT_EQ(Base64Encode("fo", 0, '\n'), "Zm8=");
  EXPECT_EQ(Base64Encode("foo", 0, '\n'), "Zm9v");
  EXPECT_EQ(Base64Encode("foob", 0, '\n'), "Zm9vYg==");
  EXPECT_EQ(Base64Encode("fooba", 0, '\n'), "Zm9vYmE=");
  EXPECT_EQ(Base64Encode("foobar", 0, '\n'), "Zm9vYmFy");
}

TEST(Base64Encode, UsesTheStandardAlphabetInItsOrder) {
  std::string bytes;
  for (unsigned value = 0; value < 64; value += 4) {
    const unsigned group = value << 18 | (value + 1) << 12 | (value + 2) << 6 | (value + 3);
    bytes += static_cast<char>(group >> 16);
    bytes += static_cast<char>(group >> 8 & 0xFF);
    bytes += static_cast<char>(group & 0xFF);
  }
  EXPECT_EQ(Base64Encode(bytes, 0, '\n'),
            "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/");
}

TEST(Base64Encode, BytesAreUnsigned) {
  EXPECT_EQ(Base64Encode("\xFF", 0, '\n'), "/w==");
  EXPECT_EQ(Base64Encode("\xFF\xFE", 0, '\n'), "//4=");
  EXPECT_EQ(Base64Encode("\x80\x81\x82", 0, '\n'), "gIGC");
  EXPECT_EQ(Base64Encode(std::string_view("\0", 1), 0, '\n'), "AA==");
}

TEST(Base64Encode, WithoutALineLengthThereIsOneLine) {
  for (const std::size_t length : {100U, 1000U, 100'000U}) {
    const std::string text = Base64Encode(std::string(length, '\n'), 0, '\n');
    EXPECT_EQ(text.find('\n'), std::string::npos);
    EXPECT_EQ(text.size(), (length + 2) / 3 * 4);
  }
}

TEST(Base64Encode, SeparatorFollowsEachMultipleOfTheLineLength) {
  EXPECT_EQ(Base64Encode("foobar", 4, '\n'), "Zm9v\nYmFy\n");
  EXPECT_EQ(Base64Encode("foobar", 3, '|'), "Zm9|vYm|Fy");
  EXPECT_EQ(Base64Encode("foobar", 1, ' '), "Z m 9 v Y m F y ");
}

TEST(Base64Encode, PaddingIsNotCounted) {
  EXPECT_EQ(Base64Encode("f", 2, '\n'), "Zg\n==");
  EXPECT_EQ(Base64Encode("fo", 3, '\n'), "Zm8\n=");
  EXPECT_EQ(Base64Encode("f", 3, '\n'), "Zg==");
}

}  // namespace
