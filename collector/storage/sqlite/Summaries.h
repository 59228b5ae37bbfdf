// What is kept, in a few words. Each function works within a transaction of the caller's, and
// throws `SQLite::Exception` and `StorageError`.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "collector/storage/Storage.h"
#include "collector/storage/sqlite/Connection.h"

namespace pelto::collector {

std::vector<ProductKeeping> read_keeping(Connection& connection);
std::vector<Contact> read_contacts(Connection& connection, const std::string& product);
/// Of the installation with this number; 0 has nothing.
InstallationKeeping read_keeping_of(Connection& connection, std::int64_t installation);

}  // namespace pelto::collector
