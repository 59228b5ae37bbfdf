#include "collector/report/Calendar.h"

#include <cstdio>

namespace pelto::collector {

namespace {

constexpr Day calendar_start{std::chrono::year{2024} / std::chrono::January / 1};

/// The number of the decimal digits `text`; none when there is another character.
std::optional<int> read_digits(std::string_view text) {
  int number = 0;
  for (const char c : text) {
    if (c < '0' || c > '9') return std::nullopt;
    number = number * 10 + (c - '0');
  }
  return number;
}

}  // namespace

Period period_of(Time time) {
  const auto since_start = std::chrono::floor<std::chrono::days>(time) - calendar_start;
  const auto length = period_length.count();
  const auto days = since_start.count();
  const auto period = days >= 0 ? days / length : -((-days + length - 1) / length);
  return static_cast<Period>(period);
}

Day first_day_of(Period period) {
  return calendar_start + period_length * period;
}

Day last_day_of(Period period) {
  return first_day_of(period + 1) - std::chrono::days{1};
}

std::string format_time(Time time) {
  const Day day = std::chrono::floor<std::chrono::days>(time);
  const std::chrono::hh_mm_ss clock{time - day};
  char text[16];
  std::snprintf(text, sizeof text, "T%02d:%02d:%02dZ", static_cast<int>(clock.hours().count()),
                static_cast<int>(clock.minutes().count()),
                static_cast<int>(clock.seconds().count()));
  return format_day(day) + text;
}

std::optional<Time> parse_time(std::string_view text) {
  if (text.size() != 20 || text[10] != 'T' || text[13] != ':' || text[16] != ':' ||
      text[19] != 'Z') {
    return std::nullopt;
  }
  const auto day = parse_day(text.substr(0, 10));
  const auto hour = read_digits(text.substr(11, 2));
  const auto minute = read_digits(text.substr(14, 2));
  const auto second = read_digits(text.substr(17, 2));
  if (!day || !hour || !minute || !second || *hour > 23 || *minute > 59 || *second > 59) {
    return std::nullopt;
  }
  return *day + std::chrono::hours{*hour} + std::chrono::minutes{*minute} +
         std::chrono::seconds{*second};
}

std::string format_day(Day day) {
  const std::chrono::year_month_day date{day};
  char text[32];
  std::snprintf(text, sizeof text, "%04d-%02u-%02u", static_cast<int>(date.year()),
                static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()));
  return text;
}

std::optional<Day> parse_day(std::string_view text) {
  if (text.size() != 10 || text[4] != '-' || text[7] != '-') return std::nullopt;
  const auto year = read_digits(text.substr(0, 4));
  const auto month = read_digits(text.substr(5, 2));
  const auto day = read_digits(text.substr(8, 2));
  if (!year || !month || !day) return std::nullopt;
  const std::chrono::year_month_day date{std::chrono::year{*year},
                                         std::chrono::month{static_cast<unsigned>(*month)},
                                         std::chrono::day{static_cast<unsigned>(*day)}};
  if (!date.ok()) return std::nullopt;
  return Day{date};
}

}  // namespace pelto::collector
