// The ANSI code pages of Windows.
#pragma once

#include <optional>
#include <string_view>

namespace pelto::collector {

/// UTF-8, as Windows numbers it.
inline constexpr int utf8_code_page = 65001;

/// Whether text can be read in this code page: an ANSI code page of Windows or UTF-8.
bool is_code_page(int code_page);

/// The ANSI code page that goes with a machine's `Locale`, its language identifier in hexadecimal
/// digits, as "0407". None for any other text, for a language that has no ANSI code page, and for
/// one that is not known.
std::optional<int> code_page_of_locale(std::string_view locale);

}  // namespace pelto::collector
