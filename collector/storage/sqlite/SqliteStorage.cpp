#include "collector/storage/sqlite/SqliteStorage.h"

#include <algorithm>
#include <chrono>
#include <limits>
#include <memory>
#include <mutex>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include <SQLiteCpp/Transaction.h>
#include <sodium.h>
#include <sqlite3.h>

#include "collector/storage/AddressCase.h"
#include "collector/storage/sqlite/Backup.h"
#include "collector/storage/sqlite/Checking.h"
#include "collector/storage/sqlite/Counting.h"
#include "collector/storage/sqlite/Database.h"
#include "collector/storage/sqlite/Erasure.h"
#include "collector/storage/sqlite/Exporting.h"
#include "collector/storage/sqlite/Schema.h"
#include "collector/storage/sqlite/Summaries.h"
#include "collector/storage/sqlite/Writer.h"

namespace pelto::collector {

namespace {

constexpr int first_threshold = 5;
constexpr std::size_t secret_size = 32;
/// More are opened when they are needed, and closed afterward.
constexpr std::size_t most_idle_readers = 2;
/// Installations that are erased in the first step of several. Deliveries wait for a step: the next
/// one is larger or smaller, by the time that it took.
constexpr std::size_t first_erasure_step = 16;
constexpr std::chrono::milliseconds long_step{250};
/// Reports that are looked at in one step of the removal of raw reports.
constexpr std::int64_t text_step = 2000;

using Clock = std::chrono::steady_clock;

bool to_the_end() {
  return true;
}

std::size_t next_size(std::size_t size, Clock::duration time) {
  if (time > long_step) return std::max<std::size_t>(size / 2, 1);
  return time < long_step / 4 ? 2 * size : size;
}

/// The installations whose last delivery was received before `before`.
std::vector<std::int64_t> find_silent(Connection& connection, Time before) {
  std::vector<std::int64_t> numbers;
  Query row = connection.query(
      "SELECT installation FROM report GROUP BY installation HAVING max(received) < ?1",
      before.time_since_epoch().count());
  while (row->executeStep()) numbers.push_back(row->getColumn(0).getInt64());
  return numbers;
}

/// The end of time for an installation that is gone.
Time last_time(Connection& connection, std::int64_t installation) {
  constexpr std::int64_t gone = std::numeric_limits<std::int64_t>::max();
  return Time{std::chrono::seconds{connection.number(
      gone, "SELECT received FROM report WHERE installation = ?1 ORDER BY received DESC LIMIT 1",
      installation)}};
}

/// How far the removal of raw reports has come: to this time, and to this report of that time.
struct TextPlace {
  std::int64_t received = std::numeric_limits<std::int64_t>::min();
  std::int64_t report = 0;
};

/// The reports of a step that have a raw report.
struct TextStep {
  std::vector<std::int64_t> reports;
  bool is_last = false;
};

/// The next reports received before `before`, in their order of time. Moves `place`.
TextStep next_texts(Connection& connection, Time before, TextPlace& place) {
  TextStep step;
  std::int64_t count = 0;
  Query row = connection.query(
      "SELECT received, number, EXISTS(SELECT 1 FROM report_text WHERE report = number) "
      "FROM report WHERE (received, number) > (?1, ?2) AND received < ?3 "
      "ORDER BY received, number LIMIT ?4",
      place.received, place.report, before.time_since_epoch().count(), text_step);
  for (; row->executeStep(); ++count) {
    place = {row->getColumn(0).getInt64(), row->getColumn(1).getInt64()};
    if (row->getColumn(2).getInt() != 0) step.reports.push_back(place.report);
  }
  step.is_last = count < text_step;
  return step;
}

/// The writer and the readers of a file.
class Access {
 public:
  Access(const std::filesystem::path& path, const SqliteOptions& options)
      : path_(path), writer_(path, options) {}

 protected:
  template <typename Work>
  auto translate(Work work) {
    try {
      return work();
    } catch (const SQLite::Exception& error) {
      throw storage_error(path_, error);
    }
  }

  /// Runs `work` in a transaction that reads.
  template <typename Work>
  auto read(Work work) {
    return translate([&] {
      std::unique_ptr<Connection> connection = take_reader();
      SQLite::Transaction transaction(connection->database());
      auto result = work(*connection);
      transaction.commit();
      give_back(std::move(connection));
      return result;
    });
  }

  /// Runs `work` on the writer's thread. It is called again if another process holds the lock: the
  /// writer waits for it only briefly at a time, so that deliveries do not wait for long.
  template <typename Work>
  auto run(Work work) {
    const auto limit = std::chrono::steady_clock::now() + longest_wait;
    for (;;) {
      try {
        return writer_.run(work);
      } catch (const SQLite::Exception& error) {
        if (error.getErrorCode() != SQLITE_BUSY) throw;
        if (std::chrono::steady_clock::now() > limit) throw;
      }
      std::this_thread::sleep_for(lock_interval);
    }
  }

