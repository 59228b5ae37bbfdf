#include "store/DateText.h"

#include <algorithm>
#include <chrono>
#include <ctime>

#include "platform/DecimalText.h"

namespace {

int ReadNumberAt(std::wstring_view text, std::size_t position, std::size_t length) {
  return ParseInt32(text.substr(std::min(position, text.size()), length));
}

bool IsDateAndTime(const CivilTime& time) {
  if (time.month < 0 || time.day < 0) return false;
  const std::chrono::year_month_day date(std::chrono::year(time.year),
                                         std::chrono::month(static_cast<unsigned>(time.month)),
                                         std::chrono::day(static_cast<unsigned>(time.day)));
  return date.ok() && time.hour >= 0 && time.hour < 24 && time.minute >= 0 && time.minute < 60 &&
         time.second >= 0 && time.second < 60;
}

}  // namespace

std::wstring FormatDateText(const CivilTime& utc) {
  std::tm time = {};
  time.tm_year = utc.year - 1900;
  time.tm_mon = utc.month - 1;
  time.tm_mday = utc.day;
  time.tm_hour = utc.hour;
  time.tm_min = utc.minute;
  time.tm_sec = utc.second;
  char text[64];
  const std::size_t length = std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &time);
  return {text, text + length};
}

std::optional<CivilTime> ParseDateText(std::wstring_view text) {
  CivilTime utc;
  utc.year = ReadNumberAt(text, 0, 4);
  utc.month = ReadNumberAt(text, 5, 2);
  utc.day = ReadNumberAt(text, 8, 2);
  utc.hour = ReadNumberAt(text, 11, 2);
  utc.minute = ReadNumberAt(text, 14, 2);
  utc.second = ReadNumberAt(text, 17, 2);
  return IsDateAndTime(utc) ? std::optional(utc) : std::nullopt;
}
