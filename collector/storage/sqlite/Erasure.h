// Erasing installations, and what could be left of them in the file.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "collector/storage/Storage.h"
#include "collector/storage/sqlite/Connection.h"
#include "collector/storage/sqlite/Keeping.h"

namespace pelto::collector {

/// What was erased in one transaction or in several.
struct Erasure {
  ErasedCounts counts;
  /// The texts that are gone from the storage.
  std::vector<std::string> texts;
  /// Whether another erasure was committed whose traces were not removed: that failed, its process
  /// was killed before, or it goes on.
  bool is_with_others = false;
  /// The number of erasures since traces were removed last: before these, and with them.
  std::int64_t mark_before = 0;
  std::int64_t mark = 0;

  void add(Erasure later);
};

/// Erases the installations whose numbers `find` returns from every table and sum, in one
/// transaction of its own, in which `find` is called. Throws `SQLite::Exception` and
/// `StorageError`.
Erasure erase_installations(Connection& connection, Keeper& keeper,
                            const std::function<std::vector<std::int64_t>()>& find);

/// Removes what the files may still hold of deleted content: empties the write-ahead log, and
/// writes tables anew if a page has a copy of a text left, or if another erasure's texts are not
/// known. `rewrite` does the latter, see `rewrite_texts`. Deliveries go on meanwhile: the
/// connection is not the writer's. Throws `StorageError` if another process keeps the log in use
/// for too long.
void remove_traces(Connection& connection, const std::filesystem::path& path,
                   const Erasure& erasure, const std::function<void(bool with_reports)>& rewrite);

}  // namespace pelto::collector
