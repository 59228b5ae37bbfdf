#include "collector/access/Sessions.h"

#include <gtest/gtest.h>

#include <thread>

namespace pelto::collector {
namespace {

using std::chrono::hours;
using std::chrono::seconds;

constexpr Sessions::TimePoint start{hours(1000)};
const Sessions::Session ann{"ann", "stamp"};
const Sessions::Session bob{"bob", "stamp"};

class SessionsTest : public testing::Test {
 protected:
  Sessions sessions_;
};

TEST_F(SessionsTest, AreFoundByTheirToken) {
  const std::string token = sessions_.begin(ann, start);
  const std::string other = sessions_.begin(bob, start);
  EXPECT_NE(token, other);
  EXPECT_EQ(sessions_.find(token, start), ann);
  EXPECT_EQ(sessions_.find(other, start), bob);
}

TEST_F(SessionsTest, AreNotFoundByAnythingElse) {
  const std::string token = sessions_.begin(ann, start);
  for (const std::string& text :
       {std::string(), token.substr(1), token + "A", std::string("ann")}) {
    EXPECT_EQ(sessions_.find(text, start), std::nullopt) << text;
  }
}

TEST_F(SessionsTest, EndAfterTwelveHoursWithoutUse) {
  const std::string token = sessions_.begin(ann, start);
  const auto last_use = start + hours(12) - seconds(1);
  EXPECT_EQ(sessions_.find(token, last_use), ann);
  EXPECT_EQ(sessions_.find(token, last_use + hours(12) - seconds(1)), ann) << "it was used";
  const std::string unused = sessions_.begin(ann, start);
  EXPECT_EQ(sessions_.find(unused, start + hours(12)), std::nullopt);
  EXPECT_EQ(sessions_.find(unused, start), std::nullopt) << "it has ended";
}

TEST_F(SessionsTest, EndAfterSevenDaysOfUse) {
  const std::string token = sessions_.begin(ann, start);
  auto now = start;
  for (; now < start + hours(7 * 24); now += hours(1)) EXPECT_EQ(sessions_.find(token, now), ann);
  EXPECT_EQ(sessions_.find(token, start + hours(7 * 24) - seconds(1)), ann);
  EXPECT_EQ(sessions_.find(token, start + hours(7 * 24)), std::nullopt);
}

TEST_F(SessionsTest, AClockThatGoesBackEndsNothing) {
  const std::string token = sessions_.begin(ann, start);
  EXPECT_EQ(sessions_.find(token, start - hours(100)), ann);
  EXPECT_EQ(sessions_.find(token, start + hours(11)), ann);
}

TEST_F(SessionsTest, EndOneByOne) {
  const std::string token = sessions_.begin(ann, start);
  const std::string other = sessions_.begin(ann, start);
  sessions_.end(token);
  sessions_.end(token);
  sessions_.end("");
  EXPECT_EQ(sessions_.find(token, start), std::nullopt);
  EXPECT_EQ(sessions_.find(other, start), ann);
}

TEST_F(SessionsTest, EndWithTheirAccount) {
  const std::string first = sessions_.begin(ann, start);
  const std::string second = sessions_.begin(ann, start);
  const std::string other = sessions_.begin(bob, start);
  sessions_.end_all("ann");
  EXPECT_EQ(sessions_.find(first, start), std::nullopt);
  EXPECT_EQ(sessions_.find(second, start), std::nullopt);
  EXPECT_EQ(sessions_.find(other, start), bob);
}

TEST_F(SessionsTest, OfOneAccountAreLimitedInNumber) {
  const std::string other = sessions_.begin(bob, start);
  std::vector<std::string> tokens;
  for (std::size_t i = 0; i < Sessions::most_of_account; ++i) {
    tokens.push_back(sessions_.begin(ann, start + seconds(i)));
  }
  // The first one is not the longest unused any more.
  EXPECT_EQ(sessions_.find(tokens[0], start + hours(1)), ann);
  tokens.push_back(sessions_.begin(ann, start + hours(1)));
  EXPECT_EQ(sessions_.size(), Sessions::most_of_account + 1);
  EXPECT_EQ(sessions_.find(tokens[0], start + hours(1)), ann);
  EXPECT_EQ(sessions_.find(tokens[1], start + hours(1)), std::nullopt);
  EXPECT_EQ(sessions_.find(tokens[2], start + hours(1)), ann);
  EXPECT_EQ(sessions_.find(other, start + hours(1)), bob) << "it belongs to somebody else";
}

TEST_F(SessionsTest, AreLimitedInNumber) {
  const std::string first = sessions_.begin({"user", ""}, start);
  for (std::size_t i = 1; i < Sessions::most_sessions; ++i) {
    sessions_.begin({"user" + std::to_string(i), ""}, start + seconds(1));
  }
  EXPECT_EQ(sessions_.size(), Sessions::most_sessions);
  EXPECT_TRUE(sessions_.find(first, start));
  sessions_.begin(ann, start + seconds(2));
  EXPECT_EQ(sessions_.size(), Sessions::most_sessions);
  EXPECT_FALSE(sessions_.find(first, start + seconds(2)));
}

TEST_F(SessionsTest, ThatHaveEndedTakeNoRoom) {
  for (int i = 0; i < 100; ++i) sessions_.begin({"user" + std::to_string(i), ""}, start);
  sessions_.begin(ann, start + hours(12));
  EXPECT_EQ(sessions_.size(), 1);
}

TEST_F(SessionsTest, CanBeUsedFromSeveralThreads) {
  const std::string token = sessions_.begin(ann, start);
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([this, &token] {
      for (int turn = 0; turn < 200; ++turn) {
        const std::string own = sessions_.begin(bob, start);
        EXPECT_EQ(sessions_.find(token, start), ann);
        EXPECT_EQ(sessions_.find(own, start), bob);
        sessions_.end(own);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(sessions_.size(), 1);
}

}  // namespace
}  // namespace pelto::collector
