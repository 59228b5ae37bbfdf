// The calendar of the figures: periods of 28 days, counted from 2024-01-01. A sender reports every
// 28 days, so that an installation has one report in a period as a rule.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace pelto::collector {

/// A point in time in whole seconds, UTC.
using Time = std::chrono::sys_seconds;
/// A day, UTC.
using Day = std::chrono::sys_days;
/// The number of a period; 0 begins on 2024-01-01, earlier ones are negative.
using Period = std::int32_t;

inline constexpr std::chrono::days period_length{28};

Period period_of(Time time);
Day first_day_of(Period period);
Day last_day_of(Period period);

/// "2026-01-05T10:00:00Z" (RFC 3339).
std::string format_time(Time time);
/// The time of such a text; none for any other form, and for a date that does not exist.
std::optional<Time> parse_time(std::string_view text);

/// "2026-01-05".
std::string format_day(Day day);
/// The day of such a text; none for any other form, and for a date that does not exist.
std::optional<Day> parse_day(std::string_view text);

}  // namespace pelto::collector
