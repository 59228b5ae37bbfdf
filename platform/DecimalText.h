// Decimal integers at the start of a text, by the documented rules of the C run-time's functions.
// The functions themselves differ between run-times when a number is too large, and a report must
// read the same everywhere.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

/// The rules of `atoi`: leading whitespace is skipped, one sign and decimal digits are read, what
/// follows is ignored, and a text without digits is 0. A number beyond 32 bits gives the limit that
/// it lies beyond: 2147483647 or -2147483648.
std::int32_t ParseInt32(std::string_view text);
/// The same for wide text, the rules of `_wtoi`.
std::int32_t ParseInt32(std::wstring_view text);

/// The rules of `_atoi64`: the same with the limits of 64 bits.
std::int64_t ParseInt64(std::string_view text);

/// The rules of `swscanf_s` with "%lld": as `ParseInt64`, but none for a text without digits.
std::optional<std::int64_t> ReadInt64(std::wstring_view text);
