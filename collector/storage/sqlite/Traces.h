// What the file may still hold of erased texts, in unused parts of its pages.
//
// SQLite overwrites what is deleted. But it moves rows between pages and within them, and what was
// there before stays until something else needs the place. Pages that get free are overwritten as a
// whole, so a text can be left in the pages of its own table only.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "collector/storage/Storage.h"
#include "collector/storage/sqlite/Connection.h"

namespace pelto::collector {

/// A text that was erased from a table, one of `text_tables`.
struct ErasedText {
  std::string table;
  std::string text;
};

/// The texts that this process has erased and that may have left traces. For any thread.
class ErasedTexts {
 public:
  /// `erasure` is the number of the erasure's transaction.
  void add(std::int64_t erasure, std::vector<ErasedText> texts);
  /// The texts of the erasures after `first` up to `last`; none if one of these is not known:
  /// another process did it, or the texts were too many to keep.
  std::optional<std::vector<ErasedText>> find(std::int64_t first, std::int64_t last);
  /// Forgets those up to `last`.
  void forget(std::int64_t last);

 private:
  std::mutex mutex_;
  std::map<std::int64_t, std::vector<ErasedText>> erasures_;
  std::size_t count_ = 0;
};

/// Throws `StorageError` if `goes_on` returns false: the removal of traces ends there.
void go_on_removing(const GoesOn& goes_on);

/// The tables that have one of the texts in an unused part of a page, and those that have so many
/// that writing them anew takes less time than looking. Throws `StorageError`, also
/// when `goes_on` returns false before the end.
std::set<std::string> find_traces(Connection& connection, const std::vector<ErasedText>& texts,
                                  const GoesOn& goes_on);

}  // namespace pelto::collector
