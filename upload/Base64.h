#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// The Base64 text of `bytes` (RFC 4648, section 4: the standard alphabet, padded with "=").
/// With a positive `lineLength`, `separator` follows each time that many characters of the alphabet
/// have been written since the last; padding does not count. With 0 the text is one line.
std::string Base64Encode(std::string_view bytes, std::size_t lineLength, char separator);
