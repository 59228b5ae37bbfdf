#include "collector/report/Guid.h"

#include <cstddef>

namespace pelto::collector {

std::optional<std::string> normalize_guid(std::string_view text) {
  constexpr std::size_t length = 36;
  if (text.size() != length) return std::nullopt;
  std::string guid(text);
  for (std::size_t i = 0; i < length; ++i) {
    char& c = guid[i];
    if (i == 8 || i == 13 || i == 18 || i == 23) {
      if (c != '-') return std::nullopt;
      continue;
    }
    if (c >= 'A' && c <= 'F') c = static_cast<char>(c - 'A' + 'a');
    const bool is_digit = (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f');
    if (!is_digit) return std::nullopt;
  }
  return guid;
}

}  // namespace pelto::collector