  /// Runs `work` in a transaction on the writer's thread.
  template <typename Work>
  auto write(Work work) {
    return translate([&] {
      return run([work](Connection& connection, Keeper& keeper) {
        SQLite::Transaction transaction(connection.database(),
                                        SQLite::TransactionBehavior::IMMEDIATE);
        keeper.begin();
        struct Finish {
          SQLite::Transaction& transaction;
          Keeper& keeper;
          void operator()() const {
            keeper.finish();
            transaction.commit();
          }
        } const finish{transaction, keeper};
        try {
          if constexpr (std::is_void_v<decltype(work(connection, keeper))>) {
            work(connection, keeper);
            finish();
          } else {
            auto result = work(connection, keeper);
            finish();
            return result;
          }
        } catch (...) {
          keeper.forget();
          throw;
        }
      });
    });
  }

  /// Erases the installations that `find` returns, which gets the number that a step should have,
  /// until it returns none or `goes_on` false. The writer has time for others between the steps.
  template <typename Find>
  ErasedCounts erase(Find find, const GoesOn& goes_on) {
    return translate([&] {
      // What one erasure removes the traces of, another one must not add to meanwhile.
      const std::lock_guard lock(erasing_);
      Erasure all;
      std::size_t size = first_erasure_step;
      bool is_whole = false;
      while (!is_whole && goes_on()) {
        Clock::time_point start;
        Erasure step = run([&](Connection& connection, Keeper& keeper) {
          start = Clock::now();
          return erase_installations(connection, keeper,
                                     [&] { return find(connection, keeper, size); });
        });
        is_whole = step.counts.installations == 0;
        all.add(std::move(step));
        size = next_size(size, Clock::now() - start);
      }
      // Looking for traces takes longer than an end may wait. The next erasure finds them noted.
      if (!is_whole) return all.counts;
      // The search has a connection of its own, so that deliveries do not wait for it.
      Connection connection(path_);
      remove_traces(connection, path_, all, [this](bool with_reports) {
        run([with_reports](Connection& writing, Keeper&) {
          rewrite_texts(writing.database(), with_reports);
        });
      });
      return all.counts;
    });
  }

  Writer& writer() { return writer_; }
  const std::filesystem::path& file() const { return path_; }

 private:
  std::unique_ptr<Connection> take_reader() {
    {
      const std::lock_guard lock(mutex_);
      if (!idle_readers_.empty()) {
        std::unique_ptr<Connection> reader = std::move(idle_readers_.back());
        idle_readers_.pop_back();
        return reader;
      }
    }
    return std::make_unique<Connection>(path_);
  }

  void give_back(std::unique_ptr<Connection> connection) {
    const std::lock_guard lock(mutex_);
    if (idle_readers_.size() < most_idle_readers) idle_readers_.push_back(std::move(connection));
  }

  std::filesystem::path path_;
  std::mutex mutex_;
  std::vector<std::unique_ptr<Connection>> idle_readers_;
  std::mutex erasing_;
  Writer writer_;
};

class SqliteStorage final : public Storage, private Access {
 public:
  using Access::Access;

  void keep(Delivery delivery, TimeKind time_kind, std::function<void(Outcome)> done) override {
    writer().keep(std::move(delivery), time_kind, std::move(done));
  }

  void count_refusal(const std::string& product, Time received, std::string_view code) override {
    writer().count_refusal(product, received, code);
  }

  bool is_ready() noexcept override {
    try {
      return writer().is_ready();
    } catch (...) {
      return false;
    }
  }

  void add_product(const std::string& product) override {
    write([product](Connection&, Keeper& keeper) { keeper.product_number(product); });
  }

  std::vector<std::string> products() override {
    return read([](Connection& connection) {
      std::vector<std::string> names;
      Query row = connection.query("SELECT name FROM product ORDER BY name");
      while (row->executeStep()) names.push_back(row->getColumn(0).getString());
      return names;
    });
  }

  std::optional<std::pair<Period, Period>> periods(const std::string& product) override {
    return read([&](Connection& connection) { return read_periods(connection, product); });
  }

  Counts<PeriodRow> count_periods(const Selection& selection) override {
    return read(
        [&](Connection& connection) { return collector::count_periods(connection, selection); });
  }
  Counts<CommandRow> count_commands(const Selection& selection) override {
    return read(
        [&](Connection& connection) { return collector::count_commands(connection, selection); });
  }
  Counts<FileTypeRow> count_file_types(const Selection& selection) override {
    return read(
        [&](Connection& connection) { return collector::count_file_types(connection, selection); });
  }
  Counts<VersionRow> count_versions(const Selection& selection) override {
    return read(
        [&](Connection& connection) { return collector::count_versions(connection, selection); });
  }
  Counts<MachineRow> count_machines(const Selection& selection) override {
    return read(
        [&](Connection& connection) { return collector::count_machines(connection, selection); });
  }
  IntakeCounts count_intake(const Selection& selection) override {
    return read(
        [&](Connection& connection) { return collector::count_intake(connection, selection); });
  }

