#include "store/DateText.h"

#include <gtest/gtest.h>

#include <ostream>

/// For the messages of failed comparisons.
static void PrintTo(const CivilTime& time, std::ostream* out) {
  *out << time.year << '-' << time.month << '-' << time.day << ' ' << time.hour << ':'
       << time.minute << ':' << time.second << '.' << time.millisecond;
}

namespace {

TEST(DateText, IsYearToSecondInUtc) {
  EXPECT_EQ(FormatDateText({2024, 3, 5, 14, 7, 9, 0}), L"2024-03-05T14:07:09Z");
  EXPECT_EQ(FormatDateText({1999, 12, 31, 23, 59, 59, 999}), L"1999-12-31T23:59:59Z");
}

TEST(DateText, IsReadBack) {
  EXPECT_EQ(ParseDateText(L"2024-03-05T14:07:09Z"), (CivilTime{2024, 3, 5, 14, 7, 9, 0}));
}

TEST(DateText, IsReadByItsPositionsAlone) {
  EXPECT_EQ(ParseDateText(L"2024/03x05 14.07~09 and more"), (CivilTime{2024, 3, 5, 14, 7, 9, 0}));
  EXPECT_EQ(ParseDateText(L"2024-3 -5 T 4:7 : 9Z"), (CivilTime{2024, 3, 5, 4, 7, 9, 0}));
}

TEST(DateText, FieldsThatAreNoNumbersAreZero) {
  EXPECT_EQ(ParseDateText(L"2024-03-05Tab:07:09Z"), (CivilTime{2024, 3, 5, 0, 7, 9, 0}));
  EXPECT_EQ(ParseDateText(L"abcd-ef-ghTij:kl:mnZ"), std::nullopt);
}

TEST(DateText, ATextThatEndsEarlyLacksZeros) {
  EXPECT_EQ(ParseDateText(L"2024-03-05"), (CivilTime{2024, 3, 5, 0, 0, 0, 0}));
  EXPECT_EQ(ParseDateText(L"2024-03-05T14:07:0"), (CivilTime{2024, 3, 5, 14, 7, 0, 0}));
  EXPECT_EQ(ParseDateText(L"20"), std::nullopt);
  EXPECT_EQ(ParseDateText(L""), std::nullopt);
}

TEST(DateText, NumbersThatMakeNoDateAndTimeAreNone) {
  for (const wchar_t* text :
       {L"2024-00-05T14:07:09Z", L"2024-13-05T14:07:09Z", L"2024--1-05T14:07:09Z",
        L"2024-03-00T14:07:09Z", L"2024-03-32T14:07:09Z", L"2024-04-31T14:07:09Z",
        L"2023-02-29T14:07:09Z", L"2024-03--1T14:07:09Z", L"2024-03-05T24:07:09Z",
        L"2024-03-05T-1:07:09Z", L"2024-03-05T14:60:09Z", L"2024-03-05T14:-1:09Z",
        L"2024-03-05T14:07:60Z", L"2024-03-05T14:07:-1Z"}) {
    EXPECT_EQ(ParseDateText(text), std::nullopt) << testing::PrintToString(std::wstring(text));
  }
  EXPECT_EQ(ParseDateText(L"2024-02-29T23:59:59Z"), (CivilTime{2024, 2, 29, 23, 59, 59, 0}));
}

}  // namespace
