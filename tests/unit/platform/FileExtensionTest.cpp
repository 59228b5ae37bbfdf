#include "platform/FileExtension.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(FindExtension, IsWhatStandsFromTheLastDotOn) {
  EXPECT_EQ(FindExtension("C:\\a\\b.dwg"), ".dwg");
  EXPECT_EQ(FindExtension("c.tar.gz"), ".gz");
  EXPECT_EQ(FindExtension(".profile"), ".profile");
  EXPECT_EQ(FindExtension("a.DwG"), ".DwG");
  EXPECT_EQ(FindExtension("a."), ".");
  EXPECT_EQ(FindExtension("a..b"), ".b");
}

TEST(FindExtension, ABackslashOrABlankBehindTheDotLeavesNone) {
  EXPECT_EQ(FindExtension("C:\\a.b\\c"), "");
  EXPECT_EQ(FindExtension("a.b c"), "");
  EXPECT_EQ(FindExtension("x.dwg "), "");
  EXPECT_EQ(FindExtension("a.b\\"), "");
}

TEST(FindExtension, SlashAndColonDoNotSeparate) {
  EXPECT_EQ(FindExtension("a.b/c"), ".b/c");
  EXPECT_EQ(FindExtension("a.b:c"), ".b:c");
}

TEST(FindExtension, APathWithoutADotHasNone) {
  EXPECT_EQ(FindExtension(""), "");
  EXPECT_EQ(FindExtension("C:\\folder\\file"), "");
}

TEST(FindExtension, KnowsNoLimit) {
  const std::string path(900, 'x');
  EXPECT_EQ(FindExtension(path + "." + path), "." + path);
}

}  // namespace
