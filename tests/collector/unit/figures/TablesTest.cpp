#include "collector/figures/Tables.h"

#include <gtest/gtest.h>

namespace pelto::collector {
namespace {

constexpr TableContext five_of_100{.threshold = 5, .installations = 100};

/// The table's rows without its header, with ends of lines as they are easiest to read.
std::string rows_of(const Table& table) {
  std::string csv = table_as_csv({{}, table.rows});
  std::erase(csv, '\r');
  return csv.substr(1);
}

TEST(OverviewTable, HasTheColumnsOfTheContract) {
  EXPECT_EQ(table_as_csv(overview_table({}, five_of_100)), "period,installations,new,reports\r\n");
}

TEST(OverviewTable, IsSortedByPeriodAndFillsGapsWithZeros) {
  const Table table = overview_table({{3, 9, {8}, {5}}, {1, 20, {20}, {20}}},
                                     {.threshold = 5, .installations = 25});
  EXPECT_EQ(rows_of(table),
            "2024-01-29,20,20,20\n"
            "2024-02-26,0,0,0\n"
            "2024-03-25,8,5,9\n");
  EXPECT_EQ(table.withheld, 0);
}

TEST(OverviewTable, BeginsAndEndsWithARowThatHasReports) {
  const Table table = overview_table({{0, 0, {0, 9}, {}}, {1, 6, {6, 9}, {}}, {2, 0, {0, 9}, {}}},
                                     {.threshold = 5, .installations = 6});
  EXPECT_EQ(rows_of(table), "2024-01-29,6,0,6\n");
}

TEST(OverviewTable, LeavesOutARowThatRestsOnFew) {
  const Table table =
      overview_table({{0, 4, {4}, {}}, {1, 5, {5}, {}}, {2, 7, {7, 4}, {}}}, five_of_100);
  EXPECT_EQ(rows_of(table), "2024-01-29,5,0,5\n");
  EXPECT_EQ(table.withheld, 2);
}

TEST(OverviewTable, WithholdsNewOnesThatAreFewAndWhatWouldTellThem) {
  const Table table = overview_table(
      {{0, 30, {30}, {30}}, {1, 30, {30}, {6}}, {2, 30, {30}, {2}}, {3, 30, {30}, {0}}},
      {.threshold = 5, .installations = 38});
  EXPECT_EQ(rows_of(table),
            "2024-01-01,30,30,30\n"
            "2024-01-29,30,,30\n"
            "2024-02-26,30,,30\n"
            "2024-03-25,30,0,30\n");
}

TEST(OverviewTable, LeavesOutAFirstRowThatWouldTellTheNewOnesOfTheOthers) {
  // All of the first period are new, so 10 less 8 would tell that 2 are new in the second.
  const Table table =
      overview_table({{0, 8, {8}, {8}}, {1, 10, {10}, {2}}}, {.threshold = 5, .installations = 10});
  EXPECT_EQ(rows_of(table), "2024-01-29,10,,10\n");
  EXPECT_EQ(table.withheld, 1);
}

TEST(OverviewTable, KeepsAFirstRowThatTellsNothing) {
  // Some of the first row came before the range, so its number does not tell that of the new ones.
  const Table table =
      overview_table({{1, 9, {9}, {6}}, {2, 10, {10}, {2}}}, {.threshold = 5, .installations = 10});
  EXPECT_EQ(rows_of(table), "2024-01-29,9,,9\n2024-02-26,10,,10\n");
}

TEST(OverviewTable, NewOnesOfALeftOutRowCountAsWithheld) {
  const Table table = overview_table({{0, 30, {30}, {30}}, {1, 9, {9}, {6}}, {2, 2, {2}, {2}}},
                                     {.threshold = 5, .installations = 38});
  EXPECT_EQ(rows_of(table),
            "2024-01-01,30,30,30\n"
            "2024-01-29,9,,9\n");
}

TEST(CommandsTable, HasTheColumnsOfTheContract) {
  EXPECT_EQ(table_as_csv(commands_table({}, five_of_100)),
            "command,uses,installations,share,median_order\r\n");
}

TEST(CommandsTable, IsSortedByUsesThenNameByBytes) {
  const Table table = commands_table({{"b", 7, {5}, {5}, 3},
                                      {"a", 7, {6}, {6}, 2},
                                      {"Z", 7, {7}, {7}, 1},
                                      {"\xC3\xA4", 7, {7}, {7}, 1},
                                      {"c", 900, {100}, {100}, 1}},
                                     five_of_100);
  EXPECT_EQ(rows_of(table),
            "c,900,100,1.0,1\n"
            "Z,7,7,0.07,1\n"
            "a,7,6,0.06,2\n"
            "b,7,5,0.05,3\n"
            "\xC3\xA4,7,7,0.07,1\n");
}

TEST(CommandsTable, LeavesOutFewAndThoseOfWhichTheOtherVersionsHaveFew) {
  const Table table = commands_table({{"few", 700, {4}, {4}, 3},
                                      {"enough", 7, {5}, {5}, 2},
                                      {"elsewhere few", 7, {50, 1}, {5}, 2},
                                      {"elsewhere enough", 7, {50, 5}, {5}, 2},
                                      {"elsewhere only", 0, {0, 50}, {0, 50}, {}}},
                                     five_of_100);
  EXPECT_EQ(rows_of(table),
            "elsewhere enough,7,50,0.5,2\n"
            "enough,7,5,0.05,2\n");
  EXPECT_EQ(table.withheld, 2);
}

TEST(CommandsTable, WithholdsAMedianThatRestsOnFew) {
  const Table table = commands_table(
      {{"a", 9, {9}, {4}, 3}, {"b", 8, {9}, {5, 3}, 3}, {"c", 7, {9}, {0}, {}}}, five_of_100);
  EXPECT_EQ(rows_of(table),
            "a,9,9,0.09,\n"
            "b,8,9,0.09,\n"
            "c,7,9,0.09,\n");
}

TEST(CommandsTable, HasNoSharesWithoutATotal) {
  EXPECT_EQ(rows_of(commands_table({{"a", 9, {9}, {9}, 3}}, {.threshold = 5})), "a,9,9,,3\n");
}

TEST(FileTypesTable, HasTheColumnsOfTheContract) {
  EXPECT_EQ(table_as_csv(file_types_table({}, five_of_100)),
            "file_type,opened,saved,installations\r\n");
}

TEST(FileTypesTable, IsSortedByOpenedAndSavedThenName) {
  const Table table = file_types_table(
      {{".c", 1, 1, {9}, {9}, {9}}, {".b", 3, 4, {9}, {9}, {9}}, {".a", 5, 2, {9}, {9}, {9}}},
      five_of_100);
  EXPECT_EQ(rows_of(table),
            ".a,5,2,9\n"
            ".b,3,4,9\n"
            ".c,1,1,9\n");
}

TEST(FileTypesTable, WithholdsEachNumberByItsOwnBasis) {
  const Table table = file_types_table({{".a", 50, 2, {9}, {9}, {4}},
                                        {".b", 40, 0, {9}, {9}, {0}},
                                        {".c", 30, 3, {9}, {9, 2}, {9}},
                                        {".d", 20, 3, {4}, {4}, {4}}},
                                       five_of_100);
  EXPECT_EQ(rows_of(table),
            ".a,50,,9\n"
            ".b,40,0,9\n"
            ".c,,3,9\n");
  EXPECT_EQ(table.withheld, 1);
}

TEST(FileTypesTable, APlaceInTheOrderTellsNothingOfAWithheldNumber) {
  const Table table =
      file_types_table({{".a", 10, 900, {9}, {9}, {4}}, {".b", 11, 0, {9}, {9}, {0}}}, five_of_100);
  EXPECT_EQ(rows_of(table),
            ".b,11,0,9\n"
            ".a,10,,9\n");
}

TEST(VersionsTable, IsSortedByPeriodThenVersionByItsNumbersThenApplication) {
  const Table table = versions_table({{1, "App", "10.0", {9}},
                                      {1, "App", "9.0", {9}},
                                      {1, "Aid", "9.0", {9}},
                                      {0, "App", "11.0", {9}}},
                                     five_of_100);
  EXPECT_EQ(table_as_csv(table),
            "period,application,version,installations\r\n"
            "2024-01-01,App,11.0,9\r\n"
            "2024-01-29,Aid,9.0,9\r\n"
            "2024-01-29,App,9.0,9\r\n"
            "2024-01-29,App,10.0,9\r\n");
}

TEST(VersionsTable, GuardsEachPeriodForItself) {
  const Table table = versions_table({{0, "App", "1.0", {20}},
                                      {0, "App", "2.0", {6}},
                                      {0, "App", "3.0", {1}},
                                      {1, "App", "1.0", {20}},
                                      {1, "App", "2.0", {6}}},
                                     five_of_100);
  EXPECT_EQ(rows_of(table),
            "2024-01-01,App,1.0,20\n"
            "2024-01-29,App,1.0,20\n"
            "2024-01-29,App,2.0,6\n");
  EXPECT_EQ(table.withheld, 2);
}

TEST(VersionsTable, TheRowsOfARangeOfOnePeriodArePartsOfTheTotal) {
  // Six rows rest on installations that had two versions, so that 12 have only 10 in shown rows.
  const std::vector<VersionRow> rows{
      {0, "App", "1.0", {10}}, {0, "App", "2.0", {3}}, {0, "App", "3.0", {3}}};
  EXPECT_EQ(
      rows_of(versions_table(rows, {.threshold = 5, .installations = 12, .is_one_period = true})),
      "");
  EXPECT_EQ(
      rows_of(versions_table(rows, {.threshold = 5, .installations = 12, .is_one_period = false})),
      "2024-01-01,App,1.0,10\n");
}

TEST(MachinesTable, IsSortedByCategoryAndNameThenTheMostFrequentThenValue) {
  const Table table = machines_table({{"System", "Memory", "8 GiB", {60}},
                                      {"OS", "Version", "10", {20}},
                                      {"OS", "Version", "11", {40}},
                                      {"OS", "Version", "09", {40}},
                                      {"OS", "Caption", "x", {100}}},
                                     five_of_100);
  EXPECT_EQ(table_as_csv(table),
            "category,name,value,installations\r\n"
            "OS,Caption,x,100\r\n"
            "OS,Version,09,40\r\n"
            "OS,Version,11,40\r\n"
            "OS,Version,10,20\r\n"
            "System,Memory,8 GiB,60\r\n");
}

TEST(MachinesTable, GuardsEachPropertyForItself) {
  const Table table = machines_table({{"OS", "Version", "10", {60}},
                                      {"OS", "Version", "11", {37}},
                                      {"OS", "Version", "6.1", {3}},
                                      {"OS", "Caption", "a", {90}},
                                      {"OS", "Caption", "b", {10}},
                                      {"Processor", "Name", "a", {91}},
                                      {"Processor", "Name", "b", {7}}},
                                     five_of_100);
  EXPECT_EQ(rows_of(table),
            "OS,Caption,a,90\n"
            "OS,Caption,b,10\n"
            "OS,Version,10,60\n"
            "Processor,Name,a,91\n");
  EXPECT_EQ(table.withheld, 3);
}

TEST(IntakeTable, IsOneRowWithoutAThreshold) {
  const Table table = intake_table({.accepted = 3, .replaced = 1, .refused = {{"no-id", 1}}});
  EXPECT_EQ(table_as_csv(table), "accepted,replaced,repeated,refused\r\n3,1,0,no-id=1\r\n");
}

}  // namespace
}  // namespace pelto::collector
