#include "collector/storage/sqlite/SqliteStorage.h"

#include <algorithm>
#include <chrono>
#include <limits>
#include <memory>
#include <mutex>
#include <set>
#include <span>
#include <string>
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
#include "collector/storage/sqlite/ReaderGate.h"
#include "collector/storage/sqlite/Schema.h"
#include "collector/storage/sqlite/Summaries.h"
#include "collector/storage/sqlite/Traces.h"
#include "collector/storage/sqlite/Writer.h"

namespace pelto::collector {

namespace {

constexpr int first_threshold = 5;
constexpr std::size_t secret_size = 32;
/// More are opened when they are needed, and closed afterward.
constexpr std::size_t most_idle_readers = 2;
/// A step of an erasure takes as long for the reports as the one before it took for the sums, up to
/// this many times its usual time: their time hardly depends on the number of reports.
constexpr int longest_of_steps = 2;
/// Reports that are looked at in one step of the removal of raw reports.
constexpr std::int64_t text_step = 2000;

using Clock = std::chrono::steady_clock;

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

/// The numbers of the last erasure whose traces are removed, and of the last one.
struct TraceState {
  std::int64_t removed = 0;
  std::int64_t last = 0;
};

/// Moves the write-ahead log into the file and cuts it to nothing. Returns SQLite's result: it is
/// not possible beside readers, for which deliveries must not wait.
int empty_log(Connection& connection) {
  limit_wait(connection.database(), Wait::none);
  const int result = sqlite3_wal_checkpoint_v2(connection.database().getHandle(), nullptr,
                                               SQLITE_CHECKPOINT_TRUNCATE, nullptr, nullptr);
  limit_wait(connection.database(), Wait::brief);
  return result;
}

/// The writer and the readers of a file.
class Access {
 public:
  Access(const std::filesystem::path& path, const SqliteOptions& options)
      : path_(path), erasing_step_(options.erasing_step), writer_(path, options) {}

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
      const ReaderGate::Reader reading(gate_);
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

  /// Erases installations, those that are due, in steps, until all are gone or `goes_on` returns
  /// false. The writer has time for others between the steps. Moves `left` to those that are left.
  ErasedCounts erase(
      std::span<const std::int64_t>& left, const GoesOn& goes_on,
      const std::function<bool(Connection&, std::int64_t)>& is_due = [](auto&, auto) {
        return true;
      }) {
    ErasedCounts all;
    Clock::duration time = erasing_step_;
    while (!left.empty() && goes_on()) {
      Clock::time_point start;
      const Erasure step = translate([&] {
        return run([&](Connection& connection, Keeper& keeper) {
          start = Clock::now();
          Erasure done = erase_step(connection, keeper, left, time, is_due);
          if (done.number != 0) erased_.add(done.number, std::move(done.texts));
          return done;
        });
      });
      left = left.subspan(step.done);
      all.installations += step.counts.installations;
      all.deliveries += step.counts.deliveries;
      all.contacts += step.counts.contacts;
      time = std::clamp<Clock::duration>(Clock::now() - start - time, erasing_step_,
                                         longest_of_steps * erasing_step_);
    }
    // What ends early does not look for traces, which can take long.
    if (!left.empty()) return all;
    try {
      remove_traces(goes_on);
    } catch (const StorageError& error) {
      all.traces_left = error.what();
    }
    return all;
  }

  /// Removes the traces of everything that was erased so far, by any process: empties the
  /// write-ahead log, and writes tables anew in which a page has a copy of a text left. Another
  /// erasure may do the same meanwhile.
  void remove_traces(const GoesOn& goes_on) {
    translate([&] {
      const TraceState state = read([](Connection& connection) {
        return TraceState{read_state(connection, removed_state),
                          read_state(connection, erasures_state)};
      });
      if (state.removed == state.last) return;
      const auto texts = erased_.find(state.removed, state.last);
      // It has a connection of its own, so that deliveries do not wait for the search.
      Connection connection(path_);
      empty_log(connection, goes_on);
      const std::set<std::string> tables =
          texts ? find_traces(connection, *texts, goes_on)
                : std::set<std::string>(text_tables.begin(), text_tables.end());
      for (const std::string& table : tables) {
        go_on_removing(goes_on);
        run([&](Connection& writing, Keeper&) { rewrite_table(writing.database(), table); });
      }
      if (!tables.empty()) empty_log(connection, goes_on);
      write([state](Connection& writing, Keeper&) {
        const std::int64_t now = read_state(writing, removed_state);
        if (now == state.removed || now < state.last) {
          write_state(writing, removed_state, state.last);
        }
      });
      erased_.forget(state.last);
    });
  }

