// The form in which the settings file keeps a date: "2024-03-05T14:07:09Z", in UTC.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/Clock.h"

/// The date text of `utc`, "%Y-%m-%dT%H:%M:%SZ".
std::wstring FormatDateText(const CivilTime& utc);

/// The date and time of the numbers at the positions where a date text has them: year 0-3, month
/// 5-6, day 8-9, hour 11-12, minute 14-15, second 17-18, each read as `_wtoi` reads. What stands
/// between them is not looked at; a number that the text lacks is 0, and so are the milliseconds.
/// None when the numbers make no date and time.
std::optional<CivilTime> ParseDateText(std::wstring_view text);
