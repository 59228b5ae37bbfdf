#include "collector/storage/sqlite/Database.h"

#include <cerrno>
#include <cstring>
#include <string>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <sqlite3.h>
#include <unistd.h>

#include "collector/storage/sqlite/Schema.h"

namespace pelto::collector {

namespace {

/// Called by SQLite while another connection holds a lock. SQLite's own waits grow to 100 ms, in
/// which a busy server commits and locks again many times.
template <const std::chrono::milliseconds& limit>
int wait_for_lock(void*, int earlier_calls) {
  if (lock_interval * earlier_calls >= limit) return 0;
  std::this_thread::sleep_for(lock_interval);
  return 1;
}

/// SQLite would make the file readable for everybody. Its other files get this one's mode.
void make_file(const std::filesystem::path& path) {
  // An existing file is not opened: the end of any descriptor takes the locks of all connections
  // that this process has to the file, and another process would then remove their log.
  const int file = ::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  if (file >= 0) {
    ::close(file);
    return;
  }
  if (errno == EEXIST) return;
  throw StorageError("cannot open " + path.string() + ": " + std::strerror(errno) +
                     "; check that its folder exists and can be written");
}

/// The file may be switched to WAL by two processes at a time; SQLite then does not wait.
void switch_to_wal(SQLite::Database& database) {
  const auto limit = std::chrono::steady_clock::now() + longest_wait;
  while (database.tryExec("PRAGMA journal_mode = WAL") == SQLITE_BUSY &&
         std::chrono::steady_clock::now() < limit) {
    std::this_thread::sleep_for(lock_interval);
  }
  if (database.execAndGet("PRAGMA journal_mode").getString() != "wal") {
    throw StorageError("cannot write to " + database.getFilename() +
                       "; check the permissions of the file and its folder");
  }
}

const char* advice_for(int code) {
  switch (code) {
    case SQLITE_FULL:
      return "free some space on the disk";
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
      return "another process holds it for too long, try again";
    case SQLITE_READONLY:
    case SQLITE_CANTOPEN:
    case SQLITE_PERM:
      return "check the permissions of the file and its folder";
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
      return "restore a backup";
    default:
      return "check the disk";
  }
}

}  // namespace

SQLite::Database open_database(const std::filesystem::path& path) {
  make_file(path);
  try {
    SQLite::Database database(path, SQLite::OPEN_READWRITE);
    limit_wait(database, Wait::longest);
    switch_to_wal(database);
    // Temporary tables stay in memory, so that no file keeps what is erased.
    database.exec(
        "PRAGMA synchronous = FULL; PRAGMA secure_delete = ON; PRAGMA temp_store = MEMORY;"
        "PRAGMA cache_size = -4096; PRAGMA journal_size_limit = 0");
    migrate(database);
    return database;
  } catch (const SQLite::Exception& error) {
    throw storage_error(path, error);
  }
}

void limit_wait(SQLite::Database& database, Wait wait) {
  int (*handler)(void*, int) = nullptr;
  if (wait == Wait::brief) handler = wait_for_lock<brief_wait>;
  if (wait == Wait::longest) handler = wait_for_lock<longest_wait>;
  sqlite3_busy_handler(database.getHandle(), handler, nullptr);
}

StorageError storage_error(const std::filesystem::path& path, const SQLite::Exception& error) {
  StorageError translated(path.string() + ": " + error.getErrorStr() + "; " +
                          advice_for(error.getErrorCode()));
  return translated;
}

}  // namespace pelto::collector
