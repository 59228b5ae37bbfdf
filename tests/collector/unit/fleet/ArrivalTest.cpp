#include "collector/fleet/Arrival.h"

#include <gtest/gtest.h>

#include "collector/report/RetryRule.h"

namespace pelto::collector {
namespace {

using std::chrono::days;
using std::chrono::seconds;

FleetOptions options_of() {
  FleetOptions options;
  options.installations = 2000;
  options.periods = 13;
  options.seed = 11;
  return options;
}

struct Kinds {
  int replacing = 0;
  int repeated = 0;
  int across_periods = 0;
  int early_and_new = 0;
  int same_report_too_late = 0;
  int at_the_limit = 0;
  int just_beyond_the_limit = 0;
  int copies = 0;
  int renamed = 0;
  int empty_and_replaced = 0;
  int new_machine = 0;
};

/// Calls `take` with each arrival that is kept and the one kept before it.
template <typename Take>
void for_each_pair(const std::vector<Arrival>& arrivals, Take take) {
  const Arrival* last = nullptr;
  for (const Arrival& arrival : arrivals) {
    if (arrival.is_repeated) continue;
    if (last != nullptr) take(*last, arrival);
    last = &arrival;
  }
}

void count_kinds(Kinds& kinds, const Arrival& last, const Arrival& arrival) {
  const seconds gap = arrival.delivery.time - last.delivery.time;
  const bool is_same_report = last.delivery.report == arrival.delivery.report;
  if (arrival.replaces) ++kinds.replacing;
  if (arrival.replaces && period_of(last.delivery.time) != period_of(arrival.delivery.time)) {
    ++kinds.across_periods;
  }
  if (!is_same_report && gap < days(27) && !arrival.replaces) ++kinds.early_and_new;
  if (!is_same_report && arrival.replaces) ++kinds.empty_and_replaced;
  if (is_same_report && gap > days(27)) ++kinds.same_report_too_late;
  if (is_same_report && gap == days(27)) ++kinds.at_the_limit;
  if (is_same_report && gap == days(27) + seconds(1)) ++kinds.just_beyond_the_limit;
  if (is_same_report && gap <= seconds(5) && last.read == arrival.read) ++kinds.copies;
  if (is_same_report && !arrival.replaces && gap <= days(27)) ++kinds.renamed;
  if (last.delivery.machine >= 0 && arrival.delivery.machine > last.delivery.machine) {
    ++kinds.new_machine;
  }
}

/// The verdict of the rule on each pair must be what follows from the simulation.
Kinds compare_with_rule(std::optional<Time> now) {
  Kinds kinds;
  const FleetOptions options = options_of();
  for (std::int64_t i = 0; i < options.installations; ++i) {
    const std::vector<Arrival> arrivals = arrivals_of(Installation(options, i), now);
    for (const Arrival& arrival : arrivals) {
      if (arrival.is_repeated) ++kinds.repeated;
    }
    for_each_pair(arrivals, [&](const Arrival& last, const Arrival& arrival) {
      Report earlier = last.read;
      Report later = arrival.read;
      normalize(earlier);
      normalize(later);
      EXPECT_EQ(arrival.replaces,
                is_sent_again(earlier, last.delivery.time, later, arrival.delivery.time))
          << "installation " << i << ", report " << arrival.delivery.report;
      count_kinds(kinds, last, arrival);
    });
  }
  return kinds;
}

TEST(Arrival, ReplacesAsTheRuleSaysInAHistoryThatHasEveryKind) {
  const Kinds kinds = compare_with_rule(std::nullopt);
  EXPECT_GT(kinds.replacing, 500);
  EXPECT_GT(kinds.repeated, 100);
  EXPECT_GT(kinds.across_periods, 50);
  EXPECT_GT(kinds.early_and_new, 50);
  EXPECT_GT(kinds.same_report_too_late, 3);
  EXPECT_GT(kinds.at_the_limit, 3);
  EXPECT_GT(kinds.just_beyond_the_limit, 3);
  EXPECT_GT(kinds.copies, 100);
  EXPECT_GT(kinds.empty_and_replaced, 0);
  EXPECT_GT(kinds.new_machine, 50);
  EXPECT_EQ(kinds.renamed, 0);
}

TEST(Arrival, ReplacesAsTheRuleSaysWhenEverythingArrivesNow) {
  const Time now = Day{std::chrono::year{2026} / std::chrono::March / 3};
  const Kinds kinds = compare_with_rule(now);
  EXPECT_GT(kinds.replacing, 500);
  EXPECT_GT(kinds.early_and_new, 5000);
  EXPECT_GT(kinds.empty_and_replaced, 30);
  // A report that tells its code page only when it is sent again cannot be recognized.
  EXPECT_GT(kinds.renamed, 5);
}

TEST(Arrival, IsReadAs1252WithoutADescriptionOfTheMachine) {
  const FleetOptions options = options_of();
  int russian = 0;
  for (std::int64_t i = 0; i < 200; ++i) {
    const Installation installation(options, i);
    if (installation.code_page() != 1251) continue;
    for (const Arrival& arrival : arrivals_of(installation, Time{})) {
      for (const CommandCount& command : arrival.read.commands) {
        const std::string expected = arrival.sent.machine.empty() ? "Îòêðûòü" : "Открыть";
        const std::string other = arrival.sent.machine.empty() ? "Открыть" : "Îòêðûòü";
        EXPECT_NE(command.name, other);
        if (command.name == expected) ++russian;
      }
    }
  }
  EXPECT_GT(russian, 10);
}

}  // namespace
}  // namespace pelto::collector
