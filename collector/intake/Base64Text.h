#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace pelto::collector {

/// The bytes of a Base64 text (RFC 4648, section 4): the standard alphabet, padded to groups of
/// four, without line breaks or any other character. None for any other text, also when the bits
/// that the last character has too many are not zero: bytes have one text.
std::optional<std::string> decode_base64(std::string_view text);

}  // namespace pelto::collector
