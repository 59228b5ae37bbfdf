#pragma once

#include <functional>
#include <vector>

#include "platform/Clock.h"

/// A clock that shows the time that the test sets, and records waits without waiting.
class FakeClock : public CClock {
 public:
  CivilTime GetUtcTime() override {
    if (onNow) onNow();
    return now;
  }
  void Wait(std::uint32_t milliseconds) override {
    waits.push_back(milliseconds);
    if (onWait) onWait();
  }

  CivilTime now = {2024, 3, 5, 14, 7, 9, 0};
  std::vector<std::uint32_t> waits;
  /// Called before each reading of the time.
  std::function<void()> onNow;
  /// Called after each wait is recorded.
  std::function<void()> onWait;
};
