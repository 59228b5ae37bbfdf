#include "collector/storage/sqlite/Checkpointer.h"

#include <sqlite3.h>

namespace pelto::collector {

namespace {

/// From this size on the log is moved.
constexpr int due_pages = 2000;
/// While commits go on, the log is never moved as a whole, and only then it begins anew. From this
/// size on (64 MiB) the writer moves the rest itself.
constexpr int too_many_pages = 16000;

int note_log_size(void* pages, sqlite3*, const char*, int now) {
  *static_cast<int*>(pages) = now;
  return SQLITE_OK;
}

/// A failure is not an error here: the log stays, and the next call tries again.
void move_log(Connection& connection) {
  sqlite3_wal_checkpoint_v2(connection.database().getHandle(), nullptr, SQLITE_CHECKPOINT_PASSIVE,
                            nullptr, nullptr);
}

}  // namespace

Checkpointer::Checkpointer(const std::filesystem::path& path, Connection& writer)
    : writer_(writer), connection_(path) {
  sqlite3_wal_hook(writer_.database().getHandle(), note_log_size, &log_pages_);
  thread_ = std::thread([this] { work(); });
}

Checkpointer::~Checkpointer() {
  {
    const std::lock_guard lock(mutex_);
    is_stopping_ = true;
  }
  changed_.notify_one();
  thread_.join();
  sqlite3_wal_hook(writer_.database().getHandle(), nullptr, nullptr);
}

void Checkpointer::keep_log_small() {
  if (log_pages_ < due_pages) return;
  if (log_pages_ >= too_many_pages) {
    move_log(writer_);
  } else {
    const std::lock_guard lock(mutex_);
    is_due_ = true;
  }
  changed_.notify_one();
  log_pages_ = 0;
}

void Checkpointer::work() {
  std::unique_lock lock(mutex_);
  for (;;) {
    changed_.wait(lock, [this] { return is_due_ || is_stopping_; });
    if (is_stopping_) return;
    is_due_ = false;
    lock.unlock();
    move_log(connection_);
    lock.lock();
  }
}

}  // namespace pelto::collector
