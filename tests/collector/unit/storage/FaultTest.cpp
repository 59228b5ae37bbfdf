#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <atomic>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <map>
#include <thread>

#include <SQLiteCpp/Database.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "collector/storage/sqlite/Database.h"
#include "tests/collector/unit/storage/Samples.h"

namespace pelto::collector::testing {

namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

std::string error_of(const std::filesystem::path& path) {
  try {
    open_sqlite_storage(path);
  } catch (const StorageError& error) {
    return error.what();
  }
  return "";
}

Delivery numbered(unsigned number) {
  Delivery delivery = sample_delivery(number, "2026-01-05T10:00:00Z",
                                      sample_report("installation-" + std::to_string(number)));
  for (int i = 0; i < 60; ++i) {
    delivery.report.commands.push_back({"Command " + std::to_string(i), i, i + 2});
  }
  return delivery;
}

TEST(Fault, EveryAnsweredDeliveryIsThereOnceAfterAKillInTheMiddle) {
  const TemporaryFolder folder;
  for (unsigned round = 0; round < 4; ++round) {
    int pipe[2];
    ASSERT_EQ(::pipe(pipe), 0);
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      SqliteOptions options;
      options.reports_per_fold = 50;
      const auto storage = open_sqlite_storage(folder / sqlite_file_name, options);
      for (unsigned i = 0;; ++i) {
        const unsigned number = round * 1'000'000 + i;
        storage->keep(numbered(number), TimeKind::arrival, [&, number](Outcome outcome) {
          if (outcome == Outcome::accepted && ::write(pipe[1], &number, sizeof number) < 0) {
            ::_exit(1);
          }
        });
        if (i % 100 == 0) std::this_thread::sleep_for(std::chrono::milliseconds{5});
      }
    }
    ::close(pipe[1]);
    std::vector<unsigned> answered;
    unsigned number = 0;
    while (answered.size() < 400 + 90 * round &&
           ::read(pipe[0], &number, sizeof number) == sizeof number) {
      answered.push_back(number);
    }
    ::kill(child, SIGKILL);
    // What was answered before the end is in the pipe.
    while (::read(pipe[0], &number, sizeof number) == sizeof number) answered.push_back(number);
    ::close(pipe[0]);
    int status = 0;
    ::waitpid(child, &status, 0);
    ASSERT_TRUE(WIFSIGNALED(status));

    const auto storage = open_sqlite_storage(folder / sqlite_file_name);
    EXPECT_THAT(storage->check(), IsEmpty());
    std::map<std::string, int> found;
    for (const KeptDelivery& kept : export_all(*storage)) ++found[kept.delivery.id];
    for (const unsigned one : answered) EXPECT_EQ(found[guid(one)], 1) << one;
    EXPECT_EQ(storage->count_commands(everything()).installations.installations,
              static_cast<std::int64_t>(found.size()));
  }
}

