#include "collector/fleet/Installation.h"

#include <gtest/gtest.h>

#include <map>
#include <set>

namespace pelto::collector {
namespace {

using std::chrono::days;

FleetOptions options_of(std::int64_t installations = 400) {
  FleetOptions options;
  options.installations = installations;
  options.periods = 13;
  options.seed = 42;
  return options;
}

template <typename Take>
void for_each_installation(const FleetOptions& options, Take take) {
  for (std::int64_t i = 0; i < options.installations; ++i) take(Installation(options, i));
}

TEST(Installation, IsTheSameForTheSameOptionsAndNumber) {
  const Installation first(options_of(), 17);
  const Installation second(options_of(), 17);
  EXPECT_EQ(first.identifier(), second.identifier());
  ASSERT_EQ(first.deliveries().size(), second.deliveries().size());
  for (std::size_t i = 0; i < first.deliveries().size(); ++i) {
    EXPECT_EQ(first.deliveries()[i].id, second.deliveries()[i].id);
    EXPECT_EQ(first.report_of(first.deliveries()[i]), second.report_of(second.deliveries()[i]));
  }
}

TEST(Installation, IsAnotherForAnotherSeedOrNumber) {
  FleetOptions other = options_of();
  other.seed = 43;
  EXPECT_NE(Installation(options_of(), 17).identifier(), Installation(other, 17).identifier());
  EXPECT_NE(Installation(options_of(), 17).identifier(),
            Installation(options_of(), 18).identifier());
}

TEST(Installation, DeliversInOrderAndWithinTheHistory) {
  const FleetOptions options = options_of();
  const Time start = first_day_of(first_period_of(options));
  const Time end = first_day_of(last_period_of(options) + 1);
  for_each_installation(options, [&](const Installation& installation) {
    ASSERT_FALSE(installation.deliveries().empty());
    Time last = start - std::chrono::seconds(1);
    for (const SimulatedDelivery& delivery : installation.deliveries()) {
      if (delivery.is_repeated) {
        EXPECT_GE(delivery.time, last);
      } else {
        EXPECT_GT(delivery.time, last);
      }
      EXPECT_LT(delivery.time, end);
      last = delivery.time;
    }
  });
}

TEST(Installation, HasAnIdForEachDeliveryThatIsNoRepetition) {
  std::set<std::string> ids;
  std::size_t originals = 0;
  for_each_installation(options_of(), [&](const Installation& installation) {
    std::string last;
    for (const SimulatedDelivery& delivery : installation.deliveries()) {
      if (delivery.is_repeated) {
        EXPECT_EQ(delivery.id, last);
      } else {
        ++originals;
        ids.insert(delivery.id);
      }
      last = delivery.id;
    }
  });
  EXPECT_EQ(ids.size(), originals);
}

TEST(Installation, ReportsAgainAfter28DaysUnlessItsDatesWereLost) {
  int early = 0;
  int regular = 0;
  for_each_installation(options_of(), [&](const Installation& installation) {
    const SimulatedDelivery* last = nullptr;
    for (const SimulatedDelivery& delivery : installation.deliveries()) {
      if (last != nullptr && delivery.report != last->report) {
        EXPECT_EQ(delivery.report, last->report + 1);
        ++(delivery.time - last->time < days(28) ? early : regular);
      }
      last = &delivery;
    }
  });
  EXPECT_GT(early, 10);
  EXPECT_GT(regular, 40 * early);
}

TEST(Installation, DescribesItsMachineInEverySecondReportOrSo) {
  std::map<bool, int> reports;
  for_each_installation(options_of(), [&](const Installation& installation) {
    for (const SimulatedDelivery& delivery : installation.deliveries()) {
      ++reports[delivery.machine >= 0];
      EXPECT_EQ(installation.report_of(delivery).machine.empty(), delivery.machine < 0);
    }
  });
  EXPECT_GT(reports[true], reports[false] / 2);
  EXPECT_GT(reports[false], reports[true] / 2);
}

TEST(Installation, KeepsADescriptionInAReportThatGrows) {
  for_each_installation(options_of(), [&](const Installation& installation) {
    const SimulatedDelivery* last = nullptr;
    for (const SimulatedDelivery& delivery : installation.deliveries()) {
      if (last != nullptr && delivery.report == last->report && last->machine >= 0) {
        EXPECT_GE(delivery.machine, 0);
      }
      last = &delivery;
    }
  });
}

TEST(Installation, UsesAround60Commands) {
  std::size_t commands = 0;
  std::size_t reports = 0;
  for_each_installation(options_of(), [&](const Installation& installation) {
    for (const SimulatedDelivery& delivery : installation.deliveries()) {
      if (installation.is_empty(delivery)) continue;
      commands += installation.report_of(delivery).commands.size();
      ++reports;
    }
  });
  const auto mean = static_cast<double>(commands) / static_cast<double>(reports);
  EXPECT_GT(mean, 55);
  EXPECT_LT(mean, 70);
}

TEST(Installation, CountsNothingInAFewReports) {
  int empty = 0;
  for_each_installation(options_of(), [&](const Installation& installation) {
    for (const SimulatedDelivery& delivery : installation.deliveries()) {
      const Report report = installation.report_of(delivery);
      EXPECT_EQ(report.commands.empty() && report.file_types.empty(),
                installation.is_empty(delivery));
      if (report.commands.empty()) ++empty;
    }
  });
  EXPECT_GT(empty, 5);
}

TEST(Installation, TakesEachPlaceInAReportOnce) {
  for_each_installation(options_of(50), [&](const Installation& installation) {
    for (const SimulatedDelivery& delivery : installation.deliveries()) {
      std::set<std::int64_t> places;
      const Report report = installation.report_of(delivery);
      for (const CommandCount& command : report.commands) places.insert(command.order);
      ASSERT_EQ(places.size(), report.commands.size());
      if (places.empty()) continue;
      EXPECT_EQ(*places.begin(), 1);
      EXPECT_EQ(*places.rbegin(), std::ssize(places));
    }
  });
}

TEST(Installation, AdoptsVersionsInTheOrderOfTheirRelease) {
  std::map<int, std::set<Period>> periods;
  for_each_installation(options_of(), [&](const Installation& installation) {
    int last = 0;
    for (const SimulatedDelivery& delivery : installation.deliveries()) {
      EXPECT_GE(delivery.version, last);
      last = delivery.version;
      periods[delivery.version].insert(period_of(delivery.time));
    }
  });
  ASSERT_EQ(periods.size(), versions_of(options_of()).size());
  for (int version = 2; std::cmp_less(version, periods.size()); ++version) {
    EXPECT_GT(*periods[version].begin(), *periods[version - 1].begin());
  }
}

TEST(Installation, HasVersionsWhoseOrderByNumberIsNotThatOfTheirText) {
  const std::vector<std::string> versions = versions_of(options_of());
  EXPECT_EQ(versions, (std::vector<std::string>{"1.8.0.0", "1.9.0.0", "1.10.0.0", "1.10.1.0",
                                                "2.0.0.0", "2.1.0.0"}));
}

TEST(History, EndsWithTheLastWholePeriodBeforeADay) {
  FleetOptions options = options_of();
  options.until = first_day_of(20);
  EXPECT_EQ(last_period_of(options), 19);
  EXPECT_EQ(first_period_of(options), 7);
  options.until = last_day_of(20);
  EXPECT_EQ(last_period_of(options), 19);
}

}  // namespace
}  // namespace pelto::collector
