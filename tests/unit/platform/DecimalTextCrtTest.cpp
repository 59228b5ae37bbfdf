// The parsers against the C run-time's functions whose rules they follow.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cwchar>
#include <limits>
#include <random>
#include <string>

#include "platform/DecimalText.h"

namespace {

/// Whether `value` lies within the limits, where all run-times agree.
template <typename Integer>
bool IsWithinLimits(std::int64_t value) {
  return value > std::numeric_limits<Integer>::min() && value < std::numeric_limits<Integer>::max();
}

TEST(DecimalText, AgreesWithTheCRunTimeOnRandomTexts) {
  std::mt19937 random(11);
  const std::string alphabet = "0123456789999  +-\t\n\vxa.";
  int numbers = 0;
  for (int i = 0; i < 100'000; ++i) {
    std::string text(random() % 24, ' ');
    for (char& c : text) c = alphabet[random() % alphabet.size()];
    const std::wstring wide(text.begin(), text.end());
    const std::int64_t value = ParseInt64(text);
    ASSERT_EQ(value, _atoi64(text.c_str())) << '"' << text << '"';
    if (IsWithinLimits<std::int32_t>(value)) {
      ASSERT_EQ(ParseInt32(std::string_view(text)), std::atoi(text.c_str())) << '"' << text << '"';
      ASSERT_EQ(ParseInt32(std::wstring_view(wide)), _wtoi(wide.c_str())) << '"' << text << '"';
    }
    std::int64_t scanned = 0;
    const bool isNumber = swscanf_s(wide.c_str(), L"%lld", &scanned) == 1;
    ASSERT_EQ(ReadInt64(wide).has_value(), isNumber) << '"' << text << '"';
    if (isNumber && IsWithinLimits<std::int64_t>(value)) {
      ASSERT_EQ(ReadInt64(wide), scanned) << '"' << text << '"';
    }
    numbers += value != 0 ? 1 : 0;
  }
  EXPECT_GT(numbers, 10'000) << "too few of the texts are numbers";
}

}  // namespace
