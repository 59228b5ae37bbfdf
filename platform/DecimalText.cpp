#include "platform/DecimalText.h"

#include <cstddef>
#include <limits>

namespace {

template <typename Char>
constexpr bool IsSpace(Char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

template <typename Char>
constexpr bool IsDigit(Char c) {
  return c >= '0' && c <= '9';
}

/// The sign and the digits of a number at the start of a text.
template <typename Char>
struct Number {
  bool negative = false;
  std::basic_string_view<Char> digits;
};

template <typename Char>
Number<Char> FindNumber(std::basic_string_view<Char> text) {
  size_t at = 0;
  while (at < text.size() && IsSpace(text[at])) ++at;
  Number<Char> number;
  if (at < text.size() && (text[at] == '-' || text[at] == '+')) number.negative = text[at++] == '-';
  size_t end = at;
  while (end < text.size() && IsDigit(text[end])) ++end;
  number.digits = text.substr(at, end - at);
  return number;
}

/// The number, or the limit of `Integer` that it lies beyond; 0 when there are no digits.
template <typename Integer, typename Char>
Integer StopAtLimits(const Number<Char>& number) {
  constexpr auto largest = static_cast<std::uint64_t>(std::numeric_limits<Integer>::max());
  const std::uint64_t limit = number.negative ? largest + 1 : largest;
  std::uint64_t value = 0;
  for (const Char c : number.digits) {
    const auto digit = static_cast<std::uint64_t>(c - '0');
    value = value > (limit - digit) / 10 ? limit : value * 10 + digit;
    if (value == limit) break;
  }
  return static_cast<Integer>(number.negative ? 0 - value : value);
}

}  // namespace

std::int32_t ParseInt32(std::string_view text) {
  return StopAtLimits<std::int32_t>(FindNumber(text));
}

std::int32_t ParseInt32(std::wstring_view text) {
  return StopAtLimits<std::int32_t>(FindNumber(text));
}

std::int64_t ParseInt64(std::string_view text) {
  return StopAtLimits<std::int64_t>(FindNumber(text));
}

std::optional<std::int64_t> ReadInt64(std::wstring_view text) {
  const Number<wchar_t> number = FindNumber(text);
  if (number.digits.empty()) return {};
  return StopAtLimits<std::int64_t>(number);
}
