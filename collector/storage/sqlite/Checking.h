#pragma once

#include <string>
#include <vector>

#include "collector/storage/sqlite/Connection.h"

namespace pelto::collector {

/// Reads everything and compares what is derived with what it is derived from. Returns what is
/// wrong, a line each. Within a transaction. Throws `SQLite::Exception`, and `StorageError` for
/// what cannot be read at all.
std::vector<std::string> check_storage(Connection& connection);

}  // namespace pelto::collector
