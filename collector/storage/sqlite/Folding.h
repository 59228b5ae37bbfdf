// The way of reports into the cells.
//
// A report that arrives changes no cell: it is in the file as a row, and each count adds the rows
// after the last folded one to the cells. From time to time these are folded: their cells are
// appended to the file as one segment. A report that was folded and is replaced later is listed in
// `changed`; the next fold takes its sums back, and declares its installation's part in the earlier
// segments of its period and version void.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "collector/storage/sqlite/Blocks.h"
#include "collector/storage/sqlite/Cells.h"
#include "collector/storage/sqlite/Connection.h"

namespace pelto::collector {

/// Numbers in the table `state`.
std::int64_t read_state(Connection& connection, const char* name);
void write_state(Connection& connection, const char* name, std::int64_t value);

/// The installations whose part in a group is void in segments before a given one.
class Withdrawn {
 public:
  /// Those of the file. With `damaged`, groups of which something cannot be read are added to it
  /// instead of a `StorageError`.
  static Withdrawn read(Connection& connection, std::int64_t product,
                        std::set<Group>* damaged = nullptr);

  void add(const Group& group, std::int64_t segment, const Installations& installations);
  /// Removes from the cell of a segment what is void in it.
  void remove_from(const Group& group, std::int64_t segment, SumCell& cell) const;
  /// The last segment before which something is void; 0 without one.
  std::int64_t last_segment(const Group& group) const;

 private:
  std::map<Group, std::map<std::int64_t, Installations>> groups_;
};

/// What a fold would append.
struct Pending {
  CellBuilder::Cells cells;
  std::map<Group, Installations> withdrawn;
  /// The number of a damaged report; 0 if there is none.
  std::int64_t damaged = 0;
  /// Groups with a folded report that is to be taken back or marked, and damaged: what this says of
  /// them is wrong.
  std::set<Group> uncertain;
};

/// Which reports a `Pending` is about; by default all.
struct PendingScope {
  std::optional<std::int64_t> product;
  CellBuilder::Filter needs;
};

/// Reads what is not folded yet. Within a transaction.
Pending read_pending(Connection& connection, Names& names, const PendingScope& scope);

/// Folds everything that is not folded yet. Returns the number of a damaged report, which is folded
/// as one without counts; 0 if there is none. Within a transaction that writes.
std::int64_t fold(Connection& connection, Names& names);

/// Makes one row of all segments of a block, without what is withdrawn or in `erased`, with
/// `changes` added, and without the items of which no report is left. Within a transaction that
/// writes.
void merge_block(Connection& connection, const BlockKey& key, const Withdrawn& withdrawn,
                 const Installations& erased, const Block& changes);

/// Many segments, one after the other, take long to count. This makes them one of few.
class Merging {
 public:
  /// Looks for groups with many segments, and for those with several to which nothing was added
  /// for some time. Within a transaction that writes.
  void plan(Connection& connection);
  bool is_done() const { return left_.empty(); }
  /// Merges some blocks; takes a few milliseconds. Returns false if there were sums that cannot be
  /// read: these are counted anew, see `recount_group`. Within a transaction that writes.
  bool step(Connection& connection, Names& names);
  /// After a failure.
  void forget() { left_.clear(); }

 private:
  std::vector<BlockKey> left_;
};

/// Reads the report in the current row: number, installation, product, received, version, packed.
/// Returns false, and no counts, if the counts are damaged.
bool read_report(SQLite::Statement& row, Names& names, StoredReport& report);

}  // namespace pelto::collector
