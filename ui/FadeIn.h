// The dialog's opacity, 0 to 255, and the steps in which it fades in.
#pragma once

#include <algorithm>

/// Even when it has faded in, the dialog is a little transparent.
constexpr int FullOpacity = 245;
constexpr int FadeStartOpacity = 20;
constexpr int FadeStepOpacity = 5;
constexpr unsigned FadePeriodMilliseconds = 15;

/// The opacity after one more step, at most `FullOpacity`.
constexpr int ComputeNextOpacity(int opacity) {
  return std::min(opacity + FadeStepOpacity, FullOpacity);
}
