#include "collector/http/LogWriter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <string>

#include "tests/collector/unit/serve/RunningServer.h"

namespace pelto::collector {
namespace {

TEST(LogWriter, WritesLinesInTheirOrder) {
  LogPipe pipe;
  LogWriter log(pipe.writing_end());
  std::string expected;
  for (int i = 0; i < 3000; ++i) {
    log.write("line=" + std::to_string(i));
    expected += "line=" + std::to_string(i) + "\n";
  }
  EXPECT_TRUE(pipe.await("line=2999\n"));
  EXPECT_EQ(pipe.read(), expected);
}

TEST(LogWriter, WritesWhatIsLeftAtItsEnd) {
  LogPipe pipe;
  { LogWriter(pipe.writing_end()).write("last"); }
  EXPECT_EQ(pipe.read(), "last\n");
}

TEST(LogWriter, AMessageHasATimeAndIsQuoted) {
  LogPipe pipe;
  { LogWriter(pipe.writing_end()).message("two words"); }
  const std::string text = pipe.read();
  EXPECT_TRUE(text.starts_with("time=20")) << text;
  EXPECT_TRUE(text.ends_with("Z message=\"two words\"\n")) << text;
}

TEST(LogWriter, DoesNotWaitForAReaderThatDoesNotRead) {
  LogPipe pipe;
  const auto start = std::chrono::steady_clock::now();
  {
    LogWriter log(pipe.writing_end());
    // More than the pipe and the writer hold.
    const std::string line(1000, 'x');
    for (std::size_t i = 0; i < 2 * LogWriter::most_bytes / 1000; ++i) log.write(line);
  }
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
  EXPECT_EQ(pipe.read().substr(0, 1001), std::string(1000, 'x') + "\n");
}

TEST(LogWriter, SaysHowManyLinesWereLost) {
  LogPipe pipe;
  LogWriter log(pipe.writing_end());
  const std::string line(1000, 'x');
  const std::size_t count = 3 * LogWriter::most_bytes / 1000;
  for (std::size_t i = 0; i < count; ++i) log.write(line);
  ASSERT_TRUE(pipe.await("lost_lines="));
  const std::string text = pipe.read();
  const std::size_t lost = std::stoul(text.substr(text.find("lost_lines=") + 11));
  EXPECT_GT(lost, 0U);
  const auto lines = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
  EXPECT_EQ(lines - 1 + lost, count);
}

TEST(LogWriter, AReaderThatHasGoneIsNoError) {
  std::signal(SIGPIPE, SIG_IGN);
  LogPipe pipe;
  LogWriter log(pipe.writing_end());
  pipe.close_reading_end();
  for (int i = 0; i < 100; ++i) log.write("nobody reads this");
}

}  // namespace
}  // namespace pelto::collector
