// The cells as they are in the file: those of neighboring items together, so that a fold writes few
// rows.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "collector/storage/sqlite/Cells.h"
#include "collector/storage/sqlite/Connection.h"

namespace pelto::collector {

inline constexpr Number items_per_block = 16;

/// The cells of a group and kind whose items' numbers, divided by `items_per_block`, are the same.
using Block = std::map<Number, SumCell>;

struct BlockKey {
  Group group;
  Kind kind = Kind::report;
  Number block = 0;

  // The check takes the zero in the operator's own code for a pointer.
  auto operator<=>(const BlockKey&) const = default;  // NOLINT(modernize-use-nullptr)
};

std::map<BlockKey, Block> make_blocks(CellBuilder::Cells&& cells);

/// A cell in the bytes of a block, which it refers to.
class PackedCell {
 public:
  /// The cells of a block. Throws `StorageError` for bytes that are something else.
  static std::vector<PackedCell> read_all(std::string_view bytes);

  Number item() const { return item_; }
  SumCell read() const;

 private:
  Number item_ = 0;
  SumCell sums_;
  bool has_first_set_ = false;
  bool has_second_set_ = false;
  std::string_view installations_;
  std::string_view first_set_;
  std::string_view second_set_;
  std::string_view places_;
};

/// A row of the table `cell`: one segment of a block.
struct BlockRow {
  BlockKey key;
  std::int64_t segment = 0;
  /// The number of its row in `cell_content`.
  std::int64_t content = 0;
};

/// The rows of a product and kind in a range of periods, by block.
std::vector<BlockRow> read_block_rows(Connection& connection, std::int64_t product, Kind kind,
                                      Period from, Period to);
std::string read_block(Connection& connection, const BlockRow& row);
void append_block(Connection& connection, const BlockKey& key, std::int64_t segment,
                  const Block& block);

}  // namespace pelto::collector
