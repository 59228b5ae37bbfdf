#include "collector/storage/sqlite/Recounting.h"

#include <chrono>
#include <cstdint>

#include "collector/storage/sqlite/Blocks.h"
#include "collector/storage/sqlite/Folding.h"

namespace pelto::collector {

namespace {

/// The sums of the folded reports that count.
std::map<BlockKey, Block> count_group(Connection& connection, Names& names, const Group& group) {
  const auto seconds = [](Day day) { return Time{day}.time_since_epoch().count(); };
  CellBuilder builder;
  Query row = connection.query(
      "SELECT number, installation, product, received, version, packed FROM report "
      "WHERE received >= ?1 AND received < ?2 AND product = ?3 AND version = ?4 "
      "AND number <= ?5 AND replaced = 0",
      seconds(first_day_of(group.period)), seconds(first_day_of(group.period + 1)), group.product,
      std::int64_t{group.version}, read_state(connection, "folded_report"));
  StoredReport report;
  while (row->executeStep()) {
    read_report(*row.operator->(), names, report);
    builder.add(report);
  }
  return make_blocks(builder.take_cells());
}

}  // namespace

void recount_group(Connection& connection, Names& names, const Group& group) {
  const auto run = [&](const char* sql) {
    connection.run(sql, group.product, std::int64_t{group.period}, std::int64_t{group.version});
  };
  run("DELETE FROM cell_content WHERE number IN (SELECT content FROM cell WHERE product = ?1 "
      "AND kind IN (0, 1, 2, 3, 4) AND period = ?2 AND version = ?3)");
  run("DELETE FROM cell WHERE product = ?1 AND kind IN (0, 1, 2, 3, 4) AND period = ?2 "
      "AND version = ?3");
  run("DELETE FROM withdrawn WHERE product = ?1 AND period = ?2 AND version = ?3");
  // What changed since the last fold is counted here.
  const auto seconds = [](Day day) { return Time{day}.time_since_epoch().count(); };
  connection.run(
      "DELETE FROM changed WHERE report IN (SELECT number FROM report "
      "WHERE received >= ?1 AND received < ?2 AND product = ?3 AND version = ?4)",
      seconds(first_day_of(group.period)), seconds(first_day_of(group.period + 1)), group.product,
      std::int64_t{group.version});
  const std::int64_t segment = read_state(connection, "segment");
  for (const auto& [key, block] : count_group(connection, names, group)) {
    append_block(connection, key, segment, block);
  }
}

void recount_uses(Connection& connection, Names& names) {
  {
    Query row = connection.query(
        "SELECT number, installation, product, received, version, packed FROM report");
    StoredReport report;
    while (row->executeStep()) {
      if (!read_report(*row.operator->(), names, report)) {
        // It may be mended, and would then miss names that nobody else uses.
        names.forget();
        return;
      }
      use_names(report.counts, names, 1);
      names.use(report.group.version, 1);
    }
  }
  Query row = connection.query("SELECT name, reports FROM name_use");
  while (row->executeStep()) {
    names.use(static_cast<Number>(row->getColumn(0).getInt64()), -row->getColumn(1).getInt64());
  }
}

}  // namespace pelto::collector
