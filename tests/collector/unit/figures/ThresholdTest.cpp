#include "collector/figures/Threshold.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <random>
#include <string>

namespace pelto::collector {
namespace {

std::string text_of(const std::vector<Part>& parts) {
  std::string text;
  for (const Part& part : parts) {
    text += std::to_string(part.installations) + (part.is_shown ? " " : "(withheld) ");
  }
  return text;
}

std::vector<Part> parts_by_threshold(const std::vector<std::int64_t>& numbers, int threshold) {
  std::vector<Part> parts;
  for (const std::int64_t number : numbers) parts.push_back({number, !is_few(number, threshold)});
  return parts;
}

std::vector<std::int64_t> shown_after_guard(const std::vector<std::int64_t>& numbers,
                                            std::optional<std::int64_t> total, int threshold) {
  std::vector<Part> parts = parts_by_threshold(numbers, threshold);
  withhold_differences(parts, total, threshold);
  std::vector<std::int64_t> shown;
  for (const Part& part : parts) {
    if (part.is_shown) shown.push_back(part.installations);
  }
  return shown;
}

using Numbers = std::vector<std::int64_t>;

TEST(Threshold, FewAreFromOneToOneBelowIt) {
  for (int threshold = 1; threshold <= 7; ++threshold) {
    for (std::int64_t number = 0; number <= 10; ++number) {
      EXPECT_EQ(is_few(number, threshold), number >= 1 && number <= threshold - 1)
          << number << " of " << threshold;
    }
  }
}

TEST(Threshold, ANumberIsShownIfNeitherItNorTheOtherVersionsPartRestsOnFew) {
  EXPECT_TRUE(may_be_shown({5, 0}, 5));
  EXPECT_TRUE(may_be_shown({5, 5}, 5));
  EXPECT_FALSE(may_be_shown({4, 0}, 5));
  EXPECT_FALSE(may_be_shown({4, 100}, 5));
  EXPECT_FALSE(may_be_shown({100, 1}, 5));
  EXPECT_FALSE(may_be_shown({100, 4}, 5));
}

TEST(Threshold, ZeroIsShownWhateverTheOtherVersionsHave) {
  EXPECT_TRUE(may_be_shown({0, 0}, 5));
  EXPECT_TRUE(may_be_shown({0, 3}, 5));
}

TEST(Guard, WithholdsNothingWhenNothingIsWithheldYet) {
  EXPECT_EQ(shown_after_guard({5, 6, 0}, 11, 5), (Numbers{5, 6, 0}));
}

TEST(Guard, WithholdsTheSmallestRowTooWhenASingleFewIsWithheld) {
  EXPECT_EQ(shown_after_guard({20, 7, 9, 2}, 38, 5), (Numbers{20, 9}));
}

TEST(Guard, DoesSoWithoutATotalAsWell) {
  EXPECT_EQ(shown_after_guard({20, 7, 9, 2}, std::nullopt, 5), (Numbers{20, 9}));
}

TEST(Guard, LeavesTheOthersWhenThoseWithheldAreEnoughTogether) {
  EXPECT_EQ(shown_after_guard({20, 3, 2}, 25, 5), (Numbers{20}));
  EXPECT_EQ(shown_after_guard({20, 2, 2}, 24, 5), (Numbers{}));
}

TEST(Guard, WithholdsWhenFewOfTheTotalAreInNoPart) {
  EXPECT_EQ(shown_after_guard({20, 8}, 30, 5), (Numbers{20}));
  EXPECT_EQ(shown_after_guard({20, 8}, 33, 5), (Numbers{20, 8}));
}

TEST(Guard, OfEqualPartsTheFirstIsWithheld) {
  std::vector<Part> parts{{7, true}, {7, true}, {1, false}};
  withhold_differences(parts, 15, 5);
  EXPECT_EQ(text_of(parts), "7(withheld) 7 1(withheld) ");
}

TEST(Guard, KeepsZerosShown) {
  EXPECT_EQ(shown_after_guard({0, 8, 1}, 9, 5), (Numbers{0}));
}

TEST(Guard, TakesPartsThatAddUpToMoreThanTheTotal) {
  EXPECT_EQ(shown_after_guard({10, 10, 5}, 12, 5), (Numbers{10, 10, 5}));
  EXPECT_EQ(shown_after_guard({10, 10, 3}, 12, 5), (Numbers{}));
}

TEST(Guard, WithholdsWhenFewAreInSeveralParts) {
  EXPECT_EQ(shown_after_guard({20, 9, 6}, 33, 5), (Numbers{20}));
  EXPECT_EQ(shown_after_guard({20, 9, 6}, 34, 5), (Numbers{20, 9}));
  EXPECT_EQ(shown_after_guard({20, 9, 6}, 30, 5), (Numbers{20, 9, 6}));
}

// Every table of up to four parts from 0 to 7, with up to 7 of the total in none of them, or with
// up to 7 in several.
TEST(Guard, LetsNoFewBeWorkedOutFromAnySmallTable) {
  for (int threshold = 1; threshold <= 6; ++threshold) {
    for (int table = 0; table < 8 * 8 * 8 * 8; ++table) {
      const Numbers numbers{table & 7, (table >> 3) & 7, (table >> 6) & 7, (table >> 9) & 7};
      for (std::int64_t rest = -7; rest <= 7; ++rest) {
        std::int64_t total = rest;
        for (const std::int64_t number : numbers) total += number;
        if (total < std::ranges::max(numbers)) continue;
        // A total that rests on few is not shown.
        const auto shown_total =
            is_few(total, threshold) ? std::nullopt : std::optional<std::int64_t>(total);
        std::vector<Part> parts = parts_by_threshold(numbers, threshold);
        const std::vector<Part> before = parts;
        withhold_differences(parts, shown_total, threshold);

        std::int64_t shown = 0;
        std::int64_t withheld = 0;
        for (std::size_t i = 0; i < parts.size(); ++i) {
          ASSERT_TRUE(before[i].is_shown || !parts[i].is_shown) << text_of(parts);
          (parts[i].is_shown ? shown : withheld) += parts[i].installations;
          if (parts[i].is_shown) {
            ASSERT_FALSE(is_few(parts[i].installations, threshold)) << text_of(parts);
          }
        }
        if (shown_total) {
          ASSERT_FALSE(is_few(std::abs(*shown_total - shown), threshold))
              << text_of(parts) << "of " << total << ", threshold " << threshold;
        }
        if (shown > 0) {
          ASSERT_FALSE(is_few(withheld, threshold))
              << text_of(parts) << "of " << total << ", threshold " << threshold;
        }
      }
    }
  }
}

TEST(Guard, WithholdsNoMoreThanItMust) {
  std::mt19937 random(1);
  std::uniform_int_distribution<int> number(0, 12);
  for (int round = 0; round < 20'000; ++round) {
    const int threshold = 1 + round % 6;
    Numbers numbers(1 + static_cast<std::size_t>(round % 5));
    std::int64_t total = number(random) - 6;
    for (std::int64_t& part : numbers) total += part = number(random);
    total = std::max(total, std::ranges::max(numbers));
    std::vector<Part> parts = parts_by_threshold(numbers, threshold);
    const std::vector<Part> before = parts;
    withhold_differences(parts, total, threshold);
    // Shown again, the largest of those that the guard took would let few be worked out.
    Part* largest = nullptr;
    for (std::size_t i = 0; i < parts.size(); ++i) {
      if (parts[i].is_shown || !before[i].is_shown) continue;
      if (largest == nullptr || parts[i].installations > largest->installations) {
        largest = &parts[i];
      }
    }
    if (largest == nullptr) continue;
    largest->is_shown = true;
    std::int64_t shown = 0;
    std::int64_t withheld = 0;
    for (const Part& part : parts) (part.is_shown ? shown : withheld) += part.installations;
    ASSERT_TRUE(is_few(withheld, threshold) || is_few(std::abs(total - shown), threshold))
        << text_of(parts) << "of " << total << ", threshold " << threshold;
  }
}

}  // namespace
}  // namespace pelto::collector
