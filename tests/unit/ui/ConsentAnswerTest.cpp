#include "ui/ConsentAnswer.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace {

const std::wstring Unkept;

struct Address {
  std::wstring typed;
  std::wstring kept;
};

/// An address that is kept as it is.
Address Kept(std::wstring typed) {
  return {typed, typed};
}

/// An address of which nothing is kept.
Address Dropped(std::wstring typed) {
  return {std::move(typed), {}};
}

class KeptEmailOf : public testing::TestWithParam<Address> {};

TEST_P(KeptEmailOf, IsWhatHasADotAfterItsFirstAtSign) {
  EXPECT_EQ(FilterEmail(GetParam().typed), GetParam().kept);
}

INSTANTIATE_TEST_SUITE_P(Everyday, KeptEmailOf,
                         testing::Values(Kept(L"user@example.com"), Kept(L"first.last@example.com"),
                                         Kept(L"first.last@mail.example.com"),
                                         Kept(L"user+tag@example.co"), Kept(L"USER@EXAMPLE.COM"),
                                         Kept(L"o'neil@example.com"), Kept(L"\"a b\"@example.com"),
                                         Kept(L"user@192.0.2.1")));

INSTANTIATE_TEST_SUITE_P(NoAtSign, KeptEmailOf,
                         testing::Values(Dropped(L""), Dropped(L" "), Dropped(L"user"),
                                         Dropped(L"example.com"), Dropped(L"."), Dropped(L"..."),
                                         Dropped(L"user at example.com")));

INSTANTIATE_TEST_SUITE_P(NoDotAfterIt, KeptEmailOf,
                         testing::Values(Dropped(L"@"), Dropped(L"user@example"), Dropped(L".@"),
                                         Dropped(L"first.last@example"), Dropped(L"a.b.c@@"),
                                         Dropped(L".user@")));

// The last dot decides, and where the first at-sign stands.
INSTANTIATE_TEST_SUITE_P(Borders, KeptEmailOf,
                         testing::Values(Kept(L"@."), Kept(L".@."), Kept(L"a@.b"), Kept(L"a@b."),
                                         Kept(L"@.@"), Kept(L"a@b@c.d"), Kept(L"a@b.c@d"),
                                         Kept(L"a.b@c.d@"), Dropped(L"a.@b@c")));

INSTANTIATE_TEST_SUITE_P(NothingIsTrimmed, KeptEmailOf,
                         testing::Values(Kept(L"  user@example.com"), Kept(L"user@example.com  "),
                                         Kept(L" @ . "), Kept(L"\tuser@example.com\t"),
                                         Kept(L"user@example.com; other@example.com")));

INSTANTIATE_TEST_SUITE_P(OtherScripts, KeptEmailOf,
                         testing::Values(Kept(L"us\u00e9r@ex\u00e4mple.com"),
                                         Kept(L"\u7528\u6237@\u4f8b\u5b50.\u516c\u53f8"),
                                         // Full-width forms are neither an at-sign nor a dot.
                                         Dropped(L"user\uff20example.com"),
                                         Dropped(L"user@example\u3002com")));

INSTANTIATE_TEST_SUITE_P(Long, KeptEmailOf,
                         testing::Values(Kept(std::wstring(1'990, L'a') + L"@example.c"),
                                         Kept(L"a@b." + std::wstring(100'000, L'c')),
                                         Dropped(std::wstring(100'000, L'a'))));

TEST(KeptEmail, LooksAtTextBehindANul) {
  const std::wstring typed(L"user@\0.com", 10);
  EXPECT_EQ(FilterEmail(typed), typed);
}

TEST(AnswerFrom, PutsParticipationDownAsOne) {
  EXPECT_EQ(MakeAnswer(true, Unkept, false).state, 1);
}

TEST(AnswerFrom, PutsARefusalDownAsTwo) {
  EXPECT_EQ(MakeAnswer(false, Unkept, false).state, 2);
}

TEST(AnswerFrom, KeepsTheAddressWhateverTheAnswer) {
  EXPECT_EQ(MakeAnswer(true, L"user@example.com", false).email, L"user@example.com");
  EXPECT_EQ(MakeAnswer(false, L"user@example.com", false).email, L"user@example.com");
}

TEST(AnswerFrom, DropsWhatIsNoAddress) {
  EXPECT_EQ(MakeAnswer(true, L"user", false).email, L"");
}

TEST(AnswerFrom, ShowsMessagesUnlessTheUserIsTiredOfThem) {
  EXPECT_TRUE(MakeAnswer(true, Unkept, false).showsMessage);
  EXPECT_FALSE(MakeAnswer(true, Unkept, true).showsMessage);
}

TEST(PreselectsParticipation, UnlessTheUserHasRefused) {
  EXPECT_FALSE(PreselectsParticipation(2));
  for (const int state : {std::numeric_limits<int>::min(), -1, 0, 1, RemindLaterState, 4, 7,
                          std::numeric_limits<int>::max()}) {
    EXPECT_TRUE(PreselectsParticipation(state)) << state;
  }
}

TEST(RemindLaterState, IsThree) {
  EXPECT_EQ(RemindLaterState, 3);
}

}  // namespace
