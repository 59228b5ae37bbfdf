#include "collector/storage/sqlite/Blocks.h"

#include <algorithm>
#include <utility>

#include "collector/storage/Storage.h"
#include "collector/storage/sqlite/Bytes.h"

namespace pelto::collector {

namespace {

std::string bytes_of(const Block& block) {
  ByteWriter writer;
  for (const auto& [item, cell] : block) {
    writer.number(item);
    writer.signed_number(cell.reports);
    writer.signed_number(cell.first_sum);
    writer.signed_number(cell.second_sum);
    writer.number((cell.first_set ? 1U : 0U) | (cell.second_set ? 2U : 0U));
    writer.text(collector::bytes_of(cell.installations));
    if (cell.first_set) writer.text(collector::bytes_of(*cell.first_set));
    if (cell.second_set) writer.text(collector::bytes_of(*cell.second_set));
    writer.text(collector::bytes_of(cell.places));
  }
  return writer.bytes();
}

}  // namespace

std::map<BlockKey, Block> make_blocks(CellBuilder::Cells&& cells) {
  std::map<BlockKey, Block> blocks;
  for (auto& [key, groups] : cells) {
    const auto [kind, item] = key;
    for (auto& [group, cell] : groups) {
      blocks[{group, kind, item / items_per_block}].emplace(item, std::move(cell));
    }
  }
  return blocks;
}

std::vector<PackedCell> PackedCell::read_all(std::string_view bytes) {
  std::vector<PackedCell> cells;
  ByteReader reader(bytes);
  while (!reader.rest().empty()) {
    PackedCell& cell = cells.emplace_back();
    cell.item_ = static_cast<Number>(reader.number());
    cell.sums_.reports = reader.signed_number();
    cell.sums_.first_sum = reader.signed_number();
    cell.sums_.second_sum = reader.signed_number();
    const std::uint64_t sets = reader.number();
    cell.has_first_set_ = (sets & 1U) != 0;
    cell.has_second_set_ = (sets & 2U) != 0;
    cell.installations_ = reader.text();
    if (cell.has_first_set_) cell.first_set_ = reader.text();
    if (cell.has_second_set_) cell.second_set_ = reader.text();
    cell.places_ = reader.text();
  }
  return cells;
}

SumCell PackedCell::read() const {
  SumCell cell = sums_;
  cell.installations = read_installations(installations_);
  if (has_first_set_) cell.first_set = read_installations(first_set_);
  if (has_second_set_) cell.second_set = read_installations(second_set_);
  cell.places = read_places(places_);
  return cell;
}

std::vector<BlockRow> read_block_rows(Connection& connection, std::int64_t product, Kind kind,
                                      Period from, Period to) {
  std::vector<BlockRow> rows;
  Query row = connection.query(
      "SELECT period, version, block, segment, content FROM cell "
      "WHERE product = ?1 AND kind = ?2 AND period BETWEEN ?3 AND ?4",
      product, static_cast<std::int64_t>(kind), std::int64_t{from}, std::int64_t{to});
  while (row->executeStep()) {
    const Group group{product, row->getColumn(0).getInt(),
                      static_cast<Number>(row->getColumn(1).getInt64())};
    rows.push_back({{group, kind, static_cast<Number>(row->getColumn(2).getInt64())},
                    row->getColumn(3).getInt64(),
                    row->getColumn(4).getInt64()});
  }
  std::ranges::stable_sort(rows, {}, [](const BlockRow& one) { return one.key.block; });
  return rows;
}

std::string read_block(Connection& connection, const BlockRow& row) {
  Query found = connection.query("SELECT cells FROM cell_content WHERE number = ?1", row.content);
  if (!found->executeStep()) {
    throw StorageError("stored sums are missing; run check, and restore a backup");
  }
  return std::string(collector::bytes_of(found->getColumn(0)));
}

void append_block(Connection& connection, const BlockKey& key, std::int64_t segment,
                  const Block& block) {
  const std::string bytes = bytes_of(block);
  connection.run("INSERT INTO cell_content(cells) VALUES (?1)", std::string_view(bytes));
  connection.run("INSERT INTO cell VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7)", key.group.product,
                 static_cast<std::int64_t>(key.kind), std::int64_t{key.group.period},
                 std::int64_t{key.group.version}, std::int64_t{key.block}, segment,
                 std::int64_t{connection.database().getLastInsertRowid()});
}

}  // namespace pelto::collector
