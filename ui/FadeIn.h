// The opacity of the dialog, of 255, and the steps in which it comes up.
#pragma once

#include <algorithm>

/// A dialog that is wholly there still lets a little of what is behind it through.
constexpr int FullOpacity = 245;
constexpr int FadeStartOpacity = 20;
constexpr int FadeStepOpacity = 5;
constexpr unsigned FadePeriodMilliseconds = 15;

/// The opacity after one more step; `FullOpacity` is the last one.
constexpr int ComputeNextOpacity(int opacity) {
  return std::min(opacity + FadeStepOpacity, FullOpacity);
}
