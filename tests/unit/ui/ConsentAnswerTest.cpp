#include "ui/ConsentAnswer.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace {

TEST(FilterEmail, KeepsATextWhoseLastDotFollowsItsFirstAtSign) {
  const std::wstring Kept[] = {
      L"user@example.com", L"first.last@mail.example.com", L"user+tag@example.co",
      L"USER@EXAMPLE.COM", L"o'neil@example.com", L"\"a b\"@example.com", L"user@192.0.2.1",
      // Borders.
      L"@.", L".@.", L"a@.b", L"a@b.", L"@.@", L"a@b@c.d", L"a@b.c@d", L"a.b@c.d@",
      // Nothing is trimmed.
      L"  user@example.com", L"user@example.com  ", L" @ . ", L"\tuser@example.com\t",
      L"user@example.com; other@example.com",
      // Other scripts.
      L"us\u00e9r@ex\u00e4mple.com", L"\u7528\u6237@\u4f8b\u5b50.\u516c\u53f8",
      // Long texts and a NUL.
      std::wstring(1'990, L'a') + L"@example.c", L"a@b." + std::wstring(100'000, L'c'),
      std::wstring(L"user@\0.com", 10)};
  for (const std::wstring& typed : Kept) EXPECT_EQ(FilterEmail(typed), typed);
}

TEST(FilterEmail, DropsAnyOtherText) {
  const std::wstring Dropped[] = {// No at-sign.
                                  L"", L" ", L"user", L"example.com", L".", L"...",
                                  L"user at example.com", std::wstring(100'000, L'a'),
                                  // No dot after it.
                                  L"@", L"user@example", L".@", L"first.last@example", L"a.b.c@@",
                                  L".user@", L"a.@b@c",
                                  // Full-width forms are neither an at-sign nor a dot.
                                  L"user\uff20example.com", L"user@example\u3002com"};
  for (const std::wstring& typed : Dropped) EXPECT_EQ(FilterEmail(typed), L"") << typed.size();
}

TEST(MakeAnswer, StoresParticipationAsOneAndARefusalAsTwo) {
  EXPECT_EQ(MakeAnswer(true, L"", false).state, 1);
  EXPECT_EQ(MakeAnswer(false, L"", false).state, 2);
}

TEST(MakeAnswer, KeepsTheAddressWhateverTheAnswer) {
  EXPECT_EQ(MakeAnswer(true, L"user@example.com", false).email, L"user@example.com");
  EXPECT_EQ(MakeAnswer(false, L"user@example.com", false).email, L"user@example.com");
  EXPECT_EQ(MakeAnswer(true, L"user", false).email, L"");
}

TEST(MakeAnswer, ShowsMessagesUnlessTheUserSilencedThem) {
  EXPECT_TRUE(MakeAnswer(true, L"", false).showsMessage);
  EXPECT_FALSE(MakeAnswer(true, L"", true).showsMessage);
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
