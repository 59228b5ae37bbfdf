#pragma once

#include <filesystem>

#include "collector/storage/sqlite/Connection.h"

namespace pelto::collector {

/// Writes a copy of the storage as of now to the new file `path`, for its owner's eyes only, and
/// syncs it. Throws `SQLite::Exception`, and `StorageError` if the file is there or cannot be made.
void back_up(Connection& connection, const std::filesystem::path& path);

}  // namespace pelto::collector
