#include "collector/commands/LineFile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>
#include <iterator>
#include <thread>
#include <vector>

#include "collector/commands/CommandLine.h"
#include "tests/collector/support/TemporaryFolder.h"

namespace pelto::collector {
namespace {

class LineFileTest : public testing::Test {
 protected:
  std::filesystem::path write(const std::string& text) const {
    const auto path = folder_ / "lines";
    std::ofstream(path, std::ios::binary) << text;
    return path;
  }

  /// The file's lines; one that is too long is "(too long)".
  std::vector<std::string> lines_of(const LineFile& file, std::size_t longest = 1'000'000) const {
    std::vector<std::string> lines;
    file.for_each_line(longest, [&](std::optional<std::string_view> line, LineFile::Place place) {
      lines.emplace_back(line.value_or("(too long)"));
      if (line) {
        EXPECT_EQ(file.read(place), *line);
      }
    });
    return lines;
  }
  std::vector<std::string> lines_of(const std::string& text) const {
    return lines_of(LineFile(write(text), folder_.path()));
  }

  test::TemporaryFolder folder_;
};

using Lines = std::vector<std::string>;

TEST_F(LineFileTest, HasTheLinesWithoutTheirEnds) {
  EXPECT_EQ(lines_of(""), Lines{});
  EXPECT_EQ(lines_of("a"), Lines{"a"});
  EXPECT_EQ(lines_of("a\n"), Lines{"a"});
  EXPECT_EQ(lines_of("a\nbc\n\nd"), (Lines{"a", "bc", "", "d"}));
  EXPECT_EQ(lines_of("a\r\nb"), (Lines{"a\r", "b"}));
  EXPECT_EQ(lines_of("\n\n"), (Lines{"", ""}));
}

TEST_F(LineFileTest, ReadsLinesLongerThanItsBuffer) {
  const std::string large(300'000, 'x');
  const std::string larger(600'000, 'y');
  EXPECT_EQ(lines_of(large + "\n" + larger + "\nz"), (Lines{large, larger, "z"}));
}

TEST_F(LineFileTest, LeavesOutTheTextOfALineThatIsTooLong) {
  const LineFile file(write("1234\n12345\n123456\n1"), folder_.path());
  EXPECT_EQ(lines_of(file, 5), (Lines{"1234", "12345", "(too long)", "1"}));
}

TEST_F(LineFileTest, AFileThatCannotBeReadIsAnError) {
  EXPECT_THROW(LineFile(folder_ / "missing", folder_.path()), CommandError);
  EXPECT_THROW(LineFile(folder_.path(), folder_.path()), CommandError) << "a folder";
}

TEST_F(LineFileTest, ClosesWhatItHadOpenedWhenItFails) {
  const auto open_files = [] {
    const std::filesystem::directory_iterator files("/proc/self/fd");
    return std::distance(begin(files), end(files));
  };
  const auto before = open_files();
  EXPECT_THROW(LineFile(folder_.path(), folder_.path()), CommandError);
  EXPECT_THROW(LineFile("/dev/null", folder_ / "missing"), CommandError);
  EXPECT_EQ(open_files(), before);
}

TEST_F(LineFileTest, CopiesWhatCanBeReadOnlyOnceAndLeavesNoFile) {
  const auto pipe = folder_ / "pipe";
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  std::jthread writer([&] { std::ofstream(pipe) << "a\nb\n"; });
  const LineFile file(pipe, folder_.path());
  EXPECT_EQ(lines_of(file), (Lines{"a", "b"}));
  for (const auto& entry : std::filesystem::directory_iterator(folder_.path())) {
    EXPECT_EQ(entry.path(), pipe);
  }
}

TEST_F(LineFileTest, APlaceAfterTheEndHasFewerBytes) {
  const LineFile file(write("abc"), folder_.path());
  EXPECT_EQ(file.read({2, 5}), "c");
  EXPECT_EQ(file.read({9, 5}), "");
}

}  // namespace
}  // namespace pelto::collector
