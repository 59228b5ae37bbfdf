#include "collector/storage/sqlite/Folding.h"

#include <algorithm>
#include <chrono>
#include <set>
#include <utility>
#include <vector>

#include "collector/storage/Storage.h"
#include "collector/storage/sqlite/Recounting.h"

namespace pelto::collector {

namespace {

/// Adds the installation's other reports of the group, which the withdrawal makes void, too.
void mark_others(Connection& connection, Names& names, const Group& group, Number installation,
                 std::int64_t folded, CellBuilder& builder, Pending& pending) {
  const auto seconds = [](Day day) { return Time{day}.time_since_epoch().count(); };
  Query other = connection.query(
      "SELECT number, installation, product, received, version, packed FROM report "
      "WHERE installation = ?1 AND product = ?2 AND received >= ?3 AND received < ?4 "
      "AND version = ?5 AND number <= ?6 AND replaced = 0 "
      "AND number NOT IN (SELECT report FROM changed)",
      std::int64_t{installation}, group.product, seconds(first_day_of(group.period)),
      seconds(first_day_of(group.period + 1)), std::int64_t{group.version}, folded);
  StoredReport report;
  while (other->executeStep()) {
    if (!read_report(*other.operator->(), names, report)) pending.uncertain.insert(group);
    builder.mark(report);
  }
}

void read_changed(Connection& connection, Names& names, const PendingScope& scope,
                  std::int64_t folded, CellBuilder& builder, Pending& pending) {
  std::set<std::pair<Group, Number>> voided;
  Query changed = connection.query(
      "SELECT number, installation, product, received, version, packed, sign "
      "FROM changed JOIN report ON number = report");
  StoredReport report;
  while (changed->executeStep()) {
    const bool is_sound = read_report(*changed.operator->(), names, report);
    if (scope.product && *scope.product != report.group.product) continue;
    if (!is_sound) pending.damaged = report.number;
    if (changed->getColumn(6).getInt() > 0) {
      builder.add(report);
      continue;
    }
    if (!is_sound) pending.uncertain.insert(report.group);
    builder.take_back(report);
    pending.withdrawn[report.group].add(report.installation);
    voided.emplace(report.group, report.installation);
  }
  for (const auto& [group, installation] : voided) {
    mark_others(connection, names, group, installation, folded, builder, pending);
  }
}

}  // namespace

std::int64_t read_state(Connection& connection, const char* name) {
  return connection.number(0, "SELECT value FROM state WHERE name = ?1", name);
}

void write_state(Connection& connection, const char* name, std::int64_t value) {
  connection.run("INSERT OR REPLACE INTO state VALUES (?1, ?2)", name, value);
}

Withdrawn Withdrawn::read(Connection& connection, std::int64_t product, std::set<Group>* damaged) {
  Withdrawn withdrawn;
  Query found = connection.query(
      "SELECT period, version, segment, installations FROM withdrawn WHERE product = ?1", product);
  while (found->executeStep()) {
    const Group group{product, found->getColumn(0).getInt(),
                      static_cast<Number>(found->getColumn(1).getInt64())};
    try {
      withdrawn.add(group, found->getColumn(2).getInt64(),
                    read_installations(bytes_of(found->getColumn(3))));
    } catch (const StorageError&) {
      if (damaged == nullptr) throw;
      damaged->insert(group);
    }
  }
  return withdrawn;
}

void Withdrawn::add(const Group& group, std::int64_t segment, const Installations& installations) {
  groups_[group][segment] |= installations;
}

void Withdrawn::remove_from(const Group& group, std::int64_t segment, SumCell& cell) const {
  const auto found = groups_.find(group);
  if (found == groups_.end()) return;
  const auto& segments = found->second;
  for (auto later = segments.upper_bound(segment); later != segments.end(); ++later) {
    cell.remove(later->second);
  }
}

std::int64_t Withdrawn::last_segment(const Group& group) const {
  const auto found = groups_.find(group);
  return found == groups_.end() ? 0 : found->second.rbegin()->first;
}

Pending read_pending(Connection& connection, Names& names, const PendingScope& scope) {
  Pending pending;
  CellBuilder builder(scope.needs);
  // An unknown product has the number 0.
  constexpr std::int64_t every_product = -1;
  const std::int64_t folded = read_state(connection, "folded_report");
  Query waiting = connection.query(
      "SELECT number, installation, product, received, version, packed "
      "FROM report WHERE number > ?1 AND replaced = 0 "
      "AND (?2 = -1 OR product = ?2) ORDER BY number",
      folded, scope.product.value_or(every_product));
  StoredReport report;
  while (waiting->executeStep()) {
    if (!read_report(*waiting.operator->(), names, report)) pending.damaged = report.number;
    builder.add(report);
  }
  read_changed(connection, names, scope, folded, builder, pending);
  pending.cells = builder.take_cells();
  return pending;
}

std::int64_t fold(Connection& connection, Names& names) {
  Pending pending = read_pending(connection, names, {});
  const std::int64_t segment = read_state(connection, "segment") + 1;
  write_state(connection, "segment", segment);
  for (const auto& [key, block] : make_blocks(std::move(pending.cells))) {
    append_block(connection, key, segment, block);
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
  for (const Group& group : pending.uncertain) recount_group(connection, names, group);
  return pending.damaged;
}

void merge_block(Connection& connection, const BlockKey& key, const Withdrawn& withdrawn,
                 const Installations& erased, const Block& changes) {
  const auto group_parameters = [&](const char* sql) {
    return connection.query(sql, key.group.product, static_cast<std::int64_t>(key.kind),
                            std::int64_t{key.group.period}, std::int64_t{key.group.version},
                            std::int64_t{key.block});
  };
  std::vector<BlockRow> rows;
  {
    Query row = group_parameters(
        "SELECT segment, content FROM cell WHERE product = ?1 AND kind = ?2 AND period = ?3 "
        "AND version = ?4 AND block = ?5");
    while (row->executeStep()) {
      rows.push_back({key, row->getColumn(0).getInt64(), row->getColumn(1).getInt64()});
    }
  }
  Block merged = changes;
  // What is void in earlier segments is removed here, so that it counts as one of the later ones.
  std::int64_t segment = withdrawn.last_segment(key.group);
  for (const BlockRow& row : rows) {
    const std::string bytes = read_block(connection, row);
    for (const PackedCell& packed : PackedCell::read_all(bytes)) {
      SumCell cell = packed.read();
      withdrawn.remove_from(key.group, row.segment, cell);
      cell.remove(erased);
      merged[packed.item()].add(key.kind, cell);
    }
    segment = std::max(segment, row.segment);
    connection.run("DELETE FROM cell_content WHERE number = ?1", row.content);
  }
  group_parameters(
      "DELETE FROM cell WHERE product = ?1 AND kind = ?2 AND period = ?3 AND version = ?4 "
      "AND block = ?5")
      ->exec();
  std::erase_if(merged, [](const auto& entry) { return entry.second.reports == 0; });
  if (!merged.empty()) append_block(connection, key, segment, merged);
}

void Merging::plan(Connection& connection) {
  if (!is_done()) return;
  connection.run(
      "DELETE FROM withdrawn WHERE NOT EXISTS (SELECT 1 FROM cell "
      "WHERE cell.product = withdrawn.product AND kind IN (0, 1, 2, 3, 4) "
      "AND cell.period = withdrawn.period AND cell.version = withdrawn.version "
      "AND cell.segment < withdrawn.segment)");
  constexpr std::int64_t many_segments = 4;
  constexpr std::int64_t quiet_segments = 4;
  std::vector<Group> groups;
  {
    Query group = connection.query(
        "SELECT product, period, version FROM cell WHERE kind = 0 "
        "GROUP BY product, period, version "
        "HAVING count(*) >= ?1 OR (count(*) > 1 AND max(segment) <= ?2)",
        many_segments, read_state(connection, "segment") - quiet_segments);
    while (group->executeStep()) {
      groups.push_back({group->getColumn(0).getInt64(), group->getColumn(1).getInt(),
                        static_cast<Number>(group->getColumn(2).getInt64())});
    }
  }
  for (const Group& group : groups) {
    // The reports' own cell comes last: as long as it has segments, the group is found again.
    for (const Kind kind :
         {Kind::report, Kind::described, Kind::command, Kind::file_type, Kind::machine}) {
      Query block = connection.query(
          "SELECT block FROM cell WHERE product = ?1 AND kind = ?2 AND period = ?3 "
          "AND version = ?4 GROUP BY block HAVING count(*) > 1 OR min(segment) < "
          "(SELECT max(segment) FROM withdrawn WHERE product = ?1 AND period = ?3 "
          "AND version = ?4)",
          group.product, static_cast<std::int64_t>(kind), std::int64_t{group.period},
          std::int64_t{group.version});
      while (block->executeStep()) {
        left_.push_back({group, kind, static_cast<Number>(block->getColumn(0).getInt64())});
      }
    }
  }
}

bool Merging::step(Connection& connection, Names& names) {
  constexpr int most_blocks = 4;
  std::set<Group> damaged;
  std::map<std::int64_t, Withdrawn> withdrawn;
  for (int i = 0; i < most_blocks && !left_.empty(); ++i) {
    const BlockKey key = left_.back();
    left_.pop_back();
    const std::int64_t product = key.group.product;
    if (!withdrawn.contains(product)) {
      withdrawn.emplace(product, Withdrawn::read(connection, product, &damaged));
    }
    try {
      merge_block(connection, key, withdrawn.at(product), {}, {});
    } catch (const StorageError&) {
      damaged.insert(key.group);
    }
  }
  for (const Group& group : damaged) recount_group(connection, names, group);
  std::erase_if(left_, [&](const BlockKey& key) { return damaged.contains(key.group); });
  return damaged.empty();
}

bool read_report(SQLite::Statement& row, Names& names, StoredReport& report) {
  report.number = row.getColumn(0).getInt64();
  report.installation = static_cast<Number>(row.getColumn(1).getInt64());
  report.group.product = row.getColumn(2).getInt64();
  report.group.period = period_of(Time{std::chrono::seconds{row.getColumn(3).getInt64()}});
  report.group.version = static_cast<Number>(row.getColumn(4).getInt64());
  return unpack(bytes_of(row.getColumn(5)), names, report.counts);
}

}  // namespace pelto::collector
