#include "collector/storage/sqlite/Erasure.h"

#include <chrono>
#include <map>
#include <set>
#include <string_view>
#include <utility>

#include <SQLiteCpp/Transaction.h>

#include "collector/storage/sqlite/Folding.h"
#include "collector/storage/sqlite/Recounting.h"

namespace pelto::collector {

namespace {

using Clock = std::chrono::steady_clock;

class Eraser {
 public:
  Eraser(Connection& connection, Keeper& keeper, Clock::time_point end)
      : connection_(connection),
        keeper_(keeper),
        end_(end),
        folded_(read_state(connection, "folded_report")) {}

  bool has_time() const { return Clock::now() < end_; }

  /// Returns false if some of it is left for another step.
  bool erase(std::int64_t installation) {
    if (!erase_reports(installation)) return false;
    take_texts("contact", "SELECT address FROM contact WHERE installation = ?1", installation);
    erasure_.counts.contacts +=
        connection_.run("DELETE FROM contact WHERE installation = ?1", installation);
    take_texts("adapter", "SELECT hash FROM adapter WHERE installation = ?1", installation);
    connection_.run("DELETE FROM adapter WHERE installation = ?1", installation);
    take_texts("installation", "SELECT identifier FROM installation WHERE number = ?1",
               installation);
    erasure_.counts.installations +=
        connection_.run("DELETE FROM installation WHERE number = ?1", installation);
    return true;
  }

  Erasure finish() {
    std::map<std::int64_t, Withdrawn> withdrawn;
    for (const auto& [key, changes] : make_blocks(builder_.take_cells())) {
      const std::int64_t product = key.group.product;
      if (!withdrawn.contains(product)) {
        withdrawn.emplace(product, Withdrawn::read(connection_, product, &uncertain_));
      }
      try {
        merge_block(connection_, key, withdrawn.at(product), erased_[key.group], changes);
      } catch (const StorageError&) {
        uncertain_.insert(key.group);
      }
    }
    for (const Group& group : uncertain_) {
      recount_group(connection_, keeper_.names(), group);
      gone_.erase(group);
    }
    for (const auto& [group, installations] : gone_) erase_withdrawn(group, installations);
    if (has_damaged_) {
      take_names(keeper_.names().write_uses());
      recount_uses(connection_, keeper_.names());
    }
    take_names(keeper_.finish());
    return std::move(erasure_);
  }

 private:
  /// From the oldest on, so that what is left is a history of its own. Returns false if something
  /// is left.
  bool erase_reports(std::int64_t installation) {
    std::vector<std::int64_t> numbers;
    std::set<Group> groups;
    bool is_whole = true;
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
        const bool is_sound = read_report(*row.operator->(), keeper_.names(), report);
        const bool is_replaced = row->getColumn(6).getInt() != 0;
        const Time received{std::chrono::seconds{row->getColumn(3).getInt64()}};
        if (report.group.product == product_before && is_replaced_before) {
          keeper_.intake().count(report.group.product, received, "replaced", "", -1);
        }
        // The first one that is left has just lost the one before it.
        if (!numbers.empty() && !has_time()) {
          is_whole = false;
          break;
        }
        if (!is_sound) has_damaged_ = true;
        keeper_.intake().count(report.group.product, received, "accepted", "", -1);
        product_before = report.group.product;
        is_replaced_before = is_replaced;
        use_names(report.counts, keeper_.names(), -1);
        keeper_.names().use(report.group.version, -1);
        numbers.push_back(report.number);
        ++erasure_.counts.deliveries;
        if (report.number > folded_) {
          keeper_.drop_pending(1);
          continue;
        }
        groups.insert(report.group);
        if (!is_sound) uncertain_.insert(report.group);
        is_counted(row, is_replaced) ? builder_.take_back(report) : builder_.touch(report);
      }
    }
    for (const std::int64_t number : numbers) {
      connection_.run("DELETE FROM changed WHERE report = ?1", number);
      connection_.run("DELETE FROM report_text WHERE report = ?1", number);
      connection_.run("DELETE FROM report WHERE number = ?1", number);
    }
    const auto installation_number = static_cast<Number>(installation);
    for (const Group& group : groups) {
      erased_[group].add(installation_number);
      if (is_whole || !mark_rest(installation, group)) gone_[group].add(installation_number);
    }
    return is_whole;
  }

