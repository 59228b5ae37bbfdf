#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace pelto::collector {

/// In characters of UTF-8.
inline constexpr std::size_t shortest_password = 10;

/// Whether a password is long enough.
bool is_acceptable_password(std::string_view password);

/// A salted hash of the password (Argon2id), as text that names its parameters. It takes some
/// 100 ms and 64 MiB by design. Throws `std::bad_alloc` if there is not so much memory.
std::string hash_password(std::string_view password);

/// Whether `hash` is that of the password. Takes as long as the hashing. False for a text that is
/// no such hash.
bool is_password_right(std::string_view password, const std::string& hash);

}  // namespace pelto::collector