  int threshold() override {
    return read([](Connection& connection) {
      Query row = connection.query("SELECT value FROM setting WHERE name = 'threshold'");
      return row->executeStep() ? row->getColumn(0).getInt() : first_threshold;
    });
  }

  void set_threshold(int threshold) override {
    write([threshold](Connection& connection, Keeper&) {
      connection.run("INSERT OR REPLACE INTO setting VALUES ('threshold', ?1)",
                     std::to_string(threshold));
    });
  }

  std::string secret(const std::string& name) override {
    return write([name](Connection& connection, Keeper&) {
      std::string value(secret_size, '\0');
      randombytes_buf(value.data(), value.size());
      connection.run("INSERT OR IGNORE INTO secret VALUES (?1, ?2)", name, std::string_view(value));
      Query row = connection.query("SELECT value FROM secret WHERE name = ?1", name);
      row->executeStep();
      return std::string(bytes_of(row->getColumn(0)));
    });
  }

  std::vector<ProductKeeping> keeping() override {
    return read([](Connection& connection) { return read_keeping(connection); });
  }

  std::vector<Contact> contacts(const std::string& product) override {
    return read([&](Connection& connection) { return read_contacts(connection, product); });
  }

  InstallationKeeping keeping_of(const std::string& installation) override {
    return read([&](Connection& connection) {
      return read_keeping_of(connection,
                             find_installation(connection, TextHash(connection), installation));
    });
  }

  std::vector<KeptDelivery> export_part(const std::optional<std::string>& installation,
                                        ExportPlace& place) override {
    return read([&](Connection& connection) -> std::vector<KeptDelivery> {
      std::int64_t number = 0;
      if (installation) {
        number = find_installation(connection, TextHash(connection), *installation);
        if (number == 0) return {};
      }
      Names names(connection);
      return collector::export_part(connection, names, number, place);
    });
  }

  ErasedCounts erase_installation(const std::string& installation) override {
    return erase(
        [installation](Connection& connection, Keeper& keeper, std::size_t) {
          const std::int64_t number = find_installation(connection, keeper.hash(), installation);
          return number == 0 ? std::vector<std::int64_t>{} : std::vector{number};
        },
        to_the_end);
  }

  ErasedCounts erase_email(const std::string& address) override {
    return erase(
        [folded = fold_address(address)](Connection& connection, Keeper& keeper, std::size_t) {
          std::vector<std::int64_t> numbers;
          Query row =
              connection.query("SELECT DISTINCT installation, address FROM contact WHERE hash = ?1",
                               keeper.hash()(folded));
          while (row->executeStep()) {
            if (fold_address(row->getColumn(1).getString()) != folded) continue;
            const std::int64_t number = row->getColumn(0).getInt64();
            if (numbers.empty() || numbers.back() != number) numbers.push_back(number);
          }
          return numbers;
        },
        to_the_end);
  }

  ErasedCounts erase_silent(Time before, const GoesOn& goes_on) override {
    const std::vector<std::int64_t> silent =
        read([&](Connection& connection) { return find_silent(connection, before); });
    std::size_t at = 0;
    const auto find = [&](Connection& connection, Keeper&, std::size_t most) {
      std::vector<std::int64_t> numbers;
      for (; at < silent.size() && numbers.size() < most; ++at) {
        // A delivery may have arrived meanwhile.
        if (last_time(connection, silent[at]) < before) numbers.push_back(silent[at]);
      }
      return numbers;
    };
    return erase(find, goes_on);
  }

  std::int64_t remove_texts(Time before, const GoesOn& goes_on) override {
    std::int64_t removed = 0;
    TextPlace place;
    TextStep step;
    while (!step.is_last && goes_on()) {
      step = read([&](Connection& connection) { return next_texts(connection, before, place); });
      if (step.reports.empty()) continue;
      removed += write([&step](Connection& connection, Keeper&) {
        std::int64_t count = 0;
        for (const std::int64_t report : step.reports) {
          count += connection.run("DELETE FROM report_text WHERE report = ?1", report);
        }
        return count;
      });
    }
    return removed;
  }

  void back_up(const std::string& path) override {
    translate([&] {
      Connection connection(file());
      collector::back_up(connection, path);
    });
  }

  std::vector<std::string> check() override {
    return read([](Connection& connection) { return check_storage(connection); });
  }
};

}  // namespace

std::unique_ptr<Storage> open_sqlite_storage(const std::filesystem::path& path,
                                             const SqliteOptions& options) {
  if (sodium_init() < 0) throw StorageError("the system has no source of random numbers");
  try {
    return std::make_unique<SqliteStorage>(path, options);
  } catch (const SQLite::Exception& error) {
    throw storage_error(path, error);
  }
}

}  // namespace pelto::collector
