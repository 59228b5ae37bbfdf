#include <stdio.h>
#include <sys/wait.h>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <thread>

#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Statement.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "collector/storage/sqlite/Database.h"
#include "tests/collector/unit/storage/Samples.h"

namespace pelto::collector::testing {

namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

/// The files of a folder that have one of the texts anywhere, each with the text. Another process
/// reads them: the end of a descriptor of this one would take SQLite's locks to the file.
std::vector<std::string> files_with(const std::filesystem::path& folder,
                                    const std::vector<std::string>& texts) {
  std::string command = "grep --recursive --text --fixed-strings --only-matching";
  for (const std::string& text : texts) command += " -e '" + text + "'";
  FILE* const output = ::popen((command + " " + folder.string()).c_str(), "r");
  std::string found;
  for (int c = 0; (c = std::fgetc(output)) != EOF;) found.push_back(static_cast<char>(c));
  const int status = ::pclose(output);
  // 0: found, 1: not found, 2: an error.
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == (found.empty() ? 1 : 0)) << status;
  std::vector<std::string> lines;
  std::istringstream stream(found);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

class Erasing : public ::testing::Test {
 protected:
  /// Many installations in a mixed order, so that tables grow in the middle and pages are split.
  void fill(unsigned count) {
    for (unsigned i = 0; i < count; ++i) {
      const unsigned number = i * 7919 % count;
      Delivery delivery =
          sample_delivery(i, "2026-01-05T10:00:00Z", sample_report(identifier(number)));
      delivery.received += std::chrono::hours{i % 900};
      Report& report = delivery.report;
      report.email = address(number);
      report.adapter_hash = "adapter-hash-" + std::to_string(number) + ".";
      report.commands.push_back({command(number), 5, 2});
      report.machine = {{"OS", "Caption", "Unheard-of System " + std::to_string(number) + "."}};
      report.text = "<PeltoRpt>\n" + command(number) + "\n" + report.machine[0].value +
                    " and more text of its own</PeltoRpt>\n";
      storage->keep(delivery, TimeKind::stated,
                    [](Outcome outcome) { EXPECT_EQ(outcome, Outcome::accepted); });
    }
    // The writer works in the order of the calls.
    storage->add_product("default");
  }

  static std::string identifier(unsigned number) {
    return "identifier-of-installation-" + std::to_string(number) + ".";
  }
  static std::string address(unsigned number) {
    return "Person." + std::to_string(number) + "@example.com";
  }
  static std::string command(unsigned number) {
    return "Command only of " + std::to_string(number) + ".";
  }

  /// With 0 each step is one report.
  void erase_in_steps_of(std::chrono::milliseconds time) {
    options.erasing_step = time;
    storage = open_sqlite_storage(folder / sqlite_file_name, options);
  }

  void expect_no_trace(const std::vector<unsigned>& numbers) {
    std::vector<std::string> texts;
    for (const unsigned number : numbers) {
      texts.insert(texts.end(), {identifier(number), address(number), command(number),
                                 "adapter-hash-" + std::to_string(number) + ".",
                                 "Unheard-of System " + std::to_string(number) + "."});
    }
    EXPECT_THAT(files_with(folder.path(), texts), IsEmpty());
  }

  SqliteOptions options = {.keeps_email = true, .reports_per_fold = 100};
  TemporaryFolder folder;
  std::unique_ptr<Storage> storage = open_sqlite_storage(folder / sqlite_file_name, options);
};

TEST_F(Erasing, LeavesNoTraceInAnyFileWhileAnotherServes) {
  fill(1500);
  const auto other = open_sqlite_storage(folder / sqlite_file_name, options);
  EXPECT_EQ(other->count_commands(everything()).rows.size(), 1501U);
  EXPECT_THAT(files_with(folder.path(), {identifier(77)}), Not(IsEmpty()));
  for (const unsigned number : {77U, 78U, 1499U, 0U, 700U}) {
    const auto begin = std::chrono::steady_clock::now();
    const ErasedCounts erased = storage->erase_installation(identifier(number), to_the_end);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds{5});
    EXPECT_EQ(erased.installations, 1);
    EXPECT_EQ(erased.deliveries, 1);
    EXPECT_EQ(erased.contacts, 1);
    expect_no_trace({number});
  }
  EXPECT_EQ(other->count_commands(everything()).rows.size(), 1496U);
  EXPECT_THAT(storage->check(), IsEmpty());
}

