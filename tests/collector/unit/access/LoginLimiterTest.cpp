#include "collector/access/LoginLimiter.h"

#include <gtest/gtest.h>

#include <thread>

namespace pelto::collector {
namespace {

using std::chrono::minutes;
using std::chrono::seconds;
using Attempt = LoginLimiter::Attempt;
using Result = LoginLimiter::Result;

constexpr LoginLimiter::TimePoint start{minutes(1000)};

class LoginLimiterTest : public testing::Test {
 protected:
  /// Makes an attempt. Returns the wait in seconds, 0 if it could be made.
  std::int64_t attempt(const Attempt& attempt, LoginLimiter::TimePoint now,
                       Result result = Result::wrong) {
    const auto wait = limiter_.begin(attempt, now);
    if (wait) return wait->count();
    limiter_.end(attempt, result, now);
    return 0;
  }
  void fail(int times, const Attempt& what, LoginLimiter::TimePoint now) {
    for (int i = 0; i < times; ++i) EXPECT_EQ(attempt(what, now), 0) << i;
  }

  LoginLimiter limiter_;
  Attempt ann_{"ann", "192.0.2.1"};
};

TEST_F(LoginLimiterTest, TenWrongPasswordsAreAllowed) {
  fail(10, ann_, start);
  EXPECT_EQ(attempt(ann_, start), 30);
}

TEST_F(LoginLimiterTest, AnAccountIsLimitedFromAllAddressesTogether) {
  for (int i = 0; i < 10; ++i) fail(1, {"ann", "address " + std::to_string(i)}, start);
  EXPECT_EQ(attempt({"ann", "another address"}, start), 30);
  EXPECT_EQ(attempt({"bob", "another address"}, start), 0);
}

TEST_F(LoginLimiterTest, AnAddressIsLimitedForAllAccountsTogether) {
  for (int i = 0; i < 10; ++i) fail(1, {"account " + std::to_string(i), "192.0.2.1"}, start);
  EXPECT_EQ(attempt({"ann", "192.0.2.1"}, start), 30);
  EXPECT_EQ(attempt({"ann", "192.0.2.2"}, start), 0);
}

TEST_F(LoginLimiterTest, AWaitEndsToTheSecond) {
  fail(10, ann_, start);
  EXPECT_EQ(attempt(ann_, start + seconds(29)), 1);
  EXPECT_EQ(attempt(ann_, start + std::chrono::milliseconds(29'001)), 1) << "rounded up";
  EXPECT_EQ(attempt(ann_, start + seconds(30)), 0);
}

TEST_F(LoginLimiterTest, EachFurtherWrongPasswordDoublesTheWaitUpToFifteenMinutes) {
  fail(10, ann_, start);
  auto now = start;
  for (const int wait : {30, 60, 120, 240, 480, 900, 900}) {
    EXPECT_EQ(attempt(ann_, now), wait);
    now += seconds(wait);
    EXPECT_EQ(attempt(ann_, now), 0);
  }
}

TEST_F(LoginLimiterTest, AttemptsDuringAWaitDoNotMakeItLonger) {
  fail(10, ann_, start);
  for (int i = 0; i < 100; ++i) EXPECT_EQ(attempt(ann_, start + seconds(10)), 20);
  EXPECT_EQ(attempt(ann_, start + seconds(30)), 0);
}

TEST_F(LoginLimiterTest, WrongPasswordsOfFifteenMinutesAgoDoNotCount) {
  fail(9, ann_, start);
  fail(9, ann_, start + minutes(15));
  EXPECT_EQ(attempt(ann_, start + minutes(15)), 0) << "the tenth";
  EXPECT_EQ(attempt(ann_, start + minutes(15)), 30);
}

TEST_F(LoginLimiterTest, WrongPasswordsWithinFifteenMinutesCountTogether) {
  fail(9, ann_, start);
  fail(1, ann_, start + minutes(15) - seconds(1));
  EXPECT_EQ(attempt(ann_, start + minutes(15) - seconds(1)), 30);
}

TEST_F(LoginLimiterTest, WaitsAreForgottenFifteenMinutesAfterTheLastOne) {
  fail(10, ann_, start);
  const auto wait_end = start + seconds(30);
  EXPECT_EQ(attempt(ann_, wait_end + minutes(15) - seconds(1)), 0);
  EXPECT_EQ(attempt(ann_, wait_end + minutes(15) - seconds(1)), 60) << "not forgotten yet";
  const auto second_end = wait_end + minutes(15) - seconds(1) + seconds(60);
  fail(10, ann_, second_end + minutes(15));
  EXPECT_EQ(attempt(ann_, second_end + minutes(15)), 30) << "as at first";
}

TEST_F(LoginLimiterTest, ARightPasswordLetsThoseOfTheAccountBeForgotten) {
  for (int i = 0; i < 9; ++i) fail(1, {"ann", "address " + std::to_string(i)}, start);
  EXPECT_EQ(attempt({"ann", "home"}, start, Result::right), 0);
  for (int i = 0; i < 10; ++i) fail(1, {"ann", "far address " + std::to_string(i)}, start);
  EXPECT_EQ(attempt({"ann", "home"}, start), 30);
}

TEST_F(LoginLimiterTest, ARightPasswordDoesNotLetThoseOfTheAddressBeForgotten) {
  // Otherwise somebody with an account could try others' passwords without end.
  for (int i = 0; i < 9; ++i) fail(1, {"account " + std::to_string(i), "192.0.2.1"}, start);
  EXPECT_EQ(attempt({"own", "192.0.2.1"}, start, Result::right), 0);
  fail(1, {"account", "192.0.2.1"}, start);
  EXPECT_EQ(attempt({"own", "192.0.2.1"}, start, Result::right), 30);
}

TEST_F(LoginLimiterTest, AttemptsThatWereNotComparedDoNotCount) {
  for (int i = 0; i < 20; ++i) EXPECT_EQ(attempt(ann_, start, Result::not_compared), 0);
  fail(10, ann_, start);
}

TEST_F(LoginLimiterTest, AttemptsAtATimeDoNotGetAroundTheLimit) {
  for (int i = 0; i < 10; ++i) EXPECT_EQ(limiter_.begin(ann_, start), std::nullopt);
  EXPECT_EQ(limiter_.begin(ann_, start), seconds(1));
  limiter_.end(ann_, Result::right, start);
  EXPECT_EQ(limiter_.begin(ann_, start), std::nullopt) << "one has ended well";
  for (int i = 0; i < 10; ++i) limiter_.end(ann_, Result::wrong, start);
  EXPECT_EQ(limiter_.begin(ann_, start), seconds(30));
}

TEST_F(LoginLimiterTest, AfterAWaitThereIsOneAttemptAtATime) {
  fail(10, ann_, start);
  const auto now = start + seconds(30);
  EXPECT_EQ(limiter_.begin(ann_, now), std::nullopt);
  EXPECT_EQ(limiter_.begin(ann_, now), seconds(1));
  limiter_.end(ann_, Result::wrong, now);
  EXPECT_EQ(limiter_.begin(ann_, now), seconds(60));
}

TEST_F(LoginLimiterTest, TheNumberOfAccountsAndAddressesIsLimited) {
  fail(2, ann_, start);
  for (std::size_t i = 0; i < LoginLimiter::most_keys + 50; ++i) {
    const std::string number = std::to_string(i);
    fail(1, {"account " + number, "address " + number}, start + seconds(1));
  }
  EXPECT_LE(limiter_.size(), 2 * LoginLimiter::most_keys);
  // The one with more wrong passwords was not forgotten for those with fewer.
  fail(8, ann_, start + seconds(1));
  EXPECT_EQ(attempt(ann_, start + seconds(1)), 30);
}

TEST_F(LoginLimiterTest, WhatIsForgottenMakesRoom) {
  for (std::size_t i = 0; i < LoginLimiter::most_keys; ++i) {
    fail(1, {"account " + std::to_string(i), "address " + std::to_string(i)}, start);
  }
  EXPECT_EQ(limiter_.size(), 2 * LoginLimiter::most_keys);
  fail(1, ann_, start + minutes(15));
  EXPECT_EQ(limiter_.size(), 2);
}

TEST_F(LoginLimiterTest, CanBeUsedFromSeveralThreads) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([this, i] {
      const Attempt own{"account " + std::to_string(i), "192.0.2.1"};
      for (int turn = 0; turn < 500; ++turn) {
        if (!limiter_.begin(own, start)) limiter_.end(own, Result::right, start);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  fail(10, {"account 0", "192.0.2.1"}, start);
}

}  // namespace
}  // namespace pelto::collector
