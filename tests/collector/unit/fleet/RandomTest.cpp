#include "collector/fleet/Random.h"

#include <gtest/gtest.h>

#include <set>

#include "collector/report/Guid.h"

namespace pelto::collector {
namespace {

TEST(Random, IsTheSameForTheSameKeysOnEveryMachine) {
  // The numbers come from a second implementation of the engine and of the mixing.
  Random random{1, 2, 3};
  EXPECT_EQ(random.below(1'000'000'000), 51226486);
  EXPECT_EQ(random.below(1'000'000'000), 572719392);
}

TEST(Random, IsAnotherForOtherKeysAndForTheirOtherOrder) {
  std::set<std::int64_t> firsts;
  for (std::uint64_t a = 0; a < 20; ++a) {
    for (std::uint64_t b = 0; b < 20; ++b) {
      firsts.insert(Random{a, b}.below(std::int64_t{1} << 60));
    }
  }
  EXPECT_EQ(firsts.size(), 400U);
}

TEST(Random, ReachesBothEndsOfARangeAndNothingBeyond) {
  Random random{7};
  std::set<std::int64_t> seen;
  for (int i = 0; i < 1000; ++i) seen.insert(random.between(-2, 3));
  EXPECT_EQ(seen, (std::set<std::int64_t>{-2, -1, 0, 1, 2, 3}));
}

TEST(Random, IsZeroBelowALimitThatLeavesNoChoice) {
  Random random{7};
  EXPECT_EQ(random.below(1), 0);
  EXPECT_EQ(random.below(0), 0);
  EXPECT_EQ(random.below(-5), 0);
}

TEST(Random, HitsAboutTheShareOfCasesThatItIsAskedFor) {
  Random random{7};
  int hits = 0;
  for (int i = 0; i < 100'000; ++i) hits += random.is_one_of_1000(30) ? 1 : 0;
  EXPECT_NEAR(hits, 3000, 300);
}

TEST(Random, MakesGuidsOfVersion4) {
  Random random{7};
  std::set<std::string> guids;
  for (int i = 0; i < 1000; ++i) {
    const std::string guid = random.guid();
    EXPECT_EQ(normalize_guid(guid), guid);
    EXPECT_EQ(guid[14], '4');
    EXPECT_NE(std::string("89ab").find(guid[19]), std::string::npos) << guid;
    guids.insert(guid);
  }
  EXPECT_EQ(guids.size(), 1000U);
}

}  // namespace
}  // namespace pelto::collector
