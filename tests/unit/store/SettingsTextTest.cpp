#include "store/SettingsText.h"

#include <gtest/gtest.h>

namespace {

TEST(UnescapeLineBreaks, TurnsEveryBackslashNIntoALineFeed) {
  EXPECT_EQ(UnescapeLineBreaks(L"a\\nb"), L"a\nb");
  EXPECT_EQ(UnescapeLineBreaks(L"\\n\\n"), L"\n\n");
  EXPECT_EQ(UnescapeLineBreaks(L"a\\n"), L"a\n");
}

TEST(UnescapeLineBreaks, LeavesEverythingElse) {
  EXPECT_EQ(UnescapeLineBreaks(L""), L"");
  EXPECT_EQ(UnescapeLineBreaks(L"a\\Nb\\tc\\"), L"a\\Nb\\tc\\");
  EXPECT_EQ(UnescapeLineBreaks(L"a\nb"), L"a\nb");
}

TEST(UnescapeLineBreaks, KnowsNoEscapedBackslash) {
  EXPECT_EQ(UnescapeLineBreaks(L"\\\\n"), L"\\\n");
}

}  // namespace
