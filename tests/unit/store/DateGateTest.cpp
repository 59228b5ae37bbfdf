#include "store/DateGate.h"

#include <gtest/gtest.h>

namespace {

constexpr std::uint64_t TicksPerSecond = 10'000'000;
constexpr std::uint64_t Now = 133'500'000'000'000'000;

TEST(DateGate, LimitsAreWholeDays) {
  EXPECT_EQ(TransmissionLimit, 28.0 * 86400);
  EXPECT_EQ(SystemInformationLimit, 30.0 * 86400);
  EXPECT_EQ(DialogLimit, 7.0 * 86400);
}

TEST(DateGate, IsOpenFromTheLimitOn) {
  for (const double limit : {TransmissionLimit, SystemInformationLimit, DialogLimit}) {
    const auto ticks = static_cast<std::uint64_t>(limit) * TicksPerSecond;
    EXPECT_TRUE(IsGateOpen(Now, Now - ticks, limit)) << limit;
    EXPECT_TRUE(IsGateOpen(Now, Now - ticks - TicksPerSecond, limit)) << limit;
    EXPECT_TRUE(IsGateOpen(Now, Now - 10 * ticks, limit)) << limit;
    EXPECT_TRUE(IsGateOpen(Now, 0, limit)) << limit;
  }
}

TEST(DateGate, IsClosedUnderTheLimit) {
  for (const double limit : {TransmissionLimit, SystemInformationLimit, DialogLimit}) {
    const auto ticks = static_cast<std::uint64_t>(limit) * TicksPerSecond;
    EXPECT_FALSE(IsGateOpen(Now, Now - ticks + TicksPerSecond, limit)) << limit;
    EXPECT_FALSE(IsGateOpen(Now, Now - ticks + 1, limit)) << limit;
    EXPECT_FALSE(IsGateOpen(Now, Now - 1, limit)) << limit;
    EXPECT_FALSE(IsGateOpen(Now, Now, limit)) << limit;
  }
}

TEST(DateGate, ADateInTheFutureOpensIt) {
  for (const double limit : {TransmissionLimit, SystemInformationLimit, DialogLimit}) {
    EXPECT_TRUE(IsGateOpen(Now, Now + 1, limit)) << limit;
    EXPECT_TRUE(IsGateOpen(Now, Now + TicksPerSecond, limit)) << limit;
    EXPECT_TRUE(IsGateOpen(Now, Now + 1000ULL * 365 * 86400 * TicksPerSecond / 10, limit)) << limit;
  }
}

TEST(DateGate, IsOpenWhenItWasNeverPassed) {
  EXPECT_TRUE(IsGateOpen(Now, std::nullopt, TransmissionLimit));
}

TEST(DateGate, AgeIsInSeconds) {
  EXPECT_DOUBLE_EQ(ComputeAgeInSeconds(Now, Now - 15 * TicksPerSecond / 10), 1.5);
  EXPECT_DOUBLE_EQ(ComputeAgeInSeconds(Now, Now), 0.0);
  EXPECT_GT(ComputeAgeInSeconds(Now, Now + 1), 1e12) << "wraps around";
}

// What the clocks' change does to a gate: both times are local, so an age that spans the night in
// which the clocks are set back is an hour short, and one that spans the other is an hour long.
TEST(DateGate, AChangeOfTheClocksMovesItByAnHour) {
  constexpr std::uint64_t hour = 3600 * TicksPerSecond;
  const auto week = static_cast<std::uint64_t>(DialogLimit) * TicksPerSecond;
  const std::uint64_t storedUtc = Now - week;
  const std::uint64_t summer = 2 * hour;
  const std::uint64_t winter = 1 * hour;
  EXPECT_FALSE(IsGateOpen(Now + winter, storedUtc + summer, DialogLimit));
  EXPECT_TRUE(IsGateOpen(Now + hour + winter, storedUtc + summer, DialogLimit));
  EXPECT_TRUE(IsGateOpen(Now - hour + summer, storedUtc + winter, DialogLimit));
  EXPECT_FALSE(IsGateOpen(Now - hour - TicksPerSecond + summer, storedUtc + winter, DialogLimit));
}

}  // namespace
