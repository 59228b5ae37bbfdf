#include "collector/storage/sqlite/CellScan.h"

#include <algorithm>
#include <limits>
#include <vector>

namespace pelto::collector {

CellScan::CellScan(Connection& connection, std::int64_t product, std::initializer_list<Kind> kinds)
    : connection_(connection), product_(product), withdrawn_(Withdrawn::read(connection, product)) {
  const std::vector<Kind> needed(kinds);
  pending_ = read_pending(connection, {product, [&needed](Kind kind) {
                                         return std::ranges::find(needed, kind) != needed.end();
                                       }});
  for (const auto& [group, installations] : pending_.withdrawn) {
    withdrawn_.add(group, std::numeric_limits<std::int64_t>::max(), installations);
  }
}

void CellScan::run(Kind kind, const Visitor& visitor) {
  const std::vector<CellRow> rows =
      read_cell_rows(connection_, product_, kind, visitor.from, visitor.to);
  auto row = rows.begin();
  auto pending = pending_.cells.lower_bound({kind, 0});
  for (;;) {
    const bool has_pending =
        pending != pending_.cells.end() && std::get<Kind>(pending->first) == kind;
    if (row == rows.end() && !has_pending) return;
    const Number pending_item = has_pending ? std::get<Number>(pending->first) : 0;
    const bool is_stored_first = row != rows.end() && (!has_pending || row->item < pending_item);
    const Number item = is_stored_first ? row->item : pending_item;
    for (; row != rows.end() && row->item == item; ++row) {
      if (!visitor.needs(row->group)) continue;
      Cell cell = read_cell(connection_, *row);
      withdrawn_.remove_from(row->group, row->segment, cell);
      visitor.take(row->group, cell);
    }
    if (has_pending && pending_item == item) {
      for (const auto& [group, cell] : pending->second) {
        const bool is_in_range = group.period >= visitor.from && group.period <= visitor.to;
        if (is_in_range && visitor.needs(group)) visitor.take(group, cell);
      }
      ++pending;
    }
    visitor.finish(item);
  }
}

}  // namespace pelto::collector
