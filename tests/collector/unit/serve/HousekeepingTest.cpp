#include "collector/serve/Housekeeping.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "tests/collector/unit/serve/RunningServer.h"
#include "tests/collector/unit/serve/SlowStorage.h"

namespace pelto::collector {
namespace {

using std::chrono::days;
using std::chrono::milliseconds;

class HousekeepingTest : public testing::Test {
 protected:
  static Time now() {
    return std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
  }

  bool await_rounds(std::size_t count) {
    for (int i = 0; i < 2000; ++i) {
      if (storage_.text_limits().size() >= count) return true;
      std::this_thread::sleep_for(milliseconds(5));
    }
    return false;
  }

  LogPipe pipe_;
  LogWriter log_{pipe_.writing_end()};
  SlowStorage storage_;
};

TEST_F(HousekeepingTest, RemovesRawReportsAtTheStartAndKeepsInstallations) {
  const Time before = now();
  const Housekeeping housekeeping({}, storage_, log_);
  ASSERT_TRUE(await_rounds(1));
  EXPECT_GE(storage_.text_limits()[0], before - days(400));
  EXPECT_LE(storage_.text_limits()[0], now() - days(400));
  EXPECT_TRUE(pipe_.await("message=\"removed 2 raw reports\""));
  EXPECT_TRUE(storage_.silence_limits().empty());
}

TEST_F(HousekeepingTest, ErasesSilentInstallationsOnRequest) {
  HousekeepingOptions options;
  options.retention = days(10);
  options.forget_silent = days(20);
  const Housekeeping housekeeping(options, storage_, log_);
  EXPECT_TRUE(pipe_.await("message=\"erased 1 silent installations\""));
  EXPECT_LE(storage_.text_limits().at(0), now() - days(10));
  EXPECT_LE(storage_.silence_limits().at(0), now() - days(20));
  EXPECT_GE(storage_.silence_limits().at(0), now() - days(21));
}

TEST_F(HousekeepingTest, AFailureIsLoggedAndTheNextRoundTriesAgain) {
  HousekeepingOptions options;
  options.interval = milliseconds(5);
  storage_.fail_cleaning(true);
  const Housekeeping housekeeping(options, storage_, log_);
  EXPECT_TRUE(pipe_.await("cannot remove what is kept no longer: the storage is full"));
  storage_.fail_cleaning(false);
  EXPECT_TRUE(pipe_.await("removed 2 raw reports"));
}

TEST_F(HousekeepingTest, TriesInEachRoundToRemoveTheTracesOfErasures) {
  HousekeepingOptions options;
  options.interval = milliseconds(5);
  storage_.set_traces_left("another process reads");
  const Housekeeping housekeeping(options, storage_, log_);
  const std::string line = "cannot remove what is kept no longer: another process reads";
  ASSERT_TRUE(pipe_.await(line));
  for (int i = 0; i < 2000 && pipe_.read().rfind(line) == pipe_.read().find(line); ++i) {
    std::this_thread::sleep_for(milliseconds(5));
  }
  EXPECT_NE(pipe_.read().rfind(line), pipe_.read().find(line));
}

TEST_F(HousekeepingTest, AnEndIsNotHeldUpByMuchToRemove) {
  HousekeepingOptions options;
  options.forget_silent = days(20);
  // Ten minutes.
  storage_.set_texts(600'000);
  const auto start = std::chrono::steady_clock::now();
  {
    const Housekeeping housekeeping(options, storage_, log_);
    ASSERT_TRUE(await_rounds(1));
  }
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
  EXPECT_TRUE(storage_.silence_limits().empty()) << "it goes on after the end";
}

TEST_F(HousekeepingTest, EndsWithoutWaitingForTheNextRound) {
  const auto start = std::chrono::steady_clock::now();
  {
    const Housekeeping housekeeping({}, storage_, log_);
    ASSERT_TRUE(await_rounds(1));
  }
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
  EXPECT_EQ(storage_.text_limits().size(), 1U);
}

}  // namespace
}  // namespace pelto::collector