/// Files of this process cannot grow beyond some size. As long as that is so, the disk is full.
class FullDisk {
 public:
  explicit FullDisk(rlim_t size) {
    std::signal(SIGXFSZ, SIG_IGN);
    ::getrlimit(RLIMIT_FSIZE, &before_);
    rlimit limit = before_;
    limit.rlim_cur = size;
    ::setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~FullDisk() { ::setrlimit(RLIMIT_FSIZE, &before_); }
  FullDisk(const FullDisk&) = delete;
  FullDisk& operator=(const FullDisk&) = delete;

 private:
  rlimit before_{};
};

TEST(Fault, AFullDiskFailsDeliveriesAndIsNotReadyUntilThereIsSpace) {
  const TemporaryFolder folder;
  const auto storage = open_sqlite_storage(folder / sqlite_file_name);
  unsigned number = 0;
  for (; number < 20; ++number) {
    ASSERT_EQ(keep(*storage, numbered(number), TimeKind::arrival), Outcome::accepted);
  }
  unsigned kept = number;
  {
    const FullDisk full(std::filesystem::file_size((folder / sqlite_file_name).string() + "-wal") +
                        20'000);
    Outcome outcome = Outcome::accepted;
    for (; number < 200; ++number) {
      outcome = keep(*storage, numbered(number), TimeKind::arrival);
      if (outcome == Outcome::failed) break;
      ++kept;
    }
    EXPECT_EQ(outcome, Outcome::failed);
    EXPECT_FALSE(storage->is_ready());
    EXPECT_EQ(export_all(*storage).size(), kept);
    EXPECT_THROW(storage->add_product(std::string(100'000, 'p')), StorageError);
  }
  const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds{10};
  while (!storage->is_ready() && std::chrono::steady_clock::now() < limit) {
    std::this_thread::sleep_for(std::chrono::milliseconds{20});
  }
  EXPECT_TRUE(storage->is_ready());
  EXPECT_EQ(keep(*storage, numbered(number), TimeKind::arrival), Outcome::accepted);
  EXPECT_EQ(export_all(*storage).size(), kept + 1);
  EXPECT_THAT(storage->check(), IsEmpty());
}

TEST(Fault, AGroupThatDoesNotFitIsNotKeptByHalf) {
  const TemporaryFolder folder;
  const auto storage = open_sqlite_storage(folder / sqlite_file_name);
  keep(*storage, numbered(0));
  std::atomic<unsigned> kept = 1;
  std::atomic<unsigned> failed = 0;
  {
    const FullDisk full(std::filesystem::file_size((folder / sqlite_file_name).string() + "-wal") +
                        60'000);
    for (unsigned number = 1; number < 400; ++number) {
      storage->keep(numbered(number), TimeKind::arrival,
                    [&](Outcome outcome) { ++(outcome == Outcome::failed ? failed : kept); });
    }
    while (kept + failed < 400) std::this_thread::sleep_for(std::chrono::milliseconds{1});
  }
  EXPECT_GT(failed, 0U);
  EXPECT_EQ(export_all(*storage).size(), kept);
  EXPECT_THAT(storage->check(), IsEmpty());
  for (unsigned number = 1; number < 400; ++number) {
    EXPECT_NE(keep(*storage, numbered(number), TimeKind::arrival), Outcome::failed);
  }
  EXPECT_EQ(export_all(*storage).size(), 400U);
}

TEST(Fault, AFileThatIsGoneIsNotReadyAndKeepsNothing) {
  const TemporaryFolder folder;
  const auto storage = open_sqlite_storage(folder / sqlite_file_name);
  keep(*storage, numbered(0));
  std::filesystem::rename(folder / sqlite_file_name, folder.path() / "elsewhere");
  EXPECT_EQ(keep(*storage, numbered(1)), Outcome::failed);
  EXPECT_FALSE(storage->is_ready());
  std::filesystem::rename(folder.path() / "elsewhere", folder / sqlite_file_name);
  EXPECT_EQ(keep(*storage, numbered(1)), Outcome::accepted);
  EXPECT_TRUE(storage->is_ready());
}

TEST(Fault, AFileOfANewerVersionIsRefusedWithOneLine) {
  const TemporaryFolder folder;
  open_sqlite_storage(folder / sqlite_file_name);
  SQLite::Database(folder / sqlite_file_name, SQLite::OPEN_READWRITE)
      .exec("PRAGMA user_version = 1000");
  const std::string error = error_of(folder / sqlite_file_name);
  EXPECT_THAT(error, HasSubstr("update this program"));
  EXPECT_EQ(error.find('\n'), std::string::npos);
}

TEST(Fault, AFileThatIsSomethingElseIsRefused) {
  const TemporaryFolder folder;
  std::ofstream(folder / sqlite_file_name) << std::string(10'000, 'x');
  EXPECT_THAT(error_of(folder / sqlite_file_name), HasSubstr("restore a backup"));
}

TEST(Fault, AFolderThatIsMissingIsRefused) {
  const TemporaryFolder folder;
  EXPECT_THAT(error_of(folder.path() / "missing" / "file"), HasSubstr("check that its folder"));
}

TEST(Fault, AReadOnlyFileIsRefused) {
  // Nothing is read-only for the system's administrator but what no process may write.
  EXPECT_THAT(error_of("/proc/version"), HasSubstr("check"));
  EXPECT_THAT(error_of("/proc/reports.sqlite"), HasSubstr("check"));
}

TEST(Fault, ANewFileIsForItsOwnerOnly) {
  const TemporaryFolder folder;
  const auto storage = open_sqlite_storage(folder / sqlite_file_name);
  keep(*storage, numbered(0));
  for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
    struct stat status {};
    ASSERT_EQ(::stat(entry.path().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U) << entry.path();
  }
}

TEST(Fault, WhatTwoKeepEachSeesAtOnce) {
  const TemporaryFolder folder;
  SqliteOptions options;
  options.reports_per_fold = 5;
  const auto first = open_sqlite_storage(folder / sqlite_file_name, options);
  const auto second = open_sqlite_storage(folder / sqlite_file_name, options);
  for (unsigned i = 0; i < 60; ++i) {
    Storage& writer = i % 3 == 0 ? *first : *second;
    Storage& reader = i % 3 == 0 ? *second : *first;
    Delivery delivery = numbered(i);
    delivery.report.commands.push_back({"Own command " + std::to_string(i), 1, 0});
    ASSERT_EQ(keep(writer, delivery), Outcome::accepted);
    EXPECT_EQ(keep(reader, delivery), Outcome::repeated);
    EXPECT_EQ(reader.count_commands(everything()).rows.size(), i + 62);
    // Names that the other one has in its cache go and come back under another number.
    if (i % 7 == 6) {
      reader.erase_installation(delivery.report.installation, to_the_end);
      ASSERT_EQ(keep(writer, delivery), Outcome::accepted);
      EXPECT_EQ(reader.count_commands(everything()).rows.size(), i + 62);
    }
  }
  EXPECT_THAT(first->check(), IsEmpty());
}

TEST(Fault, TwoProcessesKeepAtATime) {
  const TemporaryFolder folder;
  open_sqlite_storage(folder / sqlite_file_name);
  constexpr unsigned each = 300;
  pid_t children[2];
  for (unsigned process = 0; process < 2; ++process) {
    children[process] = ::fork();
    ASSERT_GE(children[process], 0);
    if (children[process] != 0) continue;
    bool is_fine = true;
    {
      SqliteOptions options;
      options.reports_per_fold = 40;
      const auto storage = open_sqlite_storage(folder / sqlite_file_name, options);
      for (unsigned i = 0; i < each; ++i) {
        is_fine = is_fine && keep(*storage, numbered(process * each + i)) == Outcome::accepted;
      }
    }
    ::_exit(is_fine ? 0 : 1);
  }
  for (const pid_t child : children) {
    int status = 0;
    ::waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  }
  const auto storage = open_sqlite_storage(folder / sqlite_file_name);
  EXPECT_EQ(storage->count_commands(everything()).installations.installations, 2 * each);
  EXPECT_THAT(storage->check(), IsEmpty());
}

using Clock = std::chrono::steady_clock;

TEST(Fault, ALockOfAnotherProcessFailsDeliveriesSoonUntilItIsReleased) {
  const TemporaryFolder folder;
  const auto storage = open_sqlite_storage(folder / sqlite_file_name);
  SQLite::Database other = open_database(folder / sqlite_file_name);
  other.exec("BEGIN IMMEDIATE");
  const auto begin = Clock::now();
  EXPECT_EQ(keep(*storage, numbered(1), TimeKind::arrival), Outcome::failed);
  EXPECT_LT(Clock::now() - begin, std::chrono::seconds{2});
  EXPECT_FALSE(storage->is_ready());
  // It stays so, also when the outcome of the last write is of some time ago.
  std::this_thread::sleep_for(std::chrono::milliseconds{1100});
  EXPECT_FALSE(storage->is_ready());
  other.exec("ROLLBACK");
  const auto released = Clock::now();
  while (!storage->is_ready() && Clock::now() - released < std::chrono::seconds{10}) {
    std::this_thread::sleep_for(std::chrono::milliseconds{10});
  }
  EXPECT_TRUE(storage->is_ready());
  EXPECT_EQ(keep(*storage, numbered(1), TimeKind::arrival), Outcome::accepted);
}

TEST(Fault, ALockFailsAllThatWaitForItTogether) {
  const TemporaryFolder folder;
  const auto storage = open_sqlite_storage(folder / sqlite_file_name);
  SQLite::Database other = open_database(folder / sqlite_file_name);
  other.exec("BEGIN IMMEDIATE");
  constexpr unsigned count = 3000;
  std::atomic<unsigned> failed = 0;
  const auto begin = Clock::now();
  for (unsigned i = 0; i < count; ++i) {
    storage->keep(sample_delivery(i, "2026-01-05T10:00:00Z", sample_report("first")),
                  TimeKind::arrival, [&](Outcome outcome) {
                    EXPECT_EQ(outcome, Outcome::failed);
                    ++failed;
                  });
  }
  while (failed < count) std::this_thread::sleep_for(std::chrono::milliseconds{1});
  // One after the other, the groups would take more than ten times as long.
  EXPECT_LT(Clock::now() - begin, std::chrono::milliseconds{2500});
}

TEST(Fault, ALockDelaysCommandsAndImportsBesideWhichDeliveriesFailSoon) {
  const TemporaryFolder folder;
  const auto storage = open_sqlite_storage(folder / sqlite_file_name);
  const auto importing = open_sqlite_storage(folder / sqlite_file_name);
  SQLite::Database other = open_database(folder / sqlite_file_name);
  other.exec("BEGIN IMMEDIATE");
  std::thread command([&] { storage->set_threshold(7); });
  std::thread import(
      [&] { EXPECT_EQ(keep(*importing, numbered(1), TimeKind::stated), Outcome::accepted); });
  const auto begin = Clock::now();
  EXPECT_EQ(keep(*storage, numbered(2), TimeKind::arrival), Outcome::failed);
  EXPECT_LT(Clock::now() - begin, std::chrono::milliseconds{2500});
  std::this_thread::sleep_for(std::chrono::milliseconds{1500} - (Clock::now() - begin));
  other.exec("ROLLBACK");
  command.join();
  import.join();
  EXPECT_EQ(storage->threshold(), 7);
}

TEST(Fault, ABackupBesideAWriterIsWholeAndOfOneMoment) {
  const TemporaryFolder folder;
  const auto storage = open_sqlite_storage(folder / sqlite_file_name);
  std::atomic<bool> is_over = false;
  std::thread writer([&] {
    for (unsigned i = 0; !is_over; ++i) keep(*storage, numbered(i), TimeKind::arrival);
  });
  while (export_all(*storage).size() < 50) std::this_thread::yield();
  const auto path = folder.path() / "copy.sqlite";
  storage->back_up(path);
  is_over = true;
  writer.join();
  EXPECT_THROW(storage->back_up(path), StorageError);
  EXPECT_THROW(storage->back_up(folder.path() / "missing" / "copy"), StorageError);

  const auto copy = open_sqlite_storage(path);
  EXPECT_GE(export_all(*copy).size(), 50U);
  EXPECT_THAT(copy->check(), IsEmpty());
  EXPECT_EQ(copy->secret("s").size(), 32U);
}

/// Keeps what a storage says of damage in its file.
class Damaged : public ::testing::Test {
 protected:
  void open() {
    storage.reset();
    storage = open_sqlite_storage(folder / sqlite_file_name, options);
  }
  /// Changes the file while nobody has it open.
  void change(const char* sql) {
    storage.reset();
    SQLite::Database(folder / sqlite_file_name, SQLite::OPEN_READWRITE).exec(sql);
    open();
  }
  /// Overwrites the beginning of the page that `find` gives a byte's place in.
  void damage_page(const std::function<std::size_t(const std::string& bytes)>& find) {
    std::fstream file(folder / sqlite_file_name, std::ios::in | std::ios::out | std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(file), {}};
    const std::size_t place = find(bytes);
    ASSERT_NE(place, std::string::npos);
    file.seekp(static_cast<std::streamoff>(place / 4096 * 4096));
    file << std::string(4, '\x7f');
  }
  /// Reports of installations 1 to 5; a page of the third one's cannot be read.
  void keep_five_and_damage_the_third() {
    for (unsigned i = 1; i <= 5; ++i) {
      Delivery delivery = numbered(i);
      for (int command = 0; i == 3 && command < 6000; ++command) {
        delivery.report.commands.push_back({"Own " + std::to_string(command), command, 0});
      }
      keep(*storage, delivery);
    }
    storage.reset();
    const std::string packed = SQLite::Database(folder / sqlite_file_name)
                                   .execAndGet("SELECT packed FROM report WHERE number = 3")
                                   .getString();
    ASSERT_GT(packed.size(), 12'000U);
    // The page begins with the number of the next one.
    damage_page([&](const std::string& bytes) { return bytes.find(packed.substr(9000, 200)); });
    open();
  }
  std::int64_t state(const char* name) {
    return SQLite::Database(folder / sqlite_file_name)
        .execAndGet("SELECT value FROM state WHERE name = '" + std::string(name) + "'")
        .getInt64();
  }

  TemporaryFolder folder;
  std::vector<std::string> notes;
  SqliteOptions options = {.reports_per_fold = 10,
                           .on_damage = [this](const std::string& note) { notes.push_back(note); }};
  std::unique_ptr<Storage> storage = open_sqlite_storage(folder / sqlite_file_name, options);
};

TEST_F(Damaged, AReportCountsAsAnEmptyOneAndStopsNothing) {
  for (unsigned i = 1; i <= 5; ++i) keep(*storage, numbered(i));
  change("UPDATE report SET packed = x'ff' WHERE number = 3");
  EXPECT_EQ(storage->count_commands(everything()).installations.installations, 5);
  EXPECT_EQ(storage->count_commands(everything()).rows[0].installations.installations, 4);
  for (unsigned i = 10; i < 40; ++i) {
    EXPECT_EQ(keep(*storage, numbered(i), TimeKind::arrival), Outcome::accepted);
  }
  EXPECT_TRUE(storage->is_ready());
  storage.reset();
  EXPECT_GE(state("folded_report"), 30);
  ASSERT_EQ(notes.size(), 1U);
  EXPECT_THAT(notes[0], HasSubstr("report 3 is damaged"));

  open();
  const auto findings = storage->check();
  ASSERT_FALSE(findings.empty());
  EXPECT_THAT(findings[0], HasSubstr("report 3 is damaged"));
  for (const std::string& finding : findings) EXPECT_THAT(finding, Not(HasSubstr("sums")));
  EXPECT_EQ(storage->count_commands(everything()).rows[0].installations.installations, 34);
  EXPECT_EQ(export_all(*storage).size(), 35U);
  // A further report of the installation holds the empty one.
  EXPECT_EQ(keep(*storage, sample_delivery(99, "2026-01-06T10:00:00Z", numbered(3).report)),
            Outcome::replaced);
  EXPECT_EQ(storage->count_commands(everything()).rows[0].installations.installations, 35);
  EXPECT_EQ(storage->erase_installation("installation-3", to_the_end).deliveries, 2);
  EXPECT_EQ(export_all(*storage).size(), 34U);
}

TEST_F(Damaged, AReportIsMarkedAndNotedWhenItIsExported) {
  for (unsigned i = 1; i <= 3; ++i) keep(*storage, numbered(i));
  EXPECT_EQ(export_all(*storage).size(), 3U);
  EXPECT_THAT(notes, IsEmpty());
  change(
      "UPDATE report SET packed = x'ff' WHERE number = 2; UPDATE report SET version = 1 "
      "WHERE number = 3");
  int damaged = 0;
  for (const KeptDelivery& kept : export_all(*storage)) damaged += kept.is_damaged ? 1 : 0;
  EXPECT_EQ(damaged, 2);
  EXPECT_THAT(notes, ::testing::ElementsAre(HasSubstr("exported is damaged")));
}

TEST_F(Damaged, NamesOfAReportDoNotKeepTheNextOneOut) {
  Delivery delivery = numbered(1);
  delivery.report.commands.push_back({"Own command", 1, 0});
  keep(*storage, delivery);
  change("DELETE FROM name_use; DELETE FROM name WHERE text = CAST('Own command' AS BLOB)");
  EXPECT_THAT(storage->check(), ::testing::Contains(HasSubstr("report 1 is damaged")));
  delivery.id = guid(2);
  delivery.received += std::chrono::hours{1};
  EXPECT_EQ(keep(*storage, delivery), Outcome::replaced);
}

TEST_F(Damaged, PagesFailTheDeliveriesOfTheirInstallationAlone) {
  keep_five_and_damage_the_third();
  std::map<Outcome, int> outcomes;
  std::atomic<int> done = 0;
  for (unsigned i = 1; i <= 5; ++i) {
    Delivery delivery = sample_delivery(100 + i, "2026-01-05T10:00:01Z", numbered(i).report);
    storage->keep(delivery, TimeKind::arrival, [&](Outcome outcome) {
      ++outcomes[outcome];
      ++done;
    });
  }
  while (done < 5) std::this_thread::sleep_for(std::chrono::milliseconds{1});
  EXPECT_EQ(outcomes[Outcome::replaced], 4);
  EXPECT_EQ(outcomes[Outcome::failed], 1);
  EXPECT_TRUE(storage->is_ready());
  EXPECT_EQ(keep(*storage, sample_delivery(200, "2026-01-05T10:00:01Z", numbered(3).report),
                 TimeKind::arrival),
            Outcome::failed);
  EXPECT_TRUE(storage->is_ready());
  storage.reset();
  ASSERT_EQ(notes.size(), 1U);
  EXPECT_THAT(notes[0], HasSubstr("restore a backup"));
}

TEST_F(Damaged, PagesThatEveryDeliveryNeedsAreNotReady) {
  for (unsigned i = 1; i <= 3; ++i) keep(*storage, numbered(i));
  EXPECT_TRUE(storage->is_ready());
  storage.reset();
  const std::int64_t page = SQLite::Database(folder / sqlite_file_name)
                                .execAndGet(
                                    "SELECT rootpage FROM sqlite_master "
                                    "WHERE name = 'report_by_installation'")
                                .getInt64();
  damage_page([&](const std::string&) { return static_cast<std::size_t>(page - 1) * 4096; });
  open();
  EXPECT_EQ(keep(*storage, numbered(4), TimeKind::arrival), Outcome::failed);
  EXPECT_FALSE(storage->is_ready());
  // It stays so.
  std::this_thread::sleep_for(std::chrono::milliseconds{1100});
  EXPECT_FALSE(storage->is_ready());
}

TEST_F(Damaged, PagesAndThenALockFailAGroupSoon) {
  keep_five_and_damage_the_third();
  SQLite::Database other = open_database(folder / sqlite_file_name);
  // The writer waits until the others are there, so that they are one group.
  std::promise<void> writer_waits;
  std::promise<void> all_wait;
  storage->keep(numbered(50), TimeKind::arrival, [&](Outcome) {
    writer_waits.set_value();
    all_wait.get_future().wait();
  });
  writer_waits.get_future().wait();
  std::map<Outcome, int> outcomes;
  std::atomic<int> done = 0;
  constexpr int count = 10;
  const auto begin = Clock::now();
  for (unsigned i = 1; i <= count; ++i) {
    const Delivery delivery = sample_delivery(100 + i, "2026-01-05T10:00:01Z", numbered(i).report);
    storage->keep(delivery, TimeKind::arrival, [&, i](Outcome outcome) {
      ++outcomes[outcome];
      // No transaction of the writer is open.
      if (i == 1) other.exec("BEGIN IMMEDIATE");
      ++done;
    });
  }
  all_wait.set_value();
  while (done < count) std::this_thread::sleep_for(std::chrono::milliseconds{1});
  EXPECT_LT(Clock::now() - begin, std::chrono::milliseconds{2000});
  EXPECT_EQ(outcomes[Outcome::replaced], 1);
  EXPECT_EQ(outcomes[Outcome::failed], count - 1);
  other.exec("ROLLBACK");
}

TEST(Fault, TheLogStaysSmallWhileSumsAreMergedWithoutDeliveries) {
  const TemporaryFolder folder;
  SqliteOptions options;
  options.reports_per_fold = 1;
  const auto storage = open_sqlite_storage(folder / sqlite_file_name, options);
  for (unsigned i = 1; i <= 4; ++i) {
    Delivery delivery = numbered(i);
    for (int command = 0; command < 24'000; ++command) {
      delivery.report.commands.push_back({"Other " + std::to_string(command), 1, 0});
    }
    keep(*storage, delivery, TimeKind::arrival);
  }
  SQLite::Database other(folder / sqlite_file_name, SQLite::OPEN_READONLY);
  const auto segments = [&] {
    return other.execAndGet("SELECT count(DISTINCT segment) FROM cell").getInt();
  };
  const auto limit = Clock::now() + std::chrono::seconds{60};
  while (segments() != 1 && Clock::now() < limit) {
    std::this_thread::sleep_for(std::chrono::milliseconds{20});
  }
  EXPECT_EQ(segments(), 1);
  // It would be twice as large if nothing were moved meanwhile.
  EXPECT_LT(std::filesystem::file_size((folder / sqlite_file_name).string() + "-wal"), 20'000'000U);
}

/// Changes a file from outside, and returns what the check says.
std::vector<std::string> check_after(const char* sql) {
  const TemporaryFolder folder;
  SqliteOptions options;
  options.reports_per_fold = 10;
  {
    const auto storage = open_sqlite_storage(folder / sqlite_file_name, options);
    for (unsigned i = 0; i < 15; ++i) {
      Delivery delivery = numbered(i);
      delivery.report.machine = {{"OS", "Caption", "Windows"}};
      delivery.report.text = "<PeltoRpt></PeltoRpt>";
      keep(*storage, delivery);
    }
    keep(*storage, sample_delivery(99, "2026-01-06T10:00:00Z", numbered(3).report));
  }
  SQLite::Database(folder / sqlite_file_name, SQLite::OPEN_READWRITE).exec(sql);
  return open_sqlite_storage(folder / sqlite_file_name, options)->check();
}

TEST(Fault, CheckFindsWhatIsWrong) {
  EXPECT_THAT(check_after("SELECT 1"), IsEmpty());
  for (const char* const sql :
       {"UPDATE report SET replaced = 1 WHERE number = 5",
        "UPDATE report SET replaced = 0 WHERE number = 4", "DELETE FROM cell WHERE kind = 1",
        "DELETE FROM cell WHERE kind = 2 AND block = 1",
        "UPDATE cell SET period = 3 WHERE kind = 4",
        "UPDATE cell SET content = (SELECT content FROM cell WHERE kind = 2 AND block = 1) "
        "WHERE kind = 2",
        "UPDATE cell SET version = version + 1", "DELETE FROM cell_content WHERE number = 2",
        "DELETE FROM changed", "DELETE FROM intake WHERE outcome = 'accepted'",
        "UPDATE intake SET deliveries = 7 WHERE outcome = 'replaced'",
        "UPDATE name_use SET reports = reports + 1 WHERE name = 3", "DELETE FROM name_use",
        "DELETE FROM report WHERE number = 7", "DELETE FROM installation WHERE number = 2",
        "UPDATE report_text SET text = x'00' WHERE report = 2",
        "UPDATE state SET value = 3 WHERE name = 'folded_report'"}) {
    EXPECT_THAT(check_after(sql), Not(IsEmpty())) << sql;
  }
}

}  // namespace

}  // namespace pelto::collector::testing
