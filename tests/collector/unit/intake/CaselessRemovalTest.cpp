#include "collector/intake/CaselessRemoval.h"

#include <gtest/gtest.h>

#include <string>

namespace pelto::collector {

namespace {

TEST(CaselessRemoval, PutsOneCharacterInPlaceOfAWord) {
  EXPECT_EQ(remove_words("from user@example.com, to", {"user@example.com"}), "from *, to");
  EXPECT_EQ(remove_words("user", {"user"}), "*");
  EXPECT_EQ(remove_words("useruser", {"user"}), "**");
}

TEST(CaselessRemoval, LetterCaseMakesNoDifference) {
  EXPECT_EQ(remove_words("User USER uSeR", {"useR"}), "* * *");
  EXPECT_EQ(remove_words("x ÄRGER@x.de y ärger@X.DE", {"Ärger@x.de"}), "x * y *");
  EXPECT_EQ(remove_words("ΑΒΓ Я", {"αβγ", "я"}), "* *");
}

TEST(CaselessRemoval, LeavesWhatIsNotAWord) {
  EXPECT_EQ(remove_words("use uses uuse us", {"user"}), "use uses uuse us");
  EXPECT_EQ(remove_words("", {"user"}), "");
  EXPECT_EQ(remove_words("text", {}), "text");
  EXPECT_EQ(remove_words("text", {""}), "text");
}

TEST(CaselessRemoval, FindsAWordThatBeginsInsideOfItsOwnBeginning) {
  EXPECT_EQ(remove_words("aab aaab ababac", {"aab"}), "* a* ababac");
  EXPECT_EQ(remove_words("abababac", {"ababac"}), "ab*");
}

TEST(CaselessRemoval, OccurrencesThatOverlapGiveWayTogether) {
  EXPECT_EQ(remove_words("xaaay", {"aa"}), "x*y");
  EXPECT_EQ(remove_words("xabcdy", {"abc", "bcd"}), "x*y");
  EXPECT_EQ(remove_words("xabcdefy", {"cd", "abcdef"}), "x*y");
  EXPECT_EQ(remove_words("xabcdy", {"ab", "cd"}), "x**y");
}

TEST(CaselessRemoval, MakesNoNewOccurrence) {
  EXPECT_EQ(remove_words("aabb", {"ab"}), "a*b");
  EXPECT_EQ(remove_words("aa*", {"a*"}), "a\u2588");
  EXPECT_EQ(remove_words("aa*\u2588", {"a*", "\u2588"}), "a\u2589\u2589");
}

TEST(CaselessRemoval, KeepsTheOtherCharactersWhole) {
  EXPECT_EQ(remove_words("日user本😀user", {"user"}), "日*本😀*");
  EXPECT_EQ(remove_words("日本語", {"本"}), "日*語");
  // Small letters of a different length.
  EXPECT_EQ(remove_words("\u212A\u212Bx", {"k\u00E5"}), "*x");
}

// A search that compares at each place anew would take minutes.
TEST(CaselessRemoval, TakesNoLongerForWordsThatNearlyFit) {
  const std::string text(std::size_t{1} << 22U, 'a');
  const std::string word = std::string(4000, 'a') + "b";
  EXPECT_EQ(remove_words(text, {word, "b" + word}), text);
  EXPECT_EQ(remove_words(text, {std::string(4000, 'a')}), "*");
}

}  // namespace

}  // namespace pelto::collector
