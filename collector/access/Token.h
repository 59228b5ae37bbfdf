// Random texts that open something to whoever has them, and what is kept of them.
#pragma once

#include <array>
#include <string>
#include <string_view>

namespace pelto::collector {

/// What is kept of a token. The token cannot be worked out from it.
using TokenHash = std::array<unsigned char, 32>;

/// 256 random bits in 43 characters, letters, digits, "-" and "_". Throws `std::runtime_error` if
/// the system gives no random numbers.
std::string make_token();

TokenHash hash_token(std::string_view token);

/// Takes as long for any two hashes.
bool are_equal(const TokenHash& left, const TokenHash& right);

}  // namespace pelto::collector
