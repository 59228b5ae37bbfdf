#include "platform/SystemClock.h"

#include "platform/WindowsHeader.h"

namespace {

// A number that does not fit becomes one that every conversion refuses. Cut to 16 bits it could
// become a valid one.
WORD ToWord(int value) {
  constexpr WORD invalid = 0xFFFF;
  return value < 0 || value > invalid ? invalid : static_cast<WORD>(value);
}

SYSTEMTIME ToSystemTime(const CivilTime& time) {
  SYSTEMTIME result = {};
  result.wYear = ToWord(time.year);
  result.wMonth = ToWord(time.month);
  result.wDay = ToWord(time.day);
  result.wHour = ToWord(time.hour);
  result.wMinute = ToWord(time.minute);
  result.wSecond = ToWord(time.second);
  result.wMilliseconds = ToWord(time.millisecond);
  return result;
}

}  // namespace

CivilTime CSystemClock::GetUtcTime() {
  SYSTEMTIME now;
  GetSystemTime(&now);
  return {now.wYear, now.wMonth, now.wDay, now.wHour, now.wMinute, now.wSecond, now.wMilliseconds};
}

void CSystemClock::Wait(std::uint32_t milliseconds) {
  Sleep(milliseconds);
}

std::optional<std::uint64_t> ToLocalTicks(const CivilTime& utc) {
  const SYSTEMTIME utcTime = ToSystemTime(utc);
  SYSTEMTIME localTime;
  FILETIME ticks;
  if (!SystemTimeToTzSpecificLocalTime(nullptr /* current zone */, &utcTime, &localTime) ||
      !SystemTimeToFileTime(&localTime, &ticks)) {
    return {};
  }
  return (std::uint64_t{ticks.dwHighDateTime} << 32) | ticks.dwLowDateTime;
}
