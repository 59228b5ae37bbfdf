#pragma once

#include <string>
#include <string_view>

namespace pelto::collector {

/// The bytes of a text (UTF-8) in a Windows code page. A character that the code page does not have
/// becomes "?". Throws `std::runtime_error` for a code page that ICU does not know.
std::string encode_in_code_page(std::string_view text, int code_page);

/// The text (UTF-8) of bytes in a Windows code page. Bytes that are no character, or a control
/// character beyond ASCII, become U+FFFD.
/// Throws `std::runtime_error` for a code page that ICU does not know.
std::string decode_from_code_page(std::string_view bytes, int code_page);

}  // namespace pelto::collector
