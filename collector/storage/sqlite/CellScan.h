// All cells of a product as they count now: those of the file without what is withdrawn, and those
// that are not folded yet.
#pragma once

#include <cstdint>
#include <functional>
#include <initializer_list>

#include "collector/storage/sqlite/Folding.h"

namespace pelto::collector {

class CellScan {
 public:
  /// Prepares the scan of cells of some kinds.
  CellScan(Connection& connection, std::int64_t product, std::initializer_list<Kind> kinds);

  /// What to do with the cells of a range of periods. Items come one after the other, with all
  /// their cells.
  struct Visitor {
    Period from = 0;
    Period to = 0;
    /// Whether a cell of the current item is needed.
    std::function<bool(const Group&)> needs;
    std::function<void(const Group&, const SumCell&)> take;
    /// Called after the last cell of an item.
    std::function<void(Number item)> finish;
  };
  void run(Kind kind, const Visitor& visitor);

 private:
  Connection& connection_;
  std::int64_t product_;
  Withdrawn withdrawn_;
  Pending pending_;
};

}  // namespace pelto::collector
