// The storage's file as SQLite opens it.
#pragma once

#include <chrono>
#include <filesystem>

#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Exception.h>

#include "collector/storage/Storage.h"

namespace pelto::collector {

/// How long an operation waits for another process's lock before it fails.
inline constexpr std::chrono::milliseconds longest_wait{5000};

/// How long the writer waits for it where deliveries wait, too. A process that writes without end,
/// as an import does, holds the lock for a shorter time.
inline constexpr std::chrono::milliseconds brief_wait{500};

/// How often it tries the lock meanwhile.
inline constexpr std::chrono::milliseconds lock_interval{2};

/// A connection to the storage's file at `path`: in WAL mode, each commit synced, deleted content
/// overwritten, the tables made or brought up to date. A new file is for its owner's eyes only.
/// Throws `StorageError`.
SQLite::Database open_database(const std::filesystem::path& path);

/// Limits how long the connection waits for another process's lock; to `longest_wait` at first.
enum class Wait { none, brief, longest };
void limit_wait(SQLite::Database& database, Wait wait);

/// `error`, which came from the file at `path`, with a line that says what to do.
StorageError storage_error(const std::filesystem::path& path, const SQLite::Exception& error);

}  // namespace pelto::collector
