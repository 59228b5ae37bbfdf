// Random deliveries: the storage and the plain model must agree on everything.
#include <algorithm>
#include <ostream>
#include <tuple>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/collector/unit/storage/Model.h"
#include "tests/collector/unit/storage/Samples.h"

namespace pelto::collector {

// How a failure shows the values.
static void PrintTo(const Basis& basis, std::ostream* out) {
  *out << basis.installations << "/" << basis.elsewhere;
}

namespace testing {

namespace {

using ::testing::PrintToString;
using ::testing::UnorderedElementsAreArray;

auto key_of(const PeriodRow& row) {
  return std::tuple(row.period, row.reports, row.installations, row.first_reports);
}
auto key_of(const CommandRow& row) {
  return std::tuple(row.command, row.uses, row.installations, row.placed, row.median_order);
}
auto key_of(const FileTypeRow& row) {
  return std::tuple(row.file_type, row.opened, row.saved, row.installations, row.opening,
                    row.saving);
}
auto key_of(const VersionRow& row) {
  return std::tuple(row.period, row.application, row.version, row.installations);
}
auto key_of(const MachineRow& row) {
  return std::tuple(row.category, row.name, row.value, row.installations);
}

template <typename Row>
void expect_equal(const Counts<Row>& found, const Counts<Row>& expected) {
  const auto keys = [](const Counts<Row>& counts) {
    std::vector<decltype(key_of(counts.rows.front()))> all;
    for (const Row& row : counts.rows) all.push_back(key_of(row));
    return all;
  };
  EXPECT_EQ(found.installations, expected.installations);
  EXPECT_THAT(keys(found), UnorderedElementsAreArray(keys(expected)));
}

void expect_counts(Storage& storage, const Model& model, const Selection& selection) {
  SCOPED_TRACE(selection.product + " " + selection.version.value_or("every version") + " " +
               std::to_string(selection.from) + " to " + std::to_string(selection.to));
  expect_equal(storage.count_periods(selection), model.count_periods(selection));
  expect_equal(storage.count_commands(selection), model.count_commands(selection));
  expect_equal(storage.count_file_types(selection), model.count_file_types(selection));
  expect_equal(storage.count_versions(selection), model.count_versions(selection));
  expect_equal(storage.count_machines(selection), model.count_machines(selection));
  const IntakeCounts intake = storage.count_intake(selection);
  const IntakeCounts expected = model.count_intake(selection);
  EXPECT_EQ(intake.accepted, expected.accepted);
  EXPECT_EQ(intake.replaced, expected.replaced);
}

void expect_agreement(Storage& storage, const Model& model) {
  const auto deliveries = model.deliveries();
  const auto found = export_all(storage);
  ASSERT_EQ(found.size(), deliveries.size());
  for (std::size_t i = 0; i < found.size(); ++i) {
    EXPECT_EQ(found[i].delivery.id, deliveries[i].delivery.id);
    EXPECT_EQ(found[i].delivery.product, deliveries[i].delivery.product);
    EXPECT_EQ(found[i].delivery.received, deliveries[i].delivery.received);
    EXPECT_EQ(found[i].is_replaced, deliveries[i].is_replaced) << found[i].delivery.id;
    EXPECT_EQ(found[i].delivery.report, deliveries[i].delivery.report) << found[i].delivery.id;
  }
  for (const char* const product : {"default", "other"}) {
    EXPECT_EQ(storage.periods(product), model.periods(product));
  }
  EXPECT_THAT(storage.check(), ::testing::IsEmpty());
}

/// After some steps everything must be consistent.
void erase_with_interruptions(Storage& storage, const std::string& installation) {
  for (bool is_over = false; !is_over;) {
    int steps = 0;
    try {
      storage.erase_installation(installation, [&] { return ++steps <= 4; });
      is_over = true;
    } catch (const StorageError&) {
      EXPECT_THAT(storage.check(), ::testing::IsEmpty());
    }
  }
}

struct Run {
  unsigned seed;
  std::int64_t reports_per_fold;
  TimeKind time_kind;
};

void PrintTo(const Run& run, std::ostream* out) {
  *out << "seed " << run.seed << ", fold after " << run.reports_per_fold
       << (run.time_kind == TimeKind::arrival ? ", arrival" : ", stated");
}

class Agreement : public ::testing::TestWithParam<Run> {};

TEST_P(Agreement, OfEveryCountAfterEveryKindOfChange) {
  const TemporaryFolder folder;
  SqliteOptions options;
  options.reports_per_fold = GetParam().reports_per_fold;
  // One report at a time.
  options.erasing_step = std::chrono::milliseconds{0};
  auto storage = open_sqlite_storage(folder / sqlite_file_name, options);
  Model model;
  RandomDeliveries random(GetParam().seed);
  for (int round = 0; round < 12; ++round) {
    for (int i = 0; i < 15; ++i) {
      const Delivery delivery = random.next();
      ASSERT_EQ(keep(*storage, delivery, GetParam().time_kind),
                model.keep(delivery, GetParam().time_kind));
    }
    if (random.below(3) == 0) {
      const std::string gone = "installation-" + std::to_string(random.below(9));
      erase_with_interruptions(*storage, gone);
      model.erase(gone);
    }
    if (random.below(4) == 0) storage = open_sqlite_storage(folder / sqlite_file_name, options);
    for (int i = 0; i < 4; ++i) expect_counts(*storage, model, random.selection());
    expect_counts(*storage, model, everything());
    expect_agreement(*storage, model);
    if (HasFailure()) {
      FAIL() << "after round " << round;
    }
  }
}

std::vector<Run> runs() {
  std::vector<Run> all;
  for (unsigned seed = 1; seed <= 6; ++seed) {
    for (const std::int64_t reports : {1, 7, 1000}) {
      // Each number of reports meets each kind with three of the seeds.
      all.push_back({seed, reports, all.size() % 2 == 0 ? TimeKind::stated : TimeKind::arrival});
    }
  }
  return all;
}

INSTANTIATE_TEST_SUITE_P(RandomDeliveries, Agreement, ::testing::ValuesIn(runs()));

TEST(Agreement, WhateverTheOrderInWhichDeliveriesOfStatedTimesCome) {
  RandomDeliveries random(7);
  std::vector<Delivery> deliveries;
  Model model;
  while (deliveries.size() < 40) {
    Delivery delivery = random.next();
    delivery.report.installation = "installation-" + std::to_string(random.below(3));
    if (model.keep(delivery, TimeKind::stated) != Outcome::repeated) {
      deliveries.push_back(delivery);
    }
  }
  std::mt19937 shuffle(7);
  for (int order = 0; order < 10; ++order) {
    std::ranges::shuffle(deliveries, shuffle);
    const TemporaryFolder folder;
    SqliteOptions options;
    options.reports_per_fold = 1 + order * 3;
    const auto storage = open_sqlite_storage(folder / sqlite_file_name, options);
    for (const Delivery& delivery : deliveries) keep(*storage, delivery);
    expect_agreement(*storage, model);
    expect_counts(*storage, model, everything());
  }
}

}  // namespace

}  // namespace testing

}  // namespace pelto::collector
