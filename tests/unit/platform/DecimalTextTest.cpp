#include "platform/DecimalText.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

constexpr std::int32_t Largest32 = std::numeric_limits<std::int32_t>::max();
constexpr std::int32_t Smallest32 = std::numeric_limits<std::int32_t>::min();
constexpr std::int64_t Largest64 = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t Smallest64 = std::numeric_limits<std::int64_t>::min();

std::wstring Widen(std::string_view text) {
  return {text.begin(), text.end()};
}

TEST(DecimalText, IsReadByTheRulesOfTheCRunTime) {
  const struct {
    const char* text;
    std::int32_t value32;
    std::int64_t value64;
  } rows[] = {
      {"0", 0, 0},
      {"7", 7, 7},
      {"007", 7, 7},
      {"+7", 7, 7},
      {"-7", -7, -7},
      {" \t\n\v\f\r7", 7, 7},
      {"200abc", 200, 200},
      {"12 34", 12, 12},
      {"1.9", 1, 1},
      {"0x1F", 0, 0},
      {"2147483646", Largest32 - 1, 2147483646},
      {"2147483647", Largest32, 2147483647},
      {"2147483648", Largest32, 2147483648},
      {"3000000000", Largest32, 3000000000},
      {"4294967297", Largest32, 4294967297},
      {"4294967496", Largest32, 4294967496},
      {"-2147483647", Smallest32 + 1, -2147483647},
      {"-2147483648", Smallest32, -2147483648},
      {"-2147483649", Smallest32, -2147483649},
      {"-4294967297", Smallest32, -4294967297},
      {"9223372036854775806", Largest32, Largest64 - 1},
      {"9223372036854775807", Largest32, Largest64},
      {"9223372036854775808", Largest32, Largest64},
      {"18446744073709551616", Largest32, Largest64},
      {"99999999999999999999999999", Largest32, Largest64},
      {"-9223372036854775807", Smallest32, Smallest64 + 1},
      {"-9223372036854775808", Smallest32, Smallest64},
      {"-9223372036854775809", Smallest32, Smallest64},
      {"-99999999999999999999999999", Smallest32, Smallest64},
  };
  for (const auto& [text, value32, value64] : rows) {
    EXPECT_EQ(ParseInt32(std::string_view(text)), value32) << text;
    EXPECT_EQ(ParseInt32(std::wstring_view(Widen(text))), value32) << text;
    EXPECT_EQ(ParseInt64(text), value64) << text;
    EXPECT_EQ(ReadInt64(Widen(text)), value64) << text;
  }
}

TEST(DecimalText, WithoutDigitsIsZeroOrNoNumber) {
  for (const char* const text : {"", "   ", "abc", "-", "+", "- 7", "--7", "+-7", ".5", "\xB2",
                                 "\xA0"
                                 "1"}) {
    EXPECT_EQ(ParseInt32(std::string_view(text)), 0) << text;
    EXPECT_EQ(ParseInt32(std::wstring_view(Widen(text))), 0) << text;
    EXPECT_EQ(ParseInt64(text), 0) << text;
    EXPECT_EQ(ReadInt64(Widen(text)), std::nullopt) << text;
  }
  EXPECT_EQ(ParseInt32(std::wstring_view(L"\u0661")), 0) << "a digit, but not an ASCII digit";
}

}  // namespace
