#include "collector/storage/sqlite/Erasure.h"

#include <algorithm>
#include <chrono>
#include <map>
#include <set>
#include <string_view>
#include <thread>
#include <utility>

#include <sqlite3.h>

#include <SQLiteCpp/Transaction.h>

#include "collector/storage/sqlite/Database.h"
#include "collector/storage/sqlite/Folding.h"

namespace pelto::collector {

namespace {

/// Shorter texts are in every file by chance.
constexpr std::size_t shortest_trace = 6;
/// With more texts than this, writing the tables anew takes less time than looking for each.
constexpr std::size_t most_traces = 200;

/// In the table `state`: counts the erasures since traces were removed last.
constexpr char traces_state[] = "traces";

class Eraser {
 public:
  Eraser(Connection& connection, Keeper& keeper)
      : connection_(connection),
        keeper_(keeper),
        folded_(read_state(connection, "folded_report")) {}

  void erase(std::int64_t installation) {
    erase_reports(installation);
    take_texts("SELECT address FROM contact WHERE installation = ?1", installation);
    erasure_.counts.contacts +=
        connection_.run("DELETE FROM contact WHERE installation = ?1", installation);
    take_texts("SELECT hash FROM adapter WHERE installation = ?1", installation);
    connection_.run("DELETE FROM adapter WHERE installation = ?1", installation);
    take_texts("SELECT identifier FROM installation WHERE number = ?1", installation);
    erasure_.counts.installations +=
        connection_.run("DELETE FROM installation WHERE number = ?1", installation);
    erased_.add(static_cast<Number>(installation));
  }

  Erasure finish() {
    std::map<std::int64_t, Withdrawn> withdrawn;
    std::set<Group> groups;
    for (const auto& [key, changes] : make_blocks(builder_.take_cells())) {
      const std::int64_t product = key.group.product;
      groups.insert(key.group);
      if (!withdrawn.contains(product)) {
        withdrawn.emplace(product, Withdrawn::read(connection_, product));
      }
      merge_block(connection_, key, withdrawn.at(product), erased_, changes);
    }
    for (const Group& group : groups) erase_withdrawn(group);
    std::ranges::move(keeper_.finish(), std::back_inserter(erasure_.texts));
    return std::move(erasure_);
  }

 private:
  void erase_reports(std::int64_t installation) {
    std::vector<std::int64_t> numbers;
    {
      Query row = connection_.query(
          "SELECT number, installation, product, received, version, packed, replaced, sign "
          "FROM report LEFT JOIN changed ON report = number WHERE installation = ?1 "
          "ORDER BY product, received, delivery",
          installation);
      StoredReport report;
      std::int64_t product_before = 0;
      bool is_replaced_before = false;
      while (row->executeStep()) {
        read_report(*row.operator->(), report);
        const bool is_replaced = row->getColumn(6).getInt() != 0;
        const Time received{std::chrono::seconds{row->getColumn(3).getInt64()}};
        keeper_.intake().count(report.group.product, received, "accepted", "", -1);
        if (report.group.product == product_before && is_replaced_before) {
          keeper_.intake().count(report.group.product, received, "replaced", "", -1);
        }
        product_before = report.group.product;
        is_replaced_before = is_replaced;
        release_names(report.counts, keeper_.names());
        keeper_.names().use(report.group.version, -1);
        numbers.push_back(report.number);
        if (report.number > folded_) {
          keeper_.drop_pending(1);
          continue;
        }
        const bool was_counted =
            row->isColumnNull(7) ? !is_replaced : row->getColumn(7).getInt() < 0;
        was_counted ? builder_.take_back(report) : builder_.touch(report);
      }
    }
    for (const std::int64_t number : numbers) {
      connection_.run("DELETE FROM changed WHERE report = ?1", number);
      connection_.run("DELETE FROM report_text WHERE report = ?1", number);
      connection_.run("DELETE FROM report WHERE number = ?1", number);
    }
    erasure_.counts.deliveries += static_cast<std::int64_t>(numbers.size());
  }

  void take_texts(const char* sql, std::int64_t installation) {
    Query text = connection_.query(sql, installation);
    while (text->executeStep()) erasure_.texts.push_back(text->getColumn(0).getString());
  }

  void erase_withdrawn(const Group& group) {
    std::map<std::int64_t, Installations> segments;
    {
      Query row = connection_.query(
          "SELECT segment, installations FROM withdrawn WHERE product = ?1 AND period = ?2 "
          "AND version = ?3",
          group.product, std::int64_t{group.period}, std::int64_t{group.version});
      while (row->executeStep()) {
        Installations set = read_installations(bytes_of(row->getColumn(1)));
        if (!set.intersect(erased_)) continue;
        segments.emplace(row->getColumn(0).getInt64(), set - erased_);
      }
    }
    for (const auto& [segment, set] : segments) {
      const std::string bytes = bytes_of(set);
      connection_.run(
          "UPDATE withdrawn SET installations = ?5 WHERE product = ?1 AND period = ?2 "
          "AND version = ?3 AND segment = ?4",
          group.product, std::int64_t{group.period}, std::int64_t{group.version}, segment,
          std::string_view(bytes));
    }
  }

