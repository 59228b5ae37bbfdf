#include "collector/report/Report.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace pelto::collector {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(Normalize, ANormalReportStaysAsItIs) {
  Report report;
  report.commands = {{"Line", 3, 1}, {"Öffnen", largest_count, 2}, {"Zoom", 0, 0}};
  report.file_types = {{".dwg", 1, 2}, {"", 3, 0}};
  report.machine = {{"OS", "Version", "10"}, {"OS", "Caption", "10"}};
  const Report before = report;
  normalize(report);
  EXPECT_EQ(report, before);
}

TEST(Normalize, OfSeveralEntriesOfANameTheFirstCounts) {
  Report report;
  report.commands = {{"Line", 3, 1}, {"Arc", 1, 2}, {"Line", 5, 3}};
  report.file_types = {{".dwg", 1, 2}, {".dwg", 7, 7}};
  report.machine = {{"OS", "Version", "10"}, {"OS", "Version", "11"}};
  normalize(report);
  EXPECT_THAT(report.commands, ElementsAre(CommandCount{"Line", 3, 1}, CommandCount{"Arc", 1, 2}));
  EXPECT_THAT(report.file_types, ElementsAre(FileTypeCount{".dwg", 1, 2}));
  EXPECT_THAT(report.machine, ElementsAre(MachineValue{"OS", "Version", "10"}));
  EXPECT_FALSE(report.is_capped);
}

TEST(Normalize, NegativeNumbersCountAsZero) {
  Report report;
  report.commands = {{"Line", -1, -7}, {"Arc", INT64_MIN, INT64_MIN}};
  report.file_types = {{".dwg", -1, INT64_MIN}};
  normalize(report);
  EXPECT_THAT(report.commands, ElementsAre(CommandCount{"Line", 0, 0}, CommandCount{"Arc", 0, 0}));
  EXPECT_THAT(report.file_types, ElementsAre(FileTypeCount{".dwg", 0, 0}));
  EXPECT_FALSE(report.is_capped);
}

TEST(Normalize, LargeNumbersAreCutAndMarkTheReport) {
  for (const auto& [uses, order, opened, saved] :
       {std::array<std::int64_t, 4>{largest_count + 1, 0, 0, 0},
        {0, INT64_MAX, 0, 0},
        {0, 0, INT64_MAX, 0},
        {0, 0, 0, largest_count + 1}}) {
    Report report;
    report.commands = {{"Line", uses, order}};
    report.file_types = {{".dwg", opened, saved}};
    normalize(report);
    EXPECT_TRUE(report.is_capped);
    EXPECT_EQ(report.commands[0].uses, std::min(uses, largest_count));
    EXPECT_EQ(report.commands[0].order, std::min(order, largest_count));
    EXPECT_EQ(report.file_types[0].opened, std::min(opened, largest_count));
    EXPECT_EQ(report.file_types[0].saved, std::min(saved, largest_count));
  }
}

TEST(Normalize, EntriesWithLongNamesAreLeftOutAndMarkTheReport) {
  const std::string longest(longest_name, 'x');
  const std::string too_long(longest_name + 1, 'x');
  Report report;
  report.commands = {{longest, 1, 1}};
  report.machine = {{longest, longest, longest}};
  const Report before = report;
  normalize(report);
  EXPECT_EQ(report, before);

  report.commands = {{too_long, 1, 1}};
  normalize(report);
  EXPECT_THAT(report.commands, IsEmpty());
  EXPECT_TRUE(report.is_capped);
  for (const MachineValue& value :
       {MachineValue{too_long, "n", "v"}, {"c", too_long, "v"}, {"c", "n", too_long}}) {
    Report machine;
    machine.machine = {value};
    normalize(machine);
    EXPECT_THAT(machine.machine, IsEmpty());
    EXPECT_TRUE(machine.is_capped);
  }
}

TEST(Normalize, FileTypesThatMayHoldAPathCountTogetherAsOthers) {
  Report report;
  report.file_types = {
      {".dwg", 1, 2}, {".last/README", 1, 0}, {".a b", 2, 3}, {".last/README", 9, 9}};
  normalize(report);
  EXPECT_THAT(report.file_types,
              ElementsAre(FileTypeCount{".dwg", 1, 2}, FileTypeCount{other_file_type, 3, 3}));
  const Report before = report;
  normalize(report);
  EXPECT_EQ(report, before);
}

TEST(Normalize, TheSumOfTheOthersIsCut) {
  Report report;
  report.file_types = {{"a/b", largest_count, 1}, {"c/d", 1, largest_count}};
  normalize(report);
  EXPECT_THAT(report.file_types,
              ElementsAre(FileTypeCount{other_file_type, largest_count, largest_count}));
  EXPECT_TRUE(report.is_capped);
}

TEST(PlainExtension, HasAtMost32CharactersAndNothingOfAPath) {
  for (const char* const name : {"", ".dwg", ".tar.gz", ".größe", ".文書", "README"}) {
    EXPECT_TRUE(is_plain_extension(name)) << name;
  }
  for (const char* const name : {"a/b", "a\\b", "c:", ".a b", "/", "\\", ":", " "}) {
    EXPECT_FALSE(is_plain_extension(name)) << name;
  }
  std::string letters;
  for (int i = 0; i < 32; ++i) letters += "ß";
  EXPECT_TRUE(is_plain_extension(letters));
  EXPECT_FALSE(is_plain_extension(letters + "."));
}

}  // namespace
}  // namespace pelto::collector
