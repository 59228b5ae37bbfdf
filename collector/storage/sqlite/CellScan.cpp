#include "collector/storage/sqlite/CellScan.h"

#include <algorithm>
#include <limits>
#include <optional>
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
  auto pending = pending_.cells.lower_bound({kind, 0});
  const auto is_pending = [&] {
    return pending != pending_.cells.end() && std::get<Kind>(pending->first) == kind;
  };
  const auto pending_item = [&] { return std::get<Number>(pending->first); };
  const auto take_pending = [&] {
    for (const auto& [group, cell] : pending->second) {
      if (visitor.wants(group)) visitor.take(group, cell);
    }
    ++pending;
  };

  std::optional<Number> current;
  const auto finish_current = [&] {
    if (!current) return;
    if (is_pending() && pending_item() == *current) take_pending();
    visitor.finish(*current);
  };
  const auto take_pending_before = [&](std::uint64_t item) {
    while (is_pending() && pending_item() < item) {
      const Number alone = pending_item();
      take_pending();
      visitor.finish(alone);
    }
  };

  for_each_cell(connection_, product_, kind, [&](const StoredCell& stored) {
    const Number item = stored.item();
    if (current != item) {
      finish_current();
      take_pending_before(item);
      current = item;
    }
    const Group group = stored.group();
    if (!visitor.wants(group)) return;
    Cell cell = stored.read();
    withdrawn_.remove_from(group, stored.segment(), cell);
    visitor.take(group, cell);
  });
  finish_current();
  take_pending_before(std::numeric_limits<std::uint64_t>::max());
}

}  // namespace pelto::collector
