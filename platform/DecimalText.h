// Decimal integers at the start of a text, by the rules of the C run-time's functions of that
// purpose. They stand here because the run-times differ at the limits, and a report must read the
// same wherever it is read.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

/// The rules of `atoi`: leading white space is skipped, one sign and decimal digits are read,
/// whatever follows is ignored, no digits give 0. A larger number wraps around at 32 bits.
std::int32_t ParseInt32(std::string_view text);
/// The same for wide text, the rules of `_wtoi` within 32 bits.
std::int32_t ParseInt32(std::wstring_view text);

/// The rules of `_atoi64`: as `ParseInt32`, but a larger number stops at the limit of 64 bits.
std::int64_t ParseInt64(std::string_view text);

/// The rules of `swscanf_s` with "%lld": as `ParseInt64`, but a text without digits is no number.
std::optional<std::int64_t> ReadInt64(std::wstring_view text);
