#include "collector/storage/sqlite/CellScan.h"

#include <algorithm>
#include <deque>
#include <limits>
#include <string>
#include <utility>
#include <vector>

namespace pelto::collector {

namespace {

/// All rows of a block.
struct BlockContent {
  struct Entry {
    PackedCell packed;
    const BlockRow* row = nullptr;
  };
  std::deque<std::string> bytes;
  std::vector<Entry> cells;

  void add(Connection& connection, const BlockRow& row) {
    bytes.push_back(read_block(connection, row));
    for (PackedCell& cell : PackedCell::read_all(bytes.back())) {
      cells.push_back({std::move(cell), &row});
    }
  }
  void sort() {
    std::ranges::stable_sort(cells, {}, [](const Entry& entry) { return entry.packed.item(); });
  }
};

}  // namespace

CellScan::CellScan(Connection& connection, std::int64_t product, std::initializer_list<Kind> kinds)
    : connection_(connection), product_(product), withdrawn_(Withdrawn::read(connection, product)) {
  const std::vector<Kind> needed(kinds);
  Names names(connection);
  pending_ = read_pending(
      connection, names,
      {product, [&needed](Kind kind) { return std::ranges::find(needed, kind) != needed.end(); }});
  for (const auto& [group, installations] : pending_.withdrawn) {
    withdrawn_.add(group, std::numeric_limits<std::int64_t>::max(), installations);
  }
}

void CellScan::run(Kind kind, const Visitor& visitor) {
  const std::vector<BlockRow> rows =
      read_block_rows(connection_, product_, kind, visitor.from, visitor.to);
  auto row = rows.begin();
  auto pending = pending_.cells.lower_bound({kind, 0});
  const auto has_pending = [&] {
    return pending != pending_.cells.end() && std::get<Kind>(pending->first) == kind;
  };
  const auto pending_item = [&] { return std::get<Number>(pending->first); };
  while (row != rows.end() || has_pending()) {
    Number block = std::numeric_limits<Number>::max();
    if (row != rows.end()) block = row->key.block;
    if (has_pending()) block = std::min(block, pending_item() / items_per_block);

    BlockContent content;
    for (; row != rows.end() && row->key.block == block; ++row) content.add(connection_, *row);
    content.sort();
    auto cell = content.cells.begin();
    for (Number item = block * items_per_block; item / items_per_block == block; ++item) {
      bool is_found = false;
      for (; cell != content.cells.end() && cell->packed.item() == item; ++cell) {
        is_found = true;
        const Group& group = cell->row->key.group;
        if (!visitor.needs(group)) continue;
        SumCell read = cell->packed.read();
        withdrawn_.remove_from(group, cell->row->segment, read);
        visitor.take(group, read);
      }
      if (has_pending() && pending_item() == item) {
        is_found = true;
        for (const auto& [group, waiting] : pending->second) {
          const bool is_in_range = group.period >= visitor.from && group.period <= visitor.to;
          if (is_in_range && visitor.needs(group)) visitor.take(group, waiting);
        }
        ++pending;
      }
      if (is_found) visitor.finish(item);
    }
  }
}

}  // namespace pelto::collector
