#pragma once

#include <SQLiteCpp/Database.h>

namespace pelto::collector {

/// The version of the tables that this program works with, kept in the file as `user_version`.
inline constexpr int schema_version = 1;

/// Makes the tables in a new file and brings those of an older version up to date, in one
/// transaction. Throws `StorageError` for a file of a newer program, and `SQLite::Exception`.
void migrate(SQLite::Database& database);

/// Writes anew the tables that hold texts by which a person could be found, in one transaction, so
/// that no copy of a deleted text stays in a page. `with_reports`: the raw reports, too.
void rewrite_texts(SQLite::Database& database, bool with_reports);

}  // namespace pelto::collector