/// Reads a file, and keeps its write-ahead log in use.
class Reading {
 public:
  explicit Reading(const TemporaryFolder& folder)
      : database_(open_database(folder / sqlite_file_name)) {
    database_.exec("BEGIN");
    database_.execAndGet("SELECT count(*) FROM report");
  }

 private:
  SQLite::Database database_;
};

/// Where SQLite has each table. One that was written anew is elsewhere.
std::map<std::string, int> places_of_tables(const TemporaryFolder& folder) {
  SQLite::Database database = open_database(folder / sqlite_file_name);
  SQLite::Statement row(database, "SELECT name, rootpage FROM sqlite_master WHERE type = 'table'");
  std::map<std::string, int> places;
  while (row.executeStep()) places[row.getColumn(0).getString()] = row.getColumn(1).getInt();
  return places;
}

TEST_F(Erasing, OfTextsThatOthersHaveAsWellWritesNoTableAnew) {
  fill(50);
  for (unsigned i = 0; i < 4; ++i) {
    // What is in the file anyway, as a part of another's name, and in raw reports.
    const char* const identifiers[] = {"SQLite format 3", "CREATE TABLE report", "identifier-of",
                                       "and more text of its own"};
    Report report = sample_report(identifiers[i]);
    report.email = "son.7@example.com";
    report.commands.push_back({"Command only", 1, 0});
    keep(*storage, sample_delivery(1000 + i, "2026-03-05T10:00:00Z", report));
  }
  const auto places = places_of_tables(folder);
  EXPECT_EQ(storage->erase_email("son.7@example.com", to_the_end).installations, 4);
  EXPECT_EQ(places_of_tables(folder), places);
}

/// Puts a text into an unused part of a table's page, as SQLite leaves it when it moves rows.
void leave_text(const TemporaryFolder& folder, const std::string& table, const std::string& text) {
  const std::string path = folder / sqlite_file_name;
  std::streamoff page = 0;
  {
    SQLite::Database database(path);
    SQLite::Statement found(database,
                            "SELECT pgoffset FROM dbstat WHERE name = ?1 AND pagetype = 'leaf' "
                            "ORDER BY unused DESC LIMIT 1");
    found.bind(1, table);
    ASSERT_TRUE(found.executeStep());
    page = found.getColumn(0).getInt64();
  }
  std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
  const auto number_at = [&](std::streamoff place) {
    file.seekg(page + place);
    const int high = file.get();
    return 256 * high + file.get();
  };
  // Unused is what is between the list of rows and the rows.
  const int begin = 8 + 2 * number_at(3);
  const int end = number_at(5);
  ASSERT_GT(end - begin, 100);
  file.seekp(page + begin + 50);
  file << text;
  ASSERT_TRUE(file.flush());
}

TEST_F(Erasing, WritesATableAnewThatHasAnErasedTextInAnUnusedPart) {
  fill(30);
  unsigned number = 7;
  for (const auto& [table, text] : std::map<std::string, std::string (*)(unsigned)>{
           {"installation", identifier}, {"contact", address}, {"name", command}}) {
    ++number;
    storage.reset();
    leave_text(folder, table, text(number));
    storage = open_sqlite_storage(folder / sqlite_file_name, options);
    const auto places = places_of_tables(folder);
    EXPECT_EQ(storage->erase_installation(identifier(number), to_the_end).traces_left, "");
    expect_no_trace({number});
    for (const auto& [name, place] : places_of_tables(folder)) {
      EXPECT_EQ(place != places.at(name), name == table) << name << " for " << table;
    }
    EXPECT_THAT(storage->check(), IsEmpty());
  }
}

TEST_F(Erasing, WritesOnlyTablesWithNamesAnew) {
  fill(50);
  {
    const Reading reading(folder);
    EXPECT_NE(storage->erase_installation(identifier(7), to_the_end).traces_left, "");
  }
  const auto places = places_of_tables(folder);
  // It does not know what was erased.
  open_sqlite_storage(folder / sqlite_file_name)->remove_traces(to_the_end);
  std::set<std::string> moved;
  for (const auto& [table, place] : places_of_tables(folder)) {
    if (places.at(table) != place) moved.insert(table);
  }
  EXPECT_THAT(moved, ::testing::ElementsAre("adapter", "contact", "installation", "name"));
}

