// Attacks on answers: everything that can be had as a difference of a total and its rows is
// computed from what is shown.

#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <nlohmann/json.hpp>
#include <random>
#include <string>

#include "collector/figures/Figures.h"
#include "tests/collector/support/Deliveries.h"
#include "tests/collector/support/FakeStorage.h"

namespace pelto::collector {
namespace {

using nlohmann::json;
using test::delivery_of;
using test::FakeStorage;
using test::keep_stated;
using test::time_in;

constexpr int largest_fleet = 16;
constexpr int periods = 3;

enum class Habit { one_report_a_period, sometimes_two };

/// Some installations with versions, commands and machines at random.
void keep_random_reports(Storage& storage, std::mt19937& random, Habit habit) {
  const auto pick = [&](unsigned limit) { return static_cast<int>(random() % limit); };
  const int installations = 1 + pick(largest_fleet);
  for (int installation = 0; installation < installations; ++installation) {
    for (Period period = 0; period < periods; ++period) {
      if (pick(4) == 0) continue;
      Report report;
      report.version = std::to_string(1 + pick(3)) + ".0";
      for (int command = 0; command < 4; ++command) {
        if (pick(3) > 0) report.commands.push_back({std::to_string(command), pick(9), pick(4)});
      }
      report.file_types = {{".a", pick(2), pick(3)}};
      if (pick(5) > 0) {
        report.machine = {{"OS", "Version", std::to_string(pick(4))}, {"Screen", "Width", "1920"}};
        if (pick(4) == 0) report.machine.push_back({"Screen", "Width", "2560"});
      }
      keep_stated(storage, delivery_of(std::to_string(installation), time_in(period), report));
      if (habit == Habit::one_report_a_period || pick(6) > 0) continue;
      // One that does not hold the one before it counts as well.
      report.version = "4.0";
      report.file_types.clear();
      keep_stated(storage, delivery_of(std::to_string(installation), time_in(period, 1), report));
    }
  }
}

class GuardedAnswer : public testing::Test {
 protected:
  json ask(FigureQuery query, int threshold) {
    query.threshold = threshold;
    return json::parse(figure_as_json(storage_, query));
  }

  json rows_of(FigureQuery query, int threshold) {
    return ask(std::move(query), threshold)["rows"];
  }

  /// That the answer's total does not tell a few when the sums are taken off it, one at a time.
  void expect_no_few(const json& answer, const std::map<std::string, std::int64_t>& sums,
                     int threshold) {
    if (answer["installations"].is_null()) return;
    for (const auto& [group, sum] : sums) {
      const std::int64_t difference = std::abs(answer["installations"].get<std::int64_t>() - sum);
      EXPECT_TRUE(difference == 0 || difference >= threshold) << group << " of " << answer;
    }
  }

  void expect_no_few_installations(const json& answer, int threshold) {
    if (!answer["installations"].is_null() && answer["installations"] != 0) {
      EXPECT_GE(answer["installations"], threshold) << answer;
    }
    for (const json& row : answer["rows"]) {
      for (const char* column : {"installations", "new"}) {
        if (!row.contains(column) || row[column].is_null() || row[column] == 0) continue;
        EXPECT_GE(row[column], threshold) << answer;
      }
    }
  }

