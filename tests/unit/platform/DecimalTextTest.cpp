#include "platform/DecimalText.h"

#include <gtest/gtest.h>

#include <cwchar>
#include <limits>

namespace {

constexpr std::int64_t Largest = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t Smallest = std::numeric_limits<std::int64_t>::min();

TEST(ParseInt32, ReadsDecimalDigits) {
  EXPECT_EQ(ParseInt32(std::string_view("0")), 0);
  EXPECT_EQ(ParseInt32(std::string_view("7")), 7);
  EXPECT_EQ(ParseInt32(std::string_view("007")), 7);
  EXPECT_EQ(ParseInt32(std::string_view("2147483647")), 2147483647);
}

TEST(ParseInt32, ReadsOneSign) {
  EXPECT_EQ(ParseInt32(std::string_view("-7")), -7);
  EXPECT_EQ(ParseInt32(std::string_view("+7")), 7);
  EXPECT_EQ(ParseInt32(std::string_view("--7")), 0);
  EXPECT_EQ(ParseInt32(std::string_view("- 7")), 0);
}

TEST(ParseInt32, SkipsLeadingWhiteSpaceOfEveryKind) {
  EXPECT_EQ(ParseInt32(std::string_view(" \t\n\v\f\r7")), 7);
}

TEST(ParseInt32, IgnoresWhatFollowsTheDigits) {
  EXPECT_EQ(ParseInt32(std::string_view("200abc")), 200);
  EXPECT_EQ(ParseInt32(std::string_view("12 34")), 12);
  EXPECT_EQ(ParseInt32(std::string_view("0x1F")), 0);
}

TEST(ParseInt32, WithoutDigitsIsZero) {
  EXPECT_EQ(ParseInt32(std::string_view("")), 0);
  EXPECT_EQ(ParseInt32(std::string_view("abc")), 0);
  EXPECT_EQ(ParseInt32(std::string_view("-")), 0);
  EXPECT_EQ(ParseInt32(std::string_view("   ")), 0);
}

TEST(ParseInt32, WrapsAroundAt32Bits) {
  EXPECT_EQ(ParseInt32(std::string_view("2147483648")), std::numeric_limits<std::int32_t>::min());
  EXPECT_EQ(ParseInt32(std::string_view("4294967295")), -1);
  EXPECT_EQ(ParseInt32(std::string_view("4294967296")), 0);
  EXPECT_EQ(ParseInt32(std::string_view("4294967297")), 1);
  EXPECT_EQ(ParseInt32(std::string_view("-4294967297")), -1);
}

TEST(ParseInt32, ReadsWideTextAlike) {
  EXPECT_EQ(ParseInt32(std::wstring_view(L" -12x")), -12);
  EXPECT_EQ(ParseInt32(std::wstring_view(L"4294967297")), 1);
  EXPECT_EQ(ParseInt32(std::wstring_view(L"\u0661")), 0);  // a digit, but no ASCII digit
}

TEST(ParseInt64, ReadsUpToItsLimits) {
  EXPECT_EQ(ParseInt64("9223372036854775806"), Largest - 1);
  EXPECT_EQ(ParseInt64("9223372036854775807"), Largest);
  EXPECT_EQ(ParseInt64("-9223372036854775807"), Smallest + 1);
  EXPECT_EQ(ParseInt64("-9223372036854775808"), Smallest);
}

TEST(ParseInt64, StopsAtItsLimits) {
  EXPECT_EQ(ParseInt64("9223372036854775808"), Largest);
  EXPECT_EQ(ParseInt64("18446744073709551616"), Largest);
  EXPECT_EQ(ParseInt64("99999999999999999999999999"), Largest);
  EXPECT_EQ(ParseInt64("-9223372036854775809"), Smallest);
  EXPECT_EQ(ParseInt64("-99999999999999999999999999"), Smallest);
}

TEST(ParseInt64, FollowsTheSameRulesAtItsStartAndEnd) {
  EXPECT_EQ(ParseInt64(" \t+42;"), 42);
  EXPECT_EQ(ParseInt64("abc"), 0);
  EXPECT_EQ(ParseInt64(""), 0);
}

TEST(ReadInt64, ReadsTheNumberAtTheStartOfATextAsAScanDoes) {
  const struct {
    const wchar_t* text;
    long long value;
  } rows[] = {
      {L"0", 0},
      {L"12", 12},
      {L"0012", 12},
      {L"+12", 12},
      {L"-12", -12},
      {L" \t\n\v\f\r12", 12},
      {L"12abc", 12},
      {L"12 34", 12},
      {L"1.9", 1},
      {L"0x12", 0},
      {L"9223372036854775807", Largest},
      {L"-9223372036854775808", Smallest},
  };
  for (const auto& [text, value] : rows) {
    EXPECT_EQ(ReadInt64(text), value) << testing::PrintToString(text);
    long long scanned = 0;
    EXPECT_EQ(std::swscanf(text, L"%lld", &scanned), 1) << testing::PrintToString(text);
    EXPECT_EQ(scanned, value) << testing::PrintToString(text);
  }
}

TEST(ReadInt64, WithoutDigitsThereIsNoNumberAsForAScan) {
  for (const wchar_t* const text :
       {L"", L"  ", L"abc", L"-", L"+", L"- 5", L"--5", L"+-5", L".5"}) {
    EXPECT_EQ(ReadInt64(text), std::nullopt) << testing::PrintToString(text);
    long long ignored = 0;
    EXPECT_LT(std::swscanf(text, L"%lld", &ignored), 1) << testing::PrintToString(text);
  }
}

// A scan's result is undefined here, and the run-times differ.
TEST(ReadInt64, StopsAtItsLimits) {
  EXPECT_EQ(ReadInt64(L"9223372036854775808"), Largest);
  EXPECT_EQ(ReadInt64(L"18446744073709551615"), Largest);
  EXPECT_EQ(ReadInt64(L"-9223372036854775809"), Smallest);
  EXPECT_EQ(ReadInt64(L"-99999999999999999999999999"), Smallest);
}

}  // namespace