TEST_F(Erasing, BesideALongReaderCountsWhatIsErasedAndLeavesTheTracesForLater) {
  fill(300);
  {
    const Reading reading(folder);
    std::thread erasing([&] {
      const ErasedCounts erased = storage->erase_installation(identifier(77), to_the_end);
      EXPECT_EQ(erased.installations, 1);
      EXPECT_EQ(erased.deliveries, 1);
      EXPECT_THAT(erased.traces_left, HasSubstr("end that one"));
    });
    std::this_thread::sleep_for(std::chrono::milliseconds{500});
    // Deliveries go on, in this process and in others.
    const auto other = open_sqlite_storage(folder / sqlite_file_name, options);
    const auto begin = std::chrono::steady_clock::now();
    for (unsigned i = 0; i < 20; ++i) {
      const Delivery delivery = sample_delivery(1000 + i, "2026-01-05T10:00:00Z",
                                                sample_report("new-" + std::to_string(i)));
      EXPECT_EQ(keep(i % 2 == 0 ? *storage : *other, delivery, TimeKind::arrival),
                Outcome::accepted);
    }
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds{3});
    erasing.join();
    EXPECT_THROW(storage->remove_traces(to_the_end), StorageError);
  }
  EXPECT_THAT(export_all(*storage, identifier(77)), IsEmpty());
  EXPECT_THAT(files_with(folder.path(), {identifier(77)}), Not(IsEmpty()));
  // Another process does it, which does not know what was erased.
  storage = open_sqlite_storage(folder / sqlite_file_name, options);
  storage->remove_traces(to_the_end);
  expect_no_trace({77});
  EXPECT_THAT(storage->check(), IsEmpty());
}

TEST_F(Erasing, BesideABusyWriterAndReadersLeavesNoTrace) {
  options.reports_per_fold = 10;
  storage = open_sqlite_storage(folder / sqlite_file_name, options);
  fill(300);
  std::atomic<bool> is_over = false;
  std::atomic<int> waiting = 0;
  std::thread delivering([&] {
    for (unsigned i = 1000; !is_over; ++i) {
      ++waiting;
      const Report report = sample_report("new-" + std::to_string(i % 500), i);
      storage->keep(sample_delivery(i, "2026-03-05T10:00:00Z", report), TimeKind::arrival,
                    [&](Outcome) { --waiting; });
      while (waiting > 50) std::this_thread::yield();
    }
  });
  const auto read = [&] {
    while (!is_over) storage->count_commands(everything());
  };
  std::thread first(read);
  std::thread second(read);
  for (unsigned number = 0; number < 10; ++number) {
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(storage->erase_installation(identifier(number), to_the_end).traces_left, "");
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds{5});
  }
  is_over = true;
  for (std::thread* const thread : {&delivering, &first, &second}) thread->join();
  storage.reset();
  expect_no_trace({0, 1, 2, 3, 4, 5, 6, 7, 8, 9});
}

TEST_F(Erasing, ThatEndsInTheSearchForTracesCountsWhatIsErased) {
  fill(300);
  int asked = 0;
  const auto once = [&] { return ++asked <= 1; };
  const ErasedCounts erased = storage->erase_installation(identifier(77), once);
  EXPECT_EQ(erased.installations, 1);
  EXPECT_THAT(erased.traces_left, HasSubstr("erase again"));
  EXPECT_THROW(storage->remove_traces([] { return false; }), StorageError);
  storage->remove_traces(to_the_end);
  expect_no_trace({77});
  // With nothing left it does not even ask.
  storage->remove_traces([] { return false; });
}

TEST_F(Erasing, NeverGetsTheNumberOfAnother) {
  fill(10);
  const auto other = open_sqlite_storage(folder / sqlite_file_name, options);
  SQLite::Database file = open_database(folder / sqlite_file_name);
  for (unsigned number = 1; number <= 4; ++number) {
    (number % 2 == 0 ? storage : other)->erase_installation(identifier(number), to_the_end);
    EXPECT_EQ(file.execAndGet("SELECT value FROM state WHERE name = 'traces'").getInt(), number);
    EXPECT_EQ(file.execAndGet("SELECT value FROM state WHERE name = 'traces_removed'").getInt(),
              number);
  }
  other->erase_installation("unknown", to_the_end);
  EXPECT_EQ(file.execAndGet("SELECT value FROM state WHERE name = 'traces'").getInt(), 4);
}

