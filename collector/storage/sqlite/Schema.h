#pragma once

#include <SQLiteCpp/Database.h>

namespace pelto::collector {

/// The version of the tables that this program works with, kept in the file as `user_version`.
inline constexpr int schema_version = 2;

/// Makes the tables in a new file and brings those of an older version up to date, in one
/// transaction. Throws `StorageError` for a file of a newer program, and `SQLite::Exception`.
void migrate(SQLite::Database& database);

/// Writes anew the tables that hold texts by which a person could be found, so that no copy of a
/// deleted text stays in a page. `with_reports`: the raw reports, too. Each table takes a
/// transaction, in which nothing else can be written. Of 200,000 reports the largest takes about
/// 0.2 s without other work on the machine; from about a million on, deliveries beside another
/// process's erasure can fail for a moment, and their senders try again.
void rewrite_texts(SQLite::Database& database, bool with_reports);

}  // namespace pelto::collector
