#include "collector/http/Budget.h"

#include <gtest/gtest.h>

namespace pelto::collector {
namespace {

constexpr std::size_t small = Budget::largest_small_body;
constexpr std::size_t large = small + 1;

TEST(Budget, IsSharedAndGivenBack) {
  Budget budget(10, 10);
  {
    BudgetShare first(budget);
    EXPECT_TRUE(first.grow_to(6, small));
    {
      BudgetShare second(budget);
      EXPECT_FALSE(second.grow_to(5, small));
      EXPECT_TRUE(second.grow_to(4, small));
      EXPECT_EQ(budget.used(), 10U);
      EXPECT_FALSE(first.grow_to(7, small));
    }
    EXPECT_TRUE(first.grow_to(10, small));
    EXPECT_TRUE(first.grow_to(3, small)) << "it has that already";
    EXPECT_EQ(budget.used(), 10U);
  }
  EXPECT_EQ(budget.used(), 0U);
}

TEST(Budget, AHugeSizeDoesNotWrapAround) {
  Budget budget(10, 10);
  BudgetShare share(budget);
  EXPECT_TRUE(share.grow_to(1, small));
  EXPECT_FALSE(share.grow_to(static_cast<std::size_t>(-1), large));
  EXPECT_EQ(budget.used(), 1U);
}

TEST(Budget, ItsLastEighthIsForSmallBodies) {
  Budget budget(800, 100);
  BudgetShare slow(budget);
  EXPECT_TRUE(slow.grow_to(700, large));
  EXPECT_FALSE(slow.grow_to(701, large));
  BudgetShare honest(budget);
  EXPECT_TRUE(honest.grow_to(99, small));
  BudgetShare other(budget);
  EXPECT_FALSE(other.grow_to(1, large)) << "more is in use than large ones may have";
  EXPECT_TRUE(other.grow_to(1, small));
  EXPECT_FALSE(other.grow_to(2, small));
  EXPECT_EQ(budget.used(), 800U);
}

TEST(Budget, TheLargestBodyAloneAlwaysHasRoom) {
  for (const std::size_t largest : {700U, 750U, 800U}) {
    Budget budget(800, largest);
    BudgetShare share(budget);
    EXPECT_TRUE(share.grow_to(largest, large));
    EXPECT_FALSE(share.grow_to(largest + 1, large));
  }
  Budget too_small(800, 1000);
  EXPECT_FALSE(BudgetShare(too_small).grow_to(801, large));
}

}  // namespace
}  // namespace pelto::collector