TEST_F(Erasing, RemovesTheTracesThatAnotherProcessLeft) {
  fill(300);
  {
    const Reading reading(folder);
    const auto other = open_sqlite_storage(folder / sqlite_file_name, options);
    EXPECT_EQ(other->erase_silent(at("2026-01-05T11:00:00Z"), to_the_end).installations, 1);
  }
  EXPECT_THAT(files_with(folder.path(), {identifier(0)}), Not(IsEmpty()));
  EXPECT_EQ(storage->erase_installation("unknown", to_the_end).installations, 0);
  expect_no_trace({0});
}

TEST_F(Erasing, LeavesNoTraceOfAnyoneHoweverManyGoOneAfterTheOther) {
  fill(400);
  std::vector<unsigned> gone;
  for (unsigned number = 0; number < 400; number += 2) {
    storage->erase_installation(identifier(number), to_the_end);
    gone.push_back(number);
  }
  expect_no_trace(gone);
  EXPECT_EQ(export_all(*storage).size(), 200U);
  EXPECT_THAT(storage->check(), IsEmpty());
}

TEST_F(Erasing, ByAddressIgnoresLetterCaseAndErasesEveryInstallationWithIt) {
  fill(20);
  Delivery delivery = sample_delivery(500, "2026-02-05T10:00:00Z", sample_report("another"));
  delivery.report.email = "PERSON.3@EXAMPLE.COM";
  delivery.product = "other";
  keep(*storage, delivery);
  const ErasedCounts erased = storage->erase_email("person.3@Example.com", to_the_end);
  EXPECT_EQ(erased.installations, 2);
  EXPECT_EQ(erased.deliveries, 2);
  EXPECT_EQ(erased.contacts, 2);
  EXPECT_THAT(export_all(*storage, "another"), IsEmpty());
  expect_no_trace({3});
  EXPECT_EQ(storage->erase_email("person.3@example.com", to_the_end).installations, 0);
}

TEST_F(Erasing, ByAddressIgnoresLetterCaseInEveryScript) {
  Delivery delivery = sample_delivery(1, "2026-02-05T10:00:00Z", sample_report("first"));
  delivery.report.email = "Stra\u00DFe@\u00C9.example";
  keep(*storage, delivery);
  EXPECT_EQ(storage->erase_email("strase@\u00E9.example", to_the_end).installations, 0);
  EXPECT_EQ(storage->erase_email("STRASSE@\u00E9.Example", to_the_end).installations, 1);
}

TEST_F(Erasing, OfManyReportsGoesInStepsAndCountsTheInstallationOnce) {
  erase_in_steps_of(std::chrono::milliseconds{0});
  for (unsigned i = 0; i < 150; ++i) {
    Delivery delivery = sample_delivery(i, "2026-01-05T10:00:00Z", sample_report("large", i / 3));
    delivery.received += std::chrono::hours{i};
    delivery.report.email = i < 75 ? "first@example.com" : "last@example.com";
    delivery.product = i % 50 == 0 ? "other" : "default";
    keep(*storage, delivery);
  }
  keep(*storage, sample_delivery(500, "2026-01-05T10:00:00Z", sample_report("another", 2)));
  int steps = 0;
  const auto some = [&] { return ++steps <= 40; };
  const ErasedCounts part = storage->erase_email("last@example.com", some);
  EXPECT_FALSE(part.is_whole);
  EXPECT_EQ(part.installations, 0);
  EXPECT_GT(part.deliveries, 0);
  EXPECT_THAT(storage->check(), IsEmpty());
  EXPECT_EQ(export_all(*storage, "large").size(), 110U);
  EXPECT_TRUE(storage->keeping_of("large").has_email) << "the name goes last, to ask by it again";

  steps = 0;
  const ErasedCounts erased = storage->erase_email("last@example.com", [&] {
    // Deliveries are not kept out.
    if (++steps == 20) {
      EXPECT_EQ(
          keep(*storage, sample_delivery(600, "2026-06-05T10:00:00Z", sample_report("large", 9))),
          Outcome::accepted);
    }
    return true;
  });
  EXPECT_GE(steps, 111);
  EXPECT_EQ(erased.installations, 1);
  EXPECT_EQ(erased.deliveries, 111);
  EXPECT_EQ(erased.contacts, 2);
  EXPECT_EQ(export_all(*storage).size(), 1U);
  EXPECT_EQ(storage->count_commands(everything()).rows[0].uses, 2);
  EXPECT_THAT(storage->check(), IsEmpty());
}

