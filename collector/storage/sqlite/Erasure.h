// Erasing installations, and what could be left of them in the file.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "collector/storage/Storage.h"
#include "collector/storage/sqlite/Connection.h"
#include "collector/storage/sqlite/Keeping.h"

namespace pelto::collector {

struct Erasure {
  ErasedCounts counts;
  /// The texts that are gone from the storage.
  std::vector<std::string> texts;

  void add(Erasure other);
};

/// Erases installations by number from every table and sum, in one transaction of its own. Throws
/// `SQLite::Exception` and `StorageError`.
Erasure erase_installations(Connection& connection, Keeper& keeper,
                            const std::vector<std::int64_t>& installations);

/// Whether an erasure was committed whose traces were not removed: that failed, or the process was
/// killed before.
bool has_traces(Connection& connection);

/// Removes what the files may still hold of deleted content: empties the write-ahead log, and
/// writes tables anew if a page has a copy of one of `texts` left. Outside of a transaction. Throws
/// `StorageError` if another process keeps the log in use for too long.
void remove_traces(Connection& connection, const std::filesystem::path& path,
                   const std::vector<std::string>& texts);

/// The same without the texts: writes all tables anew that could have a copy of one.
void remove_all_traces(Connection& connection, const std::filesystem::path& path);

}  // namespace pelto::collector
