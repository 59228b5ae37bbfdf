#include "collector/http/Text.h"

#include <algorithm>

namespace pelto::collector {

namespace {

char to_lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

std::optional<int> digit_value(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  c = to_lower(c);
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return std::nullopt;
}

}  // namespace

bool equals_ignoring_case(std::string_view left, std::string_view right) {
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [](char a, char b) { return to_lower(a) == to_lower(b); });
}

std::optional<std::string> decode_percent(std::string_view text) {
  std::string decoded;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      decoded += text[i];
      continue;
    }
    if (text.size() - i < 3) return std::nullopt;
    const auto high = digit_value(text[i + 1]);
    const auto low = digit_value(text[i + 2]);
    if (!high || !low) return std::nullopt;
    decoded += static_cast<char>(*high * 16 + *low);
    i += 2;
  }
  return decoded;
}

}  // namespace pelto::collector
