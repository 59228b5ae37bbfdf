#include "collector/report/Calendar.h"

#include <gtest/gtest.h>

namespace pelto::collector {
namespace {

using namespace std::chrono_literals;

constexpr Day start{2024y / 1 / 1};

TEST(Calendar, PeriodZeroBeginsIn2024AndHas28Days) {
  EXPECT_EQ(period_of(start), 0);
  EXPECT_EQ(period_of(start + std::chrono::days{28} - 1s), 0);
  EXPECT_EQ(period_of(start + std::chrono::days{28}), 1);
  EXPECT_EQ(period_of(start - 1s), -1);
  EXPECT_EQ(period_of(start - std::chrono::days{28}), -1);
  EXPECT_EQ(period_of(start - std::chrono::days{28} - 1s), -2);
}

TEST(Calendar, EachDayLiesBetweenTheFirstAndTheLastOfItsPeriod) {
  for (Day day = Day{2022y / 1 / 1}; day < Day{2027y / 1 / 1}; day += std::chrono::days{1}) {
    const Period period = period_of(day);
    ASSERT_LE(first_day_of(period), day);
    ASSERT_GE(last_day_of(period), day);
    ASSERT_EQ(last_day_of(period) - first_day_of(period), std::chrono::days{27});
    ASSERT_EQ(last_day_of(period - 1) + std::chrono::days{1}, first_day_of(period));
  }
}

TEST(Calendar, ATimeIsWrittenWithSecondsInUtc) {
  EXPECT_EQ(format_time(Day{2026y / 1 / 5} + 10h), "2026-01-05T10:00:00Z");
  EXPECT_EQ(format_time(Day{1969y / 12 / 31} + 23h + 59min + 59s), "1969-12-31T23:59:59Z");
  EXPECT_EQ(format_day(Day{2024y / 2 / 29}), "2024-02-29");
}

TEST(Calendar, AWrittenTimeIsReadBack) {
  for (Time time = start; time < start + std::chrono::days{800}; time += 86'399s) {
    ASSERT_EQ(parse_time(format_time(time)), time);
  }
}

TEST(Calendar, OtherFormsOfATimeAreNone) {
  for (const char* const text :
       {"", "2026-01-05", "2026-01-05T10:00:00", "2026-01-05 10:00:00Z", "2026-01-05T10:00:00z",
        "2026-01-05T10:00:00.5Z", "2026-01-05T10:00:00+00:00", "2026-01-05T24:00:00Z",
        "2026-01-05T10:60:00Z", "2026-01-05T10:00:60Z", "2026-01-05T1a:00:00Z",
        "2026-01-05T10-00:00Z", "2026-01-05T10:00-00Z", "2026-02-29T10:00:00Z",
        " 2026-01-05T10:00:00Z", "2026-01-05T-1:00:00Z", "2026-01-05T10:-1:00Z",
        "2026-01-05T10:00:-1Z"}) {
    EXPECT_EQ(parse_time(text), std::nullopt) << text;
  }
}

TEST(Calendar, OtherFormsOfADayAreNone) {
  for (const char* const text :
       {"", "2026-1-5", "2026/01/05", "2026-01/05", "2026-13-01", "2026-00-01", "2026-01-00",
        "2026-04-31", "2025-02-29", "20260105", "2026-01-05 ", "yyyy-mm-dd", "-026-01-05"}) {
    EXPECT_EQ(parse_day(text), std::nullopt) << text;
  }
  EXPECT_EQ(parse_day("2024-02-29"), Day{2024y / 2 / 29});
}

}  // namespace
}  // namespace pelto::collector