TEST_F(Erasing, InStepsKeepsAReplacedReportOutOfTheSumsOfItsPeriod) {
  options.reports_per_fold = 4;
  erase_in_steps_of(std::chrono::milliseconds{0});
  const auto with_arc = [](const std::string& installation, std::int64_t uses) {
    Report report = sample_report(installation, uses);
    report.commands.push_back({"Arc", 1, 2});
    return report;
  };
  // The sums of names with many others between them are not written together.
  Report others = sample_report("another");
  for (int i = 0; i < 100; ++i) others.commands.push_back({"Other " + std::to_string(i), 1, 1});
  keep(*storage, sample_delivery(5, "2026-01-05T10:00:00Z", others));
  keep(*storage, sample_delivery(1, "2026-01-20T10:00:00Z", with_arc("another", 1)));
  keep(*storage, sample_delivery(2, "2026-01-20T10:00:00Z", sample_report("first", 9)));
  keep(*storage, sample_delivery(3, "2026-01-21T10:00:00Z", with_arc("first", 2)));
  // It replaces the one before it from another period, which has nothing of it then.
  ASSERT_EQ(keep(*storage, sample_delivery(4, "2026-02-16T10:00:00Z", with_arc("first", 3))),
            Outcome::replaced);
  for (unsigned i = 6; i < 9; ++i) {
    keep(*storage, sample_delivery(i, "2026-05-05T10:00:00Z", sample_report(std::to_string(i))));
  }
  ASSERT_NE(period_of(at("2026-01-20T10:00:00Z")), period_of(at("2026-02-16T10:00:00Z")));
  ASSERT_EQ(period_of(at("2026-01-20T10:00:00Z")), period_of(at("2026-01-21T10:00:00Z")));
  EXPECT_THAT(storage->check(), IsEmpty());
  for (const std::size_t left : {2U, 1U}) {
    int asked = 0;
    const auto once = [&] { return ++asked <= 1; };
    const ErasedCounts part = storage->erase_installation("first", once);
    EXPECT_EQ(std::tuple(part.is_whole, part.deliveries), std::tuple(false, 1));
    EXPECT_EQ(export_all(*storage, "first").size(), left);
    EXPECT_THAT(storage->check(), IsEmpty()) << left;
  }
  storage->erase_installation("first", to_the_end);
  EXPECT_THAT(storage->check(), IsEmpty());
}

TEST_F(Erasing, OfTheUnknownErasesNothing) {
  fill(3);
  EXPECT_EQ(storage->erase_installation("unknown", to_the_end).installations, 0);
  EXPECT_EQ(storage->erase_installation("", to_the_end).deliveries, 0);
  EXPECT_EQ(storage->erase_email("", to_the_end).contacts, 0);
  EXPECT_EQ(export_all(*storage).size(), 3U);
}

TEST_F(Erasing, TakesBackIntakeAndForgetsIdentifiers) {
  const Delivery first = sample_delivery(1, "2026-01-05T10:00:00Z", sample_report("first", 1));
  keep(*storage, first);
  keep(*storage, sample_delivery(2, "2026-01-06T10:00:00Z", sample_report("first", 2)));
  keep(*storage, sample_delivery(3, "2026-01-06T10:00:00Z", sample_report("second", 2)));
  EXPECT_EQ(storage->erase_installation("first", to_the_end).deliveries, 2);
  EXPECT_EQ(storage->count_intake(everything()).accepted, 1);
  EXPECT_EQ(storage->count_intake(everything()).replaced, 0);
  EXPECT_EQ(keep(*storage, first), Outcome::accepted);
  EXPECT_THAT(storage->check(), IsEmpty());
}

