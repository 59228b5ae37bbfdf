#include "collector/http/Text.h"

#include <gtest/gtest.h>

namespace pelto::collector {
namespace {

TEST(EqualsIgnoringCase, TakesAsciiLettersOfBothCasesForTheSame) {
  EXPECT_TRUE(equals_ignoring_case("", ""));
  EXPECT_TRUE(equals_ignoring_case("Content-TYPE", "content-type"));
  EXPECT_FALSE(equals_ignoring_case("Content-Type", "Content-Typ"));
  EXPECT_FALSE(equals_ignoring_case("@", "`")) << "as far apart as a letter and its small form";
  EXPECT_FALSE(equals_ignoring_case("[", "{"));
}

TEST(DecodePercent, ReplacesEachEncodedByteOnce) {
  EXPECT_EQ(decode_percent(""), "");
  EXPECT_EQ(decode_percent("a+b"), "a+b");
  EXPECT_EQ(decode_percent("%41%2f%2F"), "A//");
  EXPECT_EQ(decode_percent("%2541"), "%41");
  EXPECT_EQ(decode_percent("%00x"), std::string("\0x", 2));
  EXPECT_EQ(decode_percent("%ff"), "\xff");
}

TEST(DecodePercent, MissingDigitsAreNone) {
  for (const std::string_view text : {"%", "%4", "%4g", "%g4", "%%41", "a%", "% 41"}) {
    EXPECT_FALSE(decode_percent(text)) << text;
  }
}

}  // namespace
}  // namespace pelto::collector
