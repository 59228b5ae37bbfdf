#pragma once

#include <optional>

#include "platform/Clock.h"

/// The system's own time.
class CSystemClock : public CClock {
 public:
  CivilTime GetUtcTime() override;
  void Wait(std::uint32_t milliseconds) override;
};

/// `utc` in the machine's current time zone, as the number of 100-nanosecond intervals from
/// 1601-01-01 to it; none when the numbers are not a date and time. When the clocks are set forward
/// or back between two times, their difference is an hour off the time that passed
/// (docs/compatibility.md, 10).
std::optional<std::uint64_t> ToLocalTicks(const CivilTime& utc);
