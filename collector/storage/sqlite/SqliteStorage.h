#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include "collector/storage/Storage.h"

namespace pelto::collector {

struct SqliteOptions {
  /// Whether e-mail addresses are kept.
  bool keeps_email = true;
  /// After this many reports their sums are written. Fewer make writing slower, more make counting
  /// slower; the counts are the same.
  std::int64_t reports_per_fold = 2000;
  /// Erasing goes in transactions for which deliveries wait. Each takes about this time for the
  /// reports, and its time for the sums on top. With 0 each erases one report.
  std::chrono::milliseconds erasing_step{100};
  /// Called with a line that says what to do when something in the file turns out to be damaged,
  /// once, from any thread. Must not throw.
  std::function<void(const std::string&)> on_damage{};
};

/// The file's name in the data folder.
inline constexpr char sqlite_file_name[] = "reports.sqlite";

/// Opens the storage in the file `path`; makes it if it is missing and brings an older one up to
/// date. Throws `StorageError`.
std::unique_ptr<Storage> open_sqlite_storage(const std::filesystem::path& path,
                                             const SqliteOptions& options = {});

}  // namespace pelto::collector
