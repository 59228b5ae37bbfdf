// Random deliveries: the storage and the plain model must agree on everything.
#include <algorithm>
#include <filesystem>
#include <map>
#include <ostream>
#include <thread>
#include <tuple>

#include <SQLiteCpp/Database.h>
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

using ::testing::Contains;
using ::testing::ContainsRegex;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
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
  EXPECT_THAT(storage.check(), IsEmpty());
}

/// After some steps everything must be consistent.
void erase_with_interruptions(Storage& storage, const std::string& installation) {
  for (bool is_whole = false; !is_whole;) {
    int steps = 0;
    is_whole = storage.erase_installation(installation, [&] { return ++steps <= 4; }).is_whole;
    EXPECT_THAT(storage.check(), ::testing::IsEmpty());
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

/// A file that is damaged from outside, and the model of what should be in it.
class DamagedFile : public ::testing::Test {
 protected:
  void open(std::int64_t reports_per_fold) {
    storage.reset();
    SqliteOptions options;
    options.reports_per_fold = reports_per_fold;
    // A report a step.
    options.erasing_step = std::chrono::milliseconds{0};
    storage = open_sqlite_storage(folder / sqlite_file_name, options);
  }
  void keep_both(const Delivery& delivery) {
    EXPECT_EQ(keep(*storage, delivery), model.keep(delivery, TimeKind::stated));
  }
  void keep_random(unsigned seed, int count) {
    RandomDeliveries random(seed);
    for (int i = 0; i < count; ++i) keep_both(random.next());
  }
  /// Changes the file while nobody has it open.
  void change(const std::string& sql, std::int64_t reports_per_fold) {
    storage.reset();
    SQLite::Database(folder / sqlite_file_name, SQLite::OPEN_READWRITE).exec(sql);
    open(reports_per_fold);
  }
  void erase(const std::string& installation) {
    for (bool is_whole = false; !is_whole;) {
      int steps = 0;
      is_whole = storage->erase_installation(installation, [&] { return ++steps <= 4; }).is_whole;
    }
    model.erase(installation);
  }
  /// Of one installation; each with more uses replaces the one before.
  static Delivery described_delivery(unsigned id, int days, std::int64_t uses) {
    Delivery delivery =
        sample_delivery(id, "2026-01-05T10:00:00Z", sample_report("described", uses));
    delivery.received += std::chrono::hours{24} * days;
    delivery.report.commands.push_back({"Own", 1, 0});
    delivery.report.file_types = {{".dwg", uses, 1}};
    delivery.report.machine = {{"OS", "Caption", "Windows " + std::to_string(id)}};
    return delivery;
  }
  void expect_only_report_1_is_damaged() {
    expect_all_counts();
    EXPECT_THAT(storage->check(), ElementsAre("report 1 is damaged and counts as an empty one"));
  }
  void expect_all_counts() {
    RandomDeliveries random(1);
    for (int i = 0; i < 10; ++i) expect_counts(*storage, model, random.selection());
    expect_counts(*storage, model, everything());
    expect_counts(*storage, model, everything("other"));
  }

  TemporaryFolder folder;
  std::unique_ptr<Storage> storage;
  Model model;
};

/// Gives some reports of an installation, the first one too, bytes that are something else.
std::string damage_of(const std::string& installation, const std::string& packed) {
  return "UPDATE report SET packed = " + packed +
         " WHERE installation = (SELECT number FROM installation "
         "WHERE identifier = '" +
         installation + "') AND number % 3 != 0";
}

/// No packing; nothing; a command, a file type and a property that the dictionary does not have; a
/// command that is a file type or a version.
const char* const damages[] = {"x'ff'",
                               "x''",
                               "x'01ff7f02010000'",
                               "x'0001ff7f020100'",
                               "x'000001fcff03'",
                               "(SELECT CAST(x'01' || char(number) || x'02010000' AS BLOB) "
                               "FROM name WHERE kind = 3)",
                               "(SELECT CAST(x'01' || char(number) || x'02010000' AS BLOB) "
                               "FROM name WHERE kind = 5)"};

TEST_F(DamagedFile, KeepsTheNamesOfAReportThatMayBeMended) {
  open(1000);
  keep_both(sample_delivery(1, "2026-01-05T10:00:00Z", sample_report("first")));
  keep_both(described_delivery(2, 0, 5));
  change(
      "CREATE TABLE copy AS SELECT packed FROM report WHERE number = 2;"
      "UPDATE report SET packed = x'ff'",
      1000);
  erase("first");
  change(
      "UPDATE report SET packed = (SELECT packed FROM copy) WHERE number = 2;"
      "DROP TABLE copy",
      1000);
  expect_all_counts();
}

TEST_F(DamagedFile, HasNothingLeftOfAnErasedInstallationWhoseReportsWereDamaged) {
  for (const std::int64_t reports_per_fold : {7, 1000}) {
    for (const char* const damage : damages) {
      SCOPED_TRACE(std::string(damage) + ", fold after " + std::to_string(reports_per_fold));
      std::filesystem::remove(folder / sqlite_file_name);
      model = {};
      open(reports_per_fold);
      keep_random(4, 30);
      change(damage_of("installation-3", damage), reports_per_fold);
      EXPECT_THAT(storage->check(), Contains(HasSubstr("is damaged and counts as an empty one")));
      erase("installation-3");
      expect_all_counts();
      expect_agreement(*storage, model);
      // What is kept from here on meets sums that are as sound.
      keep_random(5, 10);
      expect_all_counts();
      expect_agreement(*storage, model);
      storage.reset();
    }
  }
}

TEST_F(DamagedFile, CountsWhatReplacesADamagedReportOnly) {
  for (const char* const damage : damages) {
    SCOPED_TRACE(damage);
    std::filesystem::remove(folder / sqlite_file_name);
    model = {};
    open(1);
    keep_both(described_delivery(1, 0, 3));
    keep_both(sample_delivery(2, "2026-01-05T10:00:00Z", sample_report("second", 5)));
    change(damage_of("described", damage), 1000);
    keep_both(described_delivery(3, 1, 4));
    expect_only_report_1_is_damaged();
    keep_random(6, 40);
    expect_only_report_1_is_damaged();
    storage.reset();
  }
}

TEST_F(DamagedFile, CountsWhatReplacedAReportThatWasDamagedBeforeTheNextFold) {
  open(1);
  keep_both(described_delivery(1, 0, 3));
  keep_both(sample_delivery(2, "2026-01-05T10:00:00Z", sample_report("second", 5)));
  open(1000);
  keep_both(described_delivery(3, 1, 4));
  change(damage_of("described", "x'ff'"), 1);
  keep_both(sample_delivery(4, "2026-01-05T11:00:00Z", sample_report("third", 5)));
  // The fold follows.
  open(1000);
  expect_only_report_1_is_damaged();
}

TEST_F(DamagedFile, ErasesInSpiteOfSumsThatCannotBeRead) {
  for (const char* const damage :
       {"UPDATE cell_content SET cells = x'ff'", "DELETE FROM cell_content",
        "UPDATE cell_content SET cells = substr(cells, 1, length(cells) - 2) WHERE number % 2 = 0",
        "UPDATE withdrawn SET installations = x'ff'"}) {
    SCOPED_TRACE(damage);
    std::filesystem::remove(folder / sqlite_file_name);
    model = {};
    open(7);
    keep_random(8, 90);
    change(damage, 7);
    EXPECT_THAT(storage->check(), Not(IsEmpty()));
    for (int i = 0; i < 9; ++i) {
      const std::string installation = "installation-" + std::to_string(i);
      if (i % 2 == 0) erase(installation);
    }
    const Time before = at("2026-02-05T00:00:00Z");
    storage->erase_silent(before, to_the_end);
    std::map<std::string, Time> last;
    for (const KeptDelivery& kept : model.deliveries()) {
      last[kept.delivery.report.installation] = kept.delivery.received;
    }
    for (const auto& [installation, received] : last) {
      if (received < before) model.erase(installation);
    }
    EXPECT_EQ(export_all(*storage).size(), model.deliveries().size());
    storage.reset();
  }
}

TEST_F(DamagedFile, CountsSumsAnewThatCannotBeReadWhenTheyAreMerged) {
  for (const char* const damage : {"UPDATE cell_content SET cells = x'ff' WHERE number % 3 = 0",
                                   "UPDATE withdrawn SET installations = x'ff'"}) {
    SCOPED_TRACE(damage);
    std::filesystem::remove(folder / sqlite_file_name);
    model = {};
    open(1);
    keep_both(described_delivery(1, 0, 3));
    keep_both(described_delivery(2, 1, 4));
    change(damage, 1);
    EXPECT_THAT(storage->check(), Not(IsEmpty()));
    for (unsigned i = 3; i < 9; ++i) {
      keep_both(sample_delivery(i, "2026-01-05T10:00:00Z", sample_report(std::to_string(i))));
    }
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds{10};
    while (!storage->check().empty() && std::chrono::steady_clock::now() < limit) {
      std::this_thread::sleep_for(std::chrono::milliseconds{10});
    }
    expect_all_counts();
    expect_agreement(*storage, model);
    storage.reset();
  }
}

TEST_F(DamagedFile, ErasesAReportWhoseVersionIsUnknown) {
  open(1);
  keep_both(described_delivery(1, 0, 3));
  keep_both(sample_delivery(2, "2026-01-05T10:00:00Z", sample_report("second", 5)));
  change("UPDATE report SET version = 9999 WHERE number = 1", 1000);
  EXPECT_EQ(storage->count_versions(everything()).rows.size(), 1U);
  EXPECT_THAT(storage->check(), Contains("the version of report 1 is damaged"));
  erase("described");
  EXPECT_EQ(export_all(*storage).size(), 1U);
  EXPECT_THAT(storage->check(), Not(Contains(HasSubstr("without what it refers to"))));
}

TEST_F(DamagedFile, LeavesOutOfFiguresWhatHasLostItsName) {
  open(1);
  keep_random(9, 40);
  const auto names_of = [&] {
    std::vector<std::string> names;
    for (const CommandRow& row : storage->count_commands(everything()).rows) {
      names.push_back(row.command);
    }
    return names;
  };
  EXPECT_THAT(names_of(), Contains("Line"));
  const auto machines = storage->count_machines(everything()).rows.size();
  const auto versions = storage->count_versions(everything()).rows.size();
  change(
      "DELETE FROM name WHERE text = CAST('Line' AS BLOB);"
      "UPDATE name SET text = x'ff' WHERE number IN (SELECT min(number) FROM name "
      "WHERE kind IN (4, 5) GROUP BY kind)",
      1000);
  EXPECT_THAT(names_of(), Not(Contains("Line")));
  EXPECT_THAT(names_of(), Contains("Arc"));
  EXPECT_LT(storage->count_machines(everything()).rows.size(), machines);
  EXPECT_LT(storage->count_versions(everything()).rows.size(), versions);
  EXPECT_THAT(storage->count_periods(everything()).rows, Not(IsEmpty()));
  const auto findings = storage->check();
  EXPECT_THAT(findings, Contains(HasSubstr("is damaged and counts as an empty one")));
  EXPECT_THAT(findings, Contains(ContainsRegex("the text of name [0-9]+ is damaged")));
  EXPECT_THAT(findings, Contains(ContainsRegex("the version of report [0-9]+ is damaged")));
  const auto exported = export_all(*storage);
  const auto expected = model.deliveries();
  ASSERT_EQ(exported.size(), expected.size());
  for (std::size_t i = 0; i < exported.size(); ++i) {
    const bool is_whole = exported[i].delivery.report == expected[i].delivery.report;
    EXPECT_EQ(exported[i].is_damaged, !is_whole) << exported[i].delivery.id;
  }
}

}  // namespace

}  // namespace testing

}  // namespace pelto::collector
