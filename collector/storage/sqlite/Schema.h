#pragma once

#include <SQLiteCpp/Database.h>

namespace pelto::collector {

/// The version of the tables that this program works with, kept in the file as `user_version`.
inline constexpr int schema_version = 1;

/// Makes the tables in a new file and brings those of an older version up to date, in one
/// transaction. Throws `StorageError` for a file of a newer program, and `SQLite::Exception`.
void migrate(SQLite::Database& database);

}  // namespace pelto::collector
