#include "ui/FadeIn.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

TEST(FadeIn, GoesFrom25To245InStepsOfFive) {
  std::vector<int> applied;
  for (int opacity = FadeStartOpacity; opacity != FullOpacity;) {
    opacity = ComputeNextOpacity(opacity);
    applied.push_back(opacity);
    ASSERT_LE(applied.size(), 100U);
  }
  std::vector<int> expected;
  for (int opacity = 25; opacity <= 245; opacity += 5) expected.push_back(opacity);
  EXPECT_EQ(applied, expected);
  EXPECT_EQ(applied.size(), 45U);
}

TEST(FadeIn, StopsAtItsLastStep) {
  EXPECT_EQ(ComputeNextOpacity(239), 244);
  EXPECT_EQ(ComputeNextOpacity(240), 245);
  EXPECT_EQ(ComputeNextOpacity(241), 245);
  EXPECT_EQ(ComputeNextOpacity(245), 245);
}

TEST(FadeIn, TakesAStepEachFifteenMilliseconds) {
  EXPECT_EQ(FadePeriodMilliseconds, 15U);
}

}  // namespace
