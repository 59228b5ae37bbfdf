#include "collector/report/RetryRule.h"

#include <gtest/gtest.h>

namespace pelto::collector {
namespace {

using namespace std::chrono_literals;

constexpr Time sent = Day{2026y / 1 / 5};

struct Case {
  const char* description;
  std::vector<CommandCount> earlier;
  std::vector<CommandCount> later;
  bool is_again;
};

class Commands : public testing::TestWithParam<Case> {};

TEST_P(Commands, DecideWhetherItIsTheSameReport) {
  const Case& test = GetParam();
  Report earlier;
  earlier.commands = test.earlier;
  Report later;
  later.commands = test.later;
  EXPECT_EQ(is_sent_again(earlier, sent, later, sent + 1h), test.is_again) << test.description;
}

INSTANTIATE_TEST_SUITE_P(
    RetryRule, Commands,
    testing::Values(
        Case{"the same", {{"Line", 3, 1}}, {{"Line", 3, 1}}, true},
        Case{"grown", {{"Line", 3, 1}}, {{"Line", 4, 1}}, true},
        Case{"with another command", {{"Line", 3, 1}}, {{"Arc", 1, 2}, {"Line", 3, 1}}, true},
        Case{"in another sequence", {{"A", 1, 1}, {"B", 1, 2}}, {{"B", 1, 2}, {"A", 1, 1}}, true},
        Case{"without counts before", {}, {{"Line", 3, 1}}, true},
        Case{"without counts at all", {}, {}, true},
        Case{"without counts after", {{"Line", 3, 1}}, {}, false},
        Case{"shrunk", {{"Line", 3, 1}}, {{"Line", 2, 1}}, false},
        Case{"with another place", {{"Line", 3, 1}}, {{"Line", 3, 2}}, false},
        Case{"with a place lost", {{"Line", 3, 1}}, {{"Line", 3, 0}}, false},
        Case{"without one command", {{"A", 1, 1}, {"B", 1, 2}}, {{"A", 1, 1}, {"C", 9, 2}}, false},
        Case{"with another spelling", {{"Line", 3, 1}}, {{"line", 3, 1}}, false}));

struct FileTypeCase {
  FileTypeCount later;
  bool is_again;
};

TEST(RetryRule, FileTypesMustNotShrink) {
  Report earlier;
  earlier.file_types = {{".dwg", 2, 3}};
  for (const FileTypeCase& test : {FileTypeCase{{".dwg", 2, 3}, true},
                                   {{".dwg", 5, 3}, true},
                                   {{".dwg", 2, 4}, true},
                                   {{".dwg", 1, 9}, false},
                                   {{".dwg", 9, 2}, false},
                                   {{".dxf", 2, 3}, false}}) {
    Report later;
    later.file_types = {test.later};
    EXPECT_EQ(is_sent_again(earlier, sent, later, sent + 1h), test.is_again)
        << test.later.name << ' ' << test.later.opened << ' ' << test.later.saved;
  }
}

TEST(RetryRule, CommandsAndFileTypesMustBothBeHeld) {
  Report earlier;
  earlier.commands = {{"Line", 3, 1}};
  earlier.file_types = {{".dwg", 2, 3}};
  Report later = earlier;
  EXPECT_TRUE(is_sent_again(earlier, sent, later, sent));
  later.commands[0].uses = 2;
  EXPECT_FALSE(is_sent_again(earlier, sent, later, sent));
  later = earlier;
  later.file_types.clear();
  EXPECT_FALSE(is_sent_again(earlier, sent, later, sent));
}

TEST(RetryRule, TheTimeBetweenIsAtMost27Days) {
  const Report report;
  for (const auto& [age, is_again] : {std::pair{0s, true},
                                      {std::chrono::seconds{27 * 24h} - 1s, true},
                                      {std::chrono::seconds{27 * 24h}, true},
                                      {std::chrono::seconds{27 * 24h} + 1s, false},
                                      {std::chrono::seconds{28 * 24h}, false}}) {
    EXPECT_EQ(is_sent_again(report, sent, report, sent + age), is_again) << age.count();
  }
}

TEST(RetryRule, MachineVersionAndAddressDoNotMatter) {
  Report earlier;
  earlier.commands = {{"Line", 3, 1}};
  earlier.machine = {{"OS", "Version", "10"}};
  earlier.version = "1";
  earlier.email = "a@example.com";
  Report later = earlier;
  later.machine.clear();
  later.version = "2";
  later.email.clear();
  EXPECT_TRUE(is_sent_again(earlier, sent, later, sent + 1h));
}

}  // namespace
}  // namespace pelto::collector
