#include "collector/http/Deadlines.h"

#include <gtest/gtest.h>

#include <limits>

namespace pelto::collector {
namespace {

using std::chrono::milliseconds;
using std::chrono::minutes;
using std::chrono::seconds;

TEST(BodyAllowance, IsTenSecondsForWhateverIsSmall) {
  const Deadlines deadlines;
  for (const std::size_t bytes : {0U, 1U, 1024U, 10 * 1024U - 1, 10 * 1024U}) {
    EXPECT_EQ(body_allowance(deadlines, bytes), seconds(10)) << bytes;
  }
}

TEST(BodyAllowance, GrowsWithTheBytesThatHaveArrived) {
  const Deadlines deadlines;
  EXPECT_EQ(body_allowance(deadlines, 10 * 1024 + 1), seconds(10));
  EXPECT_EQ(body_allowance(deadlines, 10 * 1024 + 2), milliseconds(10'001));
  EXPECT_EQ(body_allowance(deadlines, 11 * 1024), seconds(11));
  EXPECT_EQ(body_allowance(deadlines, 200 * 1024), seconds(200));
}

TEST(BodyAllowance, NeverExceedsFiveMinutes) {
  const Deadlines deadlines;
  EXPECT_EQ(body_allowance(deadlines, 300 * 1024 - 1), milliseconds(299'999));
  EXPECT_EQ(body_allowance(deadlines, 300 * 1024), minutes(5));
  EXPECT_EQ(body_allowance(deadlines, 300 * 1024 + 1024), minutes(5));
  EXPECT_EQ(body_allowance(deadlines, std::numeric_limits<std::size_t>::max()), minutes(5));
}

TEST(BodyAllowance, FollowsItsOptions) {
  Deadlines deadlines;
  deadlines.body_start = milliseconds(100);
  deadlines.body_rate = 10;
  deadlines.body = milliseconds(1500);
  EXPECT_EQ(body_allowance(deadlines, 0), milliseconds(100));
  EXPECT_EQ(body_allowance(deadlines, 5), milliseconds(500));
  EXPECT_EQ(body_allowance(deadlines, 16), milliseconds(1500));
  deadlines.body_start = seconds(9);
  EXPECT_EQ(body_allowance(deadlines, 0), milliseconds(1500));
  deadlines.body_rate = 0;
  deadlines.body_start = milliseconds(100);
  EXPECT_EQ(body_allowance(deadlines, 0), milliseconds(1500));
}

}  // namespace
}  // namespace pelto::collector
