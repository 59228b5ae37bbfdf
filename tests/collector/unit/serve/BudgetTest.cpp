#include "collector/serve/Budget.h"

#include <gtest/gtest.h>

namespace pelto::collector {
namespace {

TEST(Budget, IsSharedAndGivenBack) {
  Budget budget(10);
  {
    BudgetShare first(budget);
    EXPECT_TRUE(first.grow_to(6));
    {
      BudgetShare second(budget);
      EXPECT_FALSE(second.grow_to(5));
      EXPECT_TRUE(second.grow_to(4));
      EXPECT_EQ(budget.used(), 10U);
      EXPECT_FALSE(first.grow_to(7));
    }
    EXPECT_TRUE(first.grow_to(10));
    EXPECT_TRUE(first.grow_to(3)) << "it has that already";
    EXPECT_EQ(budget.used(), 10U);
  }
  EXPECT_EQ(budget.used(), 0U);
}

TEST(Budget, AHugeSizeDoesNotWrapAround) {
  Budget budget(10);
  BudgetShare share(budget);
  EXPECT_TRUE(share.grow_to(1));
  EXPECT_FALSE(share.grow_to(static_cast<std::size_t>(-1)));
  EXPECT_EQ(budget.used(), 1U);
}

}  // namespace
}  // namespace pelto::collector
