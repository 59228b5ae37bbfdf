#pragma once

#include <cstdint>
#include <ostream>

#include "collector/commands/LineFile.h"
#include "collector/intake/IntakeOptions.h"
#include "collector/storage/Storage.h"

namespace pelto::collector {

struct ImportCounts {
  /// Kept deliveries, those included that replaced an earlier one.
  std::int64_t accepted = 0;
  std::int64_t replaced = 0;
  std::int64_t repeated = 0;
  /// Lines that could not be taken.
  std::int64_t refused = 0;
};

/// Keeps the deliveries in the lines of a file, in the order of their times. What lines cannot be
/// taken goes to `complaints`, as "line 3: bad-id"; those that a request could have been refused
/// for are counted as refusals. Lines of spaces are skipped. Memory does not grow with the number
/// of lines. Throws `StorageError` when a delivery could not be kept; those before it are.
ImportCounts import_lines(Storage& storage, const LineFile& file, const IntakeOptions& options,
                          std::ostream& complaints);

}  // namespace pelto::collector
