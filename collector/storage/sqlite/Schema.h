#pragma once

#include <array>
#include <string>

#include <SQLiteCpp/Database.h>

namespace pelto::collector {

/// The version of the tables that this program works with, kept in the file as `user_version`.
inline constexpr int schema_version = 2;

/// Makes the tables in a new file and brings those of an older version up to date, in one
/// transaction. Throws `StorageError` for a file of a newer program, and `SQLite::Exception`.
void migrate(SQLite::Database& database);

/// The tables that hold texts by which a person could be found.
inline constexpr std::array text_tables{"installation", "contact", "adapter", "name"};

/// Writes one of these tables anew, so that no copy of a deleted text stays in its pages, in a
/// transaction, in which nothing else can be written. Of 200,000 installations it takes about
/// 0.3 s, of a million 1.7 s; from about 300,000 on, deliveries beside another process's erasure
/// can fail for a moment, and their senders try again. Throws `SQLite::Exception`.
void rewrite_table(SQLite::Database& database, const std::string& table);

}  // namespace pelto::collector