  Connection& connection_;
  Keeper& keeper_;
  std::int64_t folded_;
  CellBuilder builder_;
  Installations erased_;
  Erasure erasure_;
};

void empty_log(Connection& connection, const std::filesystem::path& path) {
  const auto limit = std::chrono::steady_clock::now() + longest_wait;
  // Most of it can be moved beside a writer. Emptying the log takes the lock, with which SQLite
  // would also wait for readers, so it must not wait itself.
  sqlite3_wal_checkpoint_v2(connection.database().getHandle(), nullptr, SQLITE_CHECKPOINT_PASSIVE,
                            nullptr, nullptr);
  limit_wait(connection.database(), Wait::none);
  for (;;) {
    const int result = sqlite3_wal_checkpoint_v2(connection.database().getHandle(), nullptr,
                                                 SQLITE_CHECKPOINT_TRUNCATE, nullptr, nullptr);
    if (result == SQLITE_OK) break;
    if (result != SQLITE_BUSY || std::chrono::steady_clock::now() > limit) {
      throw StorageError(path.string() +
                         ": erased, but traces are left in the write-ahead log, which another "
                         "process uses; end that one and erase again");
    }
    std::this_thread::sleep_for(lock_interval);
  }
  limit_wait(connection.database(), Wait::longest);
}

/// Whether one of the texts is in the file. It is read as SQLite has it open: the end of another
/// descriptor would take the locks of all connections that this process has to the file.
bool has_any(Connection& connection, const std::vector<std::string>& texts) {
  constexpr sqlite3_int64 step = sqlite3_int64{1} << 20;
  sqlite3_file* file = nullptr;
  sqlite3_int64 size = 0;
  if (sqlite3_file_control(connection.database().getHandle(), "main", SQLITE_FCNTL_FILE_POINTER,
                           &file) != SQLITE_OK ||
      file->pMethods->xFileSize(file, &size) != SQLITE_OK) {
    throw StorageError("erased, but the file cannot be read to look for traces; check the disk");
  }
  std::size_t longest = 0;
  for (const std::string& text : texts) longest = std::max(longest, text.size());
  std::string part;
  for (sqlite3_int64 at = 0; at < size; at += step) {
    const auto length = static_cast<std::size_t>(std::min(step, size - at));
    const std::size_t start = part.size();
    part.resize(start + length);
    // Another process may have made the file shorter meanwhile; what is gone is read as zeros.
    const int result =
        file->pMethods->xRead(file, part.data() + start, static_cast<int>(length), at);
    if (result != SQLITE_OK && result != SQLITE_IOERR_SHORT_READ) {
      throw StorageError("erased, but the file cannot be read to look for traces; check the disk");
    }
    for (const std::string& text : texts) {
      if (part.find(text) != std::string::npos) return true;
    }
    // A text may lie on both sides of the boundary.
    if (part.size() > longest) part.erase(0, part.size() - longest);
  }
  return false;
}

}  // namespace

void Erasure::add(Erasure later) {
  counts.installations += later.counts.installations;
  counts.deliveries += later.counts.deliveries;
  counts.contacts += later.counts.contacts;
  std::ranges::move(later.texts, std::back_inserter(texts));
  if (later.mark_before != mark) is_with_others = true;
  mark = later.mark;
}

Erasure erase_installations(Connection& connection, Keeper& keeper,
                            const std::function<std::vector<std::int64_t>()>& find) {
  SQLite::Transaction transaction(connection.database(), SQLite::TransactionBehavior::IMMEDIATE);
  try {
    keeper.begin();
    const std::vector<std::int64_t> installations = find();
    Eraser eraser(connection, keeper);
    for (const std::int64_t installation : installations) eraser.erase(installation);
    Erasure erasure = eraser.finish();
    erasure.mark_before = read_state(connection, traces_state);
    erasure.mark = erasure.mark_before + (installations.empty() ? 0 : 1);
    write_state(connection, traces_state, erasure.mark);
    transaction.commit();
    return erasure;
  } catch (...) {
    keeper.forget();
    throw;
  }
}

void remove_traces(Connection& connection, const std::filesystem::path& path,
                   const Erasure& erasure, const std::function<void(bool with_reports)>& rewrite) {
  if (erasure.mark == 0) return;
  empty_log(connection, path);
  std::vector<std::string> traces;
  std::ranges::copy_if(erasure.texts, std::back_inserter(traces),
                       [](const std::string& text) { return text.size() >= shortest_trace; });
  if (erasure.is_with_others || traces.size() > most_traces) {
    rewrite(erasure.is_with_others);
    empty_log(connection, path);
  } else {
    for (const bool with_reports : {false, true}) {
      if (!has_any(connection, traces)) break;
      rewrite(with_reports);
      empty_log(connection, path);
    }
  }
  // One that was committed meanwhile has a number of its own, and removes its traces itself.
  connection.run("UPDATE state SET value = 0 WHERE name = ?1 AND value = ?2", traces_state,
                 erasure.mark);
}

}  // namespace pelto::collector