  /// Whether the sums have the report in the row. `changed` lists those for which that is not as
  /// their state says.
  static bool is_counted(Query& row, bool is_replaced) {
    return row->isColumnNull(7) ? !is_replaced : row->getColumn(7).getInt() < 0;
  }

  /// Adds the installation to the sets again for its reports of a group that are left. Returns
  /// false if there are none.
  bool mark_rest(std::int64_t installation, const Group& group) {
    const auto seconds = [](Day day) { return Time{day}.time_since_epoch().count(); };
    bool has_some = false;
    Query row = connection_.query(
        "SELECT number, installation, product, received, version, packed, replaced, sign "
        "FROM report LEFT JOIN changed ON report = number "
        "WHERE installation = ?1 AND product = ?2 AND received >= ?3 AND received < ?4 "
        "AND version = ?5 AND number <= ?6",
        installation, group.product, seconds(first_day_of(group.period)),
        seconds(first_day_of(group.period + 1)), std::int64_t{group.version}, folded_);
    StoredReport report;
    while (row->executeStep()) {
      has_some = true;
      if (!is_counted(row, row->getColumn(6).getInt() != 0)) continue;
      if (!read_report(*row.operator->(), keeper_.names(), report)) uncertain_.insert(group);
      builder_.mark(report);
    }
    return has_some;
  }

  void take_texts(const char* table, const char* sql, std::int64_t installation) {
    Query text = connection_.query(sql, installation);
    while (text->executeStep()) {
      erasure_.texts.push_back({table, text->getColumn(0).getString()});
    }
  }

  void take_names(std::vector<std::string> names) {
    for (std::string& name : names) erasure_.texts.push_back({"name", std::move(name)});
  }

  void erase_withdrawn(const Group& group, const Installations& gone) {
    std::map<std::int64_t, Installations> segments;
    {
      Query row = connection_.query(
          "SELECT segment, installations FROM withdrawn WHERE product = ?1 AND period = ?2 "
          "AND version = ?3",
          group.product, std::int64_t{group.period}, std::int64_t{group.version});
      while (row->executeStep()) {
        Installations set = read_installations(bytes_of(row->getColumn(1)));
        if (!set.intersect(gone)) continue;
        segments.emplace(row->getColumn(0).getInt64(), set - gone);
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
  Clock::time_point end_;
  std::int64_t folded_;
  CellBuilder builder_;
  /// The installations whose part in a group's sums is void, and those that have no report in the
  /// group any more.
  std::map<Group, Installations> erased_;
  std::map<Group, Installations> gone_;
  /// Groups whose sums cannot be corrected, as a report or a sum is damaged.
  std::set<Group> uncertain_;
  /// Whether one of the erased reports does not tell its names.
  bool has_damaged_ = false;
  Erasure erasure_;
};

}  // namespace

Erasure erase_step(Connection& connection, Keeper& keeper,
                   std::span<const std::int64_t> installations, Clock::duration time,
                   const std::function<bool(Connection&, std::int64_t)>& is_due) {
  SQLite::Transaction transaction(connection.database(), SQLite::TransactionBehavior::IMMEDIATE);
  try {
    keeper.begin();
    Eraser eraser(connection, keeper, Clock::now() + time);
    std::size_t done = 0;
    for (const std::int64_t installation : installations) {
      if (done > 0 && !eraser.has_time()) break;
      if (is_due(connection, installation) && !eraser.erase(installation)) break;
      ++done;
    }
    Erasure erasure = eraser.finish();
    erasure.done = done;
    if (erasure.counts.installations + erasure.counts.deliveries > 0) {
      erasure.number = read_state(connection, erasures_state) + 1;
      write_state(connection, erasures_state, erasure.number);
    }
    transaction.commit();
    return erasure;
  } catch (...) {
    keeper.forget();
    throw;
  }
}

}  // namespace pelto::collector
