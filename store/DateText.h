// The form of a date in the settings file: "2024-03-05T14:07:09Z", in UTC.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/Clock.h"

/// The date text of `utc`, "%Y-%m-%dT%H:%M:%SZ".
std::wstring FormatDateText(const CivilTime& utc);

/// The date and time of the numbers at the positions where a date text has them: year 0-3, month
/// 5-6, day 8-9, hour 11-12, minute 14-15, second 17-18, each read by the rules of `_wtoi`. The
/// other characters are not checked. A missing number is 0, and so are the milliseconds. None when
/// the numbers are not a date and time.
std::optional<CivilTime> ParseDateText(std::wstring_view text);
