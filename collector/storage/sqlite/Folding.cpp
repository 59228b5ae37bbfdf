#include "collector/storage/sqlite/Folding.h"

#include <algorithm>
#include <chrono>
#include <set>
#include <utility>
#include <vector>

namespace pelto::collector {

namespace {

/// Calls `take` for each report of a statement whose parameters are bound.
template <typename Take>
void for_each_report(Query query, Take take) {
  StoredReport report;
  while (query->executeStep()) {
    read_report(*query.operator->(), report);
    take(report);
  }
}

/// Adds the installation's other reports of the group, which the withdrawal makes void, too.
void mark_others(Connection& connection, const Group& group, Number installation,
                 std::int64_t folded, CellBuilder& builder) {
  const auto seconds = [](Day day) { return Time{day}.time_since_epoch().count(); };
  for_each_report(
      connection.query(
          "SELECT number, installation, product, received, version, packed FROM report "
          "WHERE installation = ?1 AND product = ?2 AND received >= ?3 AND received < ?4 "
          "AND version = ?5 AND number <= ?6 AND replaced = 0 "
          "AND number NOT IN (SELECT report FROM changed)",
          std::int64_t{installation}, group.product, seconds(first_day_of(group.period)),
          seconds(first_day_of(group.period + 1)), std::int64_t{group.version}, folded),
      [&](const StoredReport& report) { builder.mark(report); });
}

void read_changed(Connection& connection, const PendingScope& scope, std::int64_t folded,
                  CellBuilder& builder, std::map<Group, Installations>& withdrawn) {
  std::set<std::pair<Group, Number>> voided;
  Query changed = connection.query(
      "SELECT number, installation, product, received, version, packed, sign "
      "FROM changed JOIN report ON number = report");
  StoredReport report;
  while (changed->executeStep()) {
    read_report(*changed.operator->(), report);
    if (scope.product && *scope.product != report.group.product) continue;
    if (changed->getColumn(6).getInt() > 0) {
      builder.add(report);
      continue;
    }
    builder.take_back(report);
    withdrawn[report.group].add(report.installation);
    voided.emplace(report.group, report.installation);
  }
  for (const auto& [group, installation] : voided) {
    mark_others(connection, group, installation, folded, builder);
  }
}

void append_cell(Connection& connection, const Group& group, Kind kind, Number item,
                 std::int64_t segment, const Cell& cell) {
  Query insert = connection.query(
      "INSERT INTO cell VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11, ?12, ?13)",
      group.product, static_cast<std::int64_t>(kind), std::int64_t{item},
      std::int64_t{group.period}, std::int64_t{group.version}, segment, cell.reports,
      cell.first_sum, cell.second_sum);
  const auto bind_bytes = [&](int index, const std::string& bytes) {
    insert->bind(index, bytes.data(), static_cast<int>(bytes.size()));
  };
  bind_bytes(10, bytes_of(cell.installations));
  cell.first_set ? bind_bytes(11, bytes_of(*cell.first_set)) : insert->bind(11);
  cell.second_set ? bind_bytes(12, bytes_of(*cell.second_set)) : insert->bind(12);
  const std::string places = bytes_of(cell.places);
  places.empty() ? insert->bind(13) : bind_bytes(13, places);
  insert->exec();
}

}  // namespace

std::int64_t read_state(Connection& connection, const char* name) {
  return connection.number(0, "SELECT value FROM state WHERE name = ?1", name);
}

void write_state(Connection& connection, const char* name, std::int64_t value) {
  connection.run("INSERT OR REPLACE INTO state VALUES (?1, ?2)", name, value);
}

Withdrawn Withdrawn::read(Connection& connection, std::int64_t product) {
  Withdrawn withdrawn;
  Query found = connection.query(
      "SELECT period, version, segment, installations FROM withdrawn WHERE product = ?1", product);
  while (found->executeStep()) {
    const Group group{product, found->getColumn(0).getInt(),
                      static_cast<Number>(found->getColumn(1).getInt64())};
    withdrawn.add(group, found->getColumn(2).getInt64(),
                  read_installations(bytes_of(found->getColumn(3))));
  }
  return withdrawn;
}

void Withdrawn::add(const Group& group, std::int64_t segment, const Installations& installations) {
  groups_[group][segment] |= installations;
}

void Withdrawn::remove_from(const Group& group, std::int64_t segment, Cell& cell) const {
  const auto found = groups_.find(group);
  if (found == groups_.end()) return;
  const auto& segments = found->second;
  for (auto later = segments.upper_bound(segment); later != segments.end(); ++later) {
    cell.remove(later->second);
  }
}

Pending read_pending(Connection& connection, const PendingScope& scope) {
  Pending pending;
  CellBuilder builder(scope.needs);
  const std::int64_t folded = read_state(connection, "folded_report");
  for_each_report(
      connection.query("SELECT number, installation, product, received, version, packed "
                       "FROM report WHERE number > ?1 AND replaced = 0 "
                       "AND (?2 = 0 OR product = ?2) ORDER BY number",
                       folded, scope.product.value_or(0)),
      [&](const StoredReport& report) { builder.add(report); });
  read_changed(connection, scope, folded, builder, pending.withdrawn);
  pending.cells = builder.take_cells();
  return pending;
}

void fold(Connection& connection) {
  const Pending pending = read_pending(connection, {});
  const std::int64_t segment = read_state(connection, "segment") + 1;
  write_state(connection, "segment", segment);
  for (const auto& [key, groups] : pending.cells) {
    const auto [kind, item] = key;
    for (const auto& [group, cell] : groups) {
      append_cell(connection, group, kind, item, segment, cell);
    }
  }
  for (const auto& [group, installations] : pending.withdrawn) {
    const std::string bytes = bytes_of(installations);
    connection.run("INSERT INTO withdrawn VALUES (?1, ?2, ?3, ?4, ?5)", group.product,
                   std::int64_t{group.period}, std::int64_t{group.version}, segment,
                   std::string_view(bytes));
  }
  connection.run("DELETE FROM changed");
  write_state(connection, "folded_report",
              connection.number(0, "SELECT seq FROM sqlite_sequence WHERE name = 'report'"));
  write_state(connection, "pending_reports", 0);
  write_state(connection, "pending_bytes", 0);
}

Group StoredCell::group() const {
  return {product_, row_.getColumn(2).getInt(), static_cast<Number>(row_.getColumn(3).getInt64())};
}

Cell StoredCell::read() const {
  Cell cell;
  cell.reports = row_.getColumn(5).getInt64();
  cell.first_sum = row_.getColumn(6).getInt64();
  cell.second_sum = row_.getColumn(7).getInt64();
  cell.installations = read_installations(bytes_of(row_.getColumn(8)));
  if (!row_.isColumnNull(9)) cell.first_set = read_installations(bytes_of(row_.getColumn(9)));
  if (!row_.isColumnNull(10)) cell.second_set = read_installations(bytes_of(row_.getColumn(10)));
  add_places(cell.places, bytes_of(row_.getColumn(11)));
  return cell;
}

void for_each_cell(Connection& connection, std::int64_t product, Kind kind,
                   const std::function<void(const StoredCell&)>& take) {
  Query row = connection.query(
      "SELECT kind, item, period, version, segment, reports, first_sum, second_sum, "
      "installations, first_set, second_set, places FROM cell WHERE product = ?1 AND kind = ?2 "
      "ORDER BY item, period, version, segment",
      product, static_cast<std::int64_t>(kind));
  const StoredCell cell(product, *row.operator->());
  while (row->executeStep()) take(cell);
}

void merge_cell(Connection& connection, const Group& group, Kind kind, Number item,
                const Withdrawn& withdrawn, const Installations& erased, const Cell& change) {
  Cell merged = change;
  std::int64_t segment = 0;
  {
    Query row = connection.query(
        "SELECT kind, item, period, version, segment, reports, first_sum, second_sum, "
        "installations, first_set, second_set, places FROM cell WHERE product = ?1 AND kind = ?2 "
        "AND item = ?3 AND period = ?4 AND version = ?5",
        group.product, static_cast<std::int64_t>(kind), std::int64_t{item},
        std::int64_t{group.period}, std::int64_t{group.version});
    const StoredCell stored(group.product, *row.operator->());
    while (row->executeStep()) {
      Cell cell = stored.read();
      withdrawn.remove_from(group, stored.segment(), cell);
      cell.remove(erased);
      merged.add(kind, cell);
      segment = std::max(segment, stored.segment());
    }
  }
  connection.run(
      "DELETE FROM cell WHERE product = ?1 AND kind = ?2 AND item = ?3 AND period = ?4 "
      "AND version = ?5",
      group.product, static_cast<std::int64_t>(kind), std::int64_t{item},
      std::int64_t{group.period}, std::int64_t{group.version});
  if (merged.reports == 0) return;
  append_cell(connection, group, kind, item, segment, merged);
}

void read_report(SQLite::Statement& row, StoredReport& report) {
  report.number = row.getColumn(0).getInt64();
  report.installation = static_cast<Number>(row.getColumn(1).getInt64());
  report.group.product = row.getColumn(2).getInt64();
  report.group.period = period_of(Time{std::chrono::seconds{row.getColumn(3).getInt64()}});
  report.group.version = static_cast<Number>(row.getColumn(4).getInt64());
  unpack(bytes_of(row.getColumn(5)), report.counts);
}

}  // namespace pelto::collector