  Writer& writer() { return writer_; }
  const std::filesystem::path& file() const { return path_; }

 private:
  void empty_log(Connection& connection, const GoesOn& goes_on) {
    const auto limit = Clock::now() + longest_wait;
    // Most of it can be moved beside the writer.
    sqlite3_wal_checkpoint_v2(connection.database().getHandle(), nullptr, SQLITE_CHECKPOINT_PASSIVE,
                              nullptr, nullptr);
    while (try_to_empty_log(limit) != SQLITE_OK) {
      go_on_removing(goes_on);
      if (Clock::now() > limit) {
        throw StorageError(
            path_.string() +
            ": the write-ahead log still has what was erased, as another process reads it for too "
            "long; end that one and erase again, or let the server try again");
      }
      std::this_thread::sleep_for(lock_interval);
    }
  }

  /// Beside the writer's transactions it would not succeed, and neither beside readers, of which
  /// one can come after the other without end: those of this process wait.
  int try_to_empty_log(Clock::time_point limit) {
    const ReaderGate::Closed closed(gate_, limit);
    return run([](Connection& writing, Keeper&) { return collector::empty_log(writing); });
  }

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
  std::chrono::milliseconds erasing_step_;
  std::mutex mutex_;
  std::vector<std::unique_ptr<Connection>> idle_readers_;
  ReaderGate gate_;
  ErasedTexts erased_;
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
    auto part = read([&](Connection& connection) -> std::vector<KeptDelivery> {
      std::int64_t number = 0;
      if (installation) {
        number = find_installation(connection, TextHash(connection), *installation);
        if (number == 0) return {};
      }
      Names names(connection);
      return collector::export_part(connection, names, number, place);
    });
    if (std::ranges::any_of(part, &KeptDelivery::is_damaged)) {
      writer().note_damage(
          "a delivery that was exported is damaged, and its line is not whole; run check, and "
          "restore a backup");
    }
    return part;
  }

  ErasedCounts erase_installation(const std::string& installation, const GoesOn& goes_on) override {
    return erase_all(
        [installation](Connection& connection, Keeper& keeper) {
          const std::int64_t number = find_installation(connection, keeper.hash(), installation);
          return number == 0 ? std::vector<std::int64_t>{} : std::vector{number};
        },
        goes_on);
  }

  ErasedCounts erase_email(const std::string& address, const GoesOn& goes_on) override {
    return erase_all(
        [folded = fold_address(address)](Connection& connection, Keeper& keeper) {
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
        goes_on);
  }

  ErasedCounts erase_silent(Time before, const GoesOn& goes_on) override {
    const std::vector<std::int64_t> silent =
        read([&](Connection& connection) { return find_silent(connection, before); });
    std::span<const std::int64_t> left(silent);
    // A delivery may have arrived meanwhile.
    return erase(left, goes_on, [before](Connection& connection, std::int64_t installation) {
      return last_time(connection, installation) < before;
    });
  }

  void remove_traces(const GoesOn& goes_on) override { Access::remove_traces(goes_on); }

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

 private:
  /// Erases the installations that `find` returns, which is called after the deliveries that came
  /// before it.
  template <typename Find>
  ErasedCounts erase_all(Find find, const GoesOn& goes_on) {
    const std::vector<std::int64_t> found = translate([&] { return run(find); });
    std::span<const std::int64_t> left(found);
    ErasedCounts erased = erase(left, goes_on);
    erased.is_whole = left.empty();
    return erased;
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
