// The program's clock. Tests replace it, so that seconds and weeks pass at once.
#pragma once

#include <cstdint>

/// A date and a time of day of the Gregorian calendar. The time zone depends on the use.
struct CivilTime {
  int year = 0;
  int month = 0;
  int day = 0;
  int hour = 0;
  int minute = 0;
  int second = 0;
  int millisecond = 0;

  bool operator==(const CivilTime&) const = default;
};

class CClock {
 public:
  virtual ~CClock() = default;
  /// The current time in UTC.
  virtual CivilTime GetUtcTime() = 0;
  /// Lets the calling thread wait.
  virtual void Wait(std::uint32_t milliseconds) = 0;
};