  FakeStorage storage_;
};

class RandomFleet : public GuardedAnswer, public testing::WithParamInterface<unsigned> {
 protected:
  void SetUp() override {
    std::mt19937 random(GetParam());
    keep_random_reports(storage_, random, Habit::sometimes_two);
  }
};

class RegularFleet : public GuardedAnswer, public testing::WithParamInterface<unsigned> {
 protected:
  void SetUp() override {
    std::mt19937 random(GetParam());
    keep_random_reports(storage_, random, Habit::one_report_a_period);
  }
};

TEST_P(RandomFleet, NoShownNumberOfInstallationsIsFew) {
  for (const char* name : {"overview", "commands", "file-types", "versions", "machines"}) {
    for (const int threshold : {2, 3, 5}) {
      expect_no_few_installations(ask({.name = name}, threshold), threshold);
      expect_no_few_installations(ask({.name = name, .version = "1.0"}, threshold), threshold);
    }
  }
}

TEST_P(RandomFleet, NewOnesOfAllPeriodsTellNoFew) {
  for (const int threshold : {2, 3, 5}) {
    for (const char* from : {"2024-01-01", "2024-01-29"}) {
      const json answer = ask({.name = "overview", .from = from}, threshold);
      std::int64_t shown = 0;
      for (const json& row : answer["rows"]) {
        if (!row["new"].is_null()) shown += row["new"].get<std::int64_t>();
      }
      // Where no row has any, nothing is taken off the total.
      expect_no_few(answer, {{"new", shown}}, threshold);
    }
  }
}

TEST_P(RandomFleet, TheFirstPeriodTellsNoFewNewOnes) {
  for (const int threshold : {2, 3, 5}) {
    const json answer = ask({.name = "overview"}, threshold);
    for (const json& row : answer["rows"]) {
      if (row["period"] != answer["from"]) continue;
      expect_no_few(answer, {{"first", row["installations"].get<std::int64_t>()}}, threshold);
    }
  }
}

TEST_P(RandomFleet, VersionsOfAPeriodTellNoFew) {
  for (const int threshold : {2, 3, 5}) {
    for (const char* day : {"2024-01-01", "2024-01-29", "2024-02-26"}) {
      const json answer = ask({.name = "versions", .from = day, .to = day}, threshold);
      std::int64_t shown = 0;
      for (const json& row : answer["rows"]) shown += row["installations"].get<std::int64_t>();
      expect_no_few(answer, {{day, shown}}, threshold);
    }
  }
}

TEST_P(RegularFleet, VersionsTellNoFewOfAPeriodsInstallations) {
  // The overview has each period's number beside them.
  for (const int threshold : {2, 3, 5}) {
    std::map<std::string, std::int64_t> totals;
    for (const json& row : rows_of({.name = "overview"}, threshold)) {
      totals[row["period"]] = row["installations"];
    }
    std::map<std::string, std::int64_t> shown;
    for (const json& row : rows_of({.name = "versions"}, threshold)) {
      shown[row["period"]] += row["installations"].get<std::int64_t>();
    }
    for (const auto& [period, sum] : shown) {
      if (!totals.contains(period)) continue;
      const std::int64_t difference = totals[period] - sum;
      EXPECT_TRUE(difference <= 0 || difference >= threshold) << period;
    }
  }
}

TEST_P(RandomFleet, MachinesTellNoFew) {
  for (const int threshold : {2, 3, 5}) {
    for (const std::optional<std::string>& version : {std::optional<std::string>{}, {"1.0"}}) {
      const json answer = ask({.name = "machines", .version = version}, threshold);
      std::map<std::string, std::int64_t> shown;
      for (const json& row : answer["rows"]) {
        shown[row["category"].get<std::string>() + row["name"].get<std::string>()] +=
            row["installations"].get<std::int64_t>();
      }
      expect_no_few(answer, shown, threshold);
    }
  }
}

TEST_P(RegularFleet, AVersionsPartTellsNoFewOfTheOthers) {
  for (const int threshold : {2, 3, 5}) {
    std::map<std::string, std::int64_t> all;
    // In one period an installation has one version, so the difference is exactly the others'.
    for (const char* day : {"2024-01-01", "2024-01-29", "2024-02-26"}) {
      all.clear();
      for (const json& row : rows_of({.name = "commands", .from = day, .to = day}, threshold)) {
        all[row["command"]] = row["installations"];
      }
      const FigureQuery query{.name = "commands", .version = "1.0", .from = day, .to = day};
      for (const json& row : rows_of(query, threshold)) {
        const std::string command = row["command"];
        if (!all.contains(command)) continue;
        const std::int64_t others = all[command] - row["installations"].get<std::int64_t>();
        EXPECT_TRUE(others == 0 || others >= threshold) << command << " on " << day;
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomFleet, testing::Range(1U, 151U));
INSTANTIATE_TEST_SUITE_P(Seeds, RegularFleet, testing::Range(1U, 151U));

}  // namespace
}  // namespace pelto::collector
