#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "collector/storage/Storage.h"
#include "collector/storage/sqlite/Connection.h"
#include "collector/storage/sqlite/Names.h"

namespace pelto::collector {

/// The next deliveries, by time, identifier and product, of one installation or all; none at the
/// end. Moves `place` on. An export is read in parts, so that it does not keep the write-ahead log
/// from being emptied. Within a transaction.
std::vector<KeptDelivery> export_part(Connection& connection, Names& names,
                                      std::int64_t installation, ExportPlace& place);

}  // namespace pelto::collector
