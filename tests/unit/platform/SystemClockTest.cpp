#include "platform/SystemClock.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <string>
#include <utility>

#include "platform/WindowsHeader.h"

namespace {

constexpr std::uint64_t TicksPerSecond = 10'000'000;
constexpr std::uint64_t TicksPerHour = 3600 * TicksPerSecond;

CivilTime Utc(int year, int month, int day, int hour = 12) {
  CivilTime time;
  time.year = year;
  time.month = month;
  time.day = day;
  time.hour = hour;
  return time;
}

TEST(SystemClock, NowIsTheTimeInUtc) {
  const std::time_t before = std::time(nullptr);
  const CivilTime now = CSystemClock().GetUtcTime();
  const std::time_t after = std::time(nullptr);
  std::tm fields = {};
  fields.tm_year = now.year - 1900;
  fields.tm_mon = now.month - 1;
  fields.tm_mday = now.day;
  fields.tm_hour = now.hour;
  fields.tm_min = now.minute;
  fields.tm_sec = now.second;
  const std::time_t reported = _mkgmtime(&fields);
  EXPECT_GE(reported, before);
  EXPECT_LE(reported, after);
}

TEST(SystemClock, WaitsAsLongAsItIsTold) {
  const ULONGLONG before = GetTickCount64();
  CSystemClock().Wait(120);
  EXPECT_GE(GetTickCount64() - before, 100U);
}

TEST(LocalTicks, CountsHundredNanoseconds) {
  CivilTime later = Utc(2024, 3, 5);
  later.second = 1;
  later.millisecond = 5;
  const auto first = ToLocalTicks(Utc(2024, 3, 5));
  const auto second = ToLocalTicks(later);
  ASSERT_TRUE(first && second);
  EXPECT_EQ(*second - *first, TicksPerSecond + 50'000);
}

TEST(LocalTicks, RefusesNumbersThatAreNoDateAndTime) {
  const CivilTime good = Utc(2024, 3, 5);
  for (const auto& [field, value] : {std::pair{&CivilTime::year, 1600},
                                     {&CivilTime::year, -1},
                                     {&CivilTime::year, 65536 + 2024},
                                     {&CivilTime::month, 0},
                                     {&CivilTime::month, 13},
                                     {&CivilTime::month, 65536 + 3},
                                     {&CivilTime::day, 0},
                                     {&CivilTime::day, 32},
                                     {&CivilTime::hour, 24},
                                     {&CivilTime::minute, 60},
                                     {&CivilTime::second, 60},
                                     {&CivilTime::second, -1}}) {
    CivilTime bad = good;
    bad.*field = value;
    EXPECT_FALSE(ToLocalTicks(bad)) << value;
  }
}

/// How far ahead of UTC the zone was at noon of a day.
std::int64_t HoursAhead(const CivilTime& utc) {
  SYSTEMTIME same = {};
  same.wYear = static_cast<WORD>(utc.year);
  same.wMonth = static_cast<WORD>(utc.month);
  same.wDay = static_cast<WORD>(utc.day);
  same.wHour = static_cast<WORD>(utc.hour);
  FILETIME ticks;
  SystemTimeToFileTime(&same, &ticks);
  const auto unshifted =
      static_cast<std::int64_t>((std::uint64_t{ticks.dwHighDateTime} << 32) | ticks.dwLowDateTime);
  return (static_cast<std::int64_t>(ToLocalTicks(utc).value()) - unshifted) /
         static_cast<std::int64_t>(TicksPerHour);
}

// Run in several zones; without one in the environment it is the machine's own, and only what
// holds everywhere can be said.
TEST(SystemClockZone, AgesAcrossAChangeOfTheClocksAreAnHourOff) {
  const char* const setting = std::getenv("PELTO_TEST_ZONE");
  const std::string zone = setting == nullptr ? "" : setting;
  const std::int64_t winter = HoursAhead(Utc(2024, 1, 15));
  const std::int64_t summer = HoursAhead(Utc(2024, 7, 15));
  if (zone == "America/New_York") {
    EXPECT_EQ(winter, -5);
    EXPECT_EQ(summer, -4);
  } else if (zone == "Europe/Berlin") {
    EXPECT_EQ(winter, 1);
    EXPECT_EQ(summer, 2);
  } else if (zone == "Australia/Sydney") {
    EXPECT_EQ(winter, 11);
    EXPECT_EQ(summer, 10);
  }
  const std::uint64_t age = *ToLocalTicks(Utc(2024, 7, 15)) - *ToLocalTicks(Utc(2024, 1, 15));
  constexpr std::uint64_t days = 182;
  EXPECT_EQ(static_cast<std::int64_t>(age / TicksPerHour) - 24 * static_cast<std::int64_t>(days),
            summer - winter);
}

}  // namespace