TEST_F(Erasing, OfSilentInstallationsGoesByTheirLastDelivery) {
  keep(*storage, sample_delivery(1, "2025-01-05T10:00:00Z", sample_report("silent", 9)));
  keep(*storage, sample_delivery(2, "2025-01-05T10:00:00Z", sample_report("heard", 9)));
  keep(*storage, sample_delivery(3, "2026-01-05T10:00:00Z", sample_report("heard"), "other"));
  const ErasedCounts erased = storage->erase_silent(at("2026-01-05T10:00:00Z"), to_the_end);
  EXPECT_EQ(erased.installations, 1);
  EXPECT_THAT(export_all(*storage, "silent"), IsEmpty());
  EXPECT_EQ(export_all(*storage, "heard").size(), 2U);
  EXPECT_EQ(storage->erase_silent(at("2026-01-05T10:00:00Z"), to_the_end).installations, 0);
}

TEST_F(Erasing, OfManySilentInstallationsLeavesNoTrace) {
  fill(1200);
  EXPECT_EQ(storage->erase_silent(at("2026-01-30T10:00:00Z"), to_the_end).installations, 900);
  EXPECT_EQ(export_all(*storage).size(), 300U);
  std::vector<unsigned> gone;
  for (unsigned number = 0; number < 1200; number += 7) {
    if (export_all(*storage, identifier(number)).empty()) gone.push_back(number);
  }
  EXPECT_GT(gone.size(), 50U);
  expect_no_trace(gone);
  EXPECT_THAT(storage->check(), IsEmpty());
}

TEST_F(Erasing, OfSilentInstallationsCanEndBetweenItsSteps) {
  fill(1200);
  erase_in_steps_of(std::chrono::milliseconds{1});
  const Time before = at("2026-01-30T10:00:00Z");
  int steps = 0;
  const auto once = [&] { return ++steps <= 1; };
  const std::int64_t erased = storage->erase_silent(before, once).installations;
  EXPECT_GT(erased, 0);
  EXPECT_LT(erased, 900);
  EXPECT_EQ(export_all(*storage).size(), static_cast<std::size_t>(1200 - erased));
  EXPECT_THAT(storage->check(), IsEmpty());
  EXPECT_EQ(storage->erase_silent(before, to_the_end).installations, 900 - erased);
  // The first that were kept.
  for (const unsigned number : {0U, 7919U % 1200U}) {
    EXPECT_THAT(export_all(*storage, identifier(number)), IsEmpty());
    expect_no_trace({number});
  }
}

TEST_F(Erasing, OfSilentInstallationsSparesOneThatReportsMeanwhile) {
  fill(1200);
  erase_in_steps_of(std::chrono::milliseconds{1});
  const std::string last = identifier(1199U * 7919U % 1200U);
  int steps = 0;
  const auto deliver_once = [&] {
    if (++steps == 2) {
      EXPECT_EQ(keep(*storage, sample_delivery(5000, "2026-03-01T10:00:00Z", sample_report(last))),
                Outcome::accepted);
    }
    return true;
  };
  const Time before = at("2026-01-30T10:00:00Z");
  EXPECT_EQ(storage->erase_silent(before, deliver_once).installations, 899);
  EXPECT_EQ(export_all(*storage, last).size(), 2U);
  EXPECT_THAT(storage->check(), IsEmpty());
}

TEST_F(Erasing, AnAddressThatWasReplacedIsGone) {
  Delivery delivery = sample_delivery(1, "2026-01-05T10:00:00Z", sample_report("first"));
  delivery.report.email = "earlier@example.com";
  keep(*storage, delivery);
  delivery.id = guid(2);
  delivery.received += std::chrono::hours{1};
  delivery.report.email = "later@example.com";
  keep(*storage, delivery);
  EXPECT_EQ(storage->erase_email("earlier@example.com", to_the_end).installations, 0);
  EXPECT_EQ(storage->erase_email("later@example.com", to_the_end).installations, 1);
}

TEST_F(Erasing, AddressesAreNotKeptWhenTheirKeepingIsOff) {
  storage = open_sqlite_storage(folder / sqlite_file_name, {.keeps_email = false});
  fill(3);
  EXPECT_EQ(storage->erase_email(address(1), to_the_end).installations, 0);
  EXPECT_THAT(files_with(folder.path(), {address(1)}), IsEmpty());
  EXPECT_EQ(export_all(*storage).size(), 3U);
}

}  // namespace

}  // namespace pelto::collector::testing
