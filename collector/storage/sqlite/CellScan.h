// All cells of a product as they count now: those of the file without what is withdrawn, and those
// that are not folded yet.
#pragma once

#include <functional>
#include <initializer_list>
#include <set>
#include <string>

#include "collector/storage/sqlite/Folding.h"

namespace pelto::collector {

class CellScan {
 public:
  /// Prepares the scan of cells of some kinds.
  CellScan(Connection& connection, std::int64_t product, std::initializer_list<Kind> kinds);

  /// Which cells are of interest, and what to do with one; after the cells of an item, `finish` is
  /// called. Items come in order, those of the same item one after the other.
  struct Visitor {
    std::function<bool(const Group&)> wants;
    std::function<void(const Group&, const Cell&)> take;
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
