// Moves what was committed from the write-ahead log into the file, beside the writer: the writer
// would have to wait for the disk meanwhile.
#pragma once

#include <condition_variable>
#include <mutex>
#include <thread>

#include "collector/storage/sqlite/Connection.h"

namespace pelto::collector {

class Checkpointer {
 public:
  /// `writer` is the connection whose commits are moved. Throws `StorageError`.
  Checkpointer(const std::filesystem::path& path, Connection& writer);
  ~Checkpointer();
  Checkpointer(const Checkpointer&) = delete;
  Checkpointer& operator=(const Checkpointer&) = delete;

  /// Called by the writer between its transactions.
  void keep_log_small();

 private:
  void work();

  Connection& writer_;
  Connection connection_;
  int log_pages_ = 0;
  std::mutex mutex_;
  std::condition_variable changed_;
  bool is_due_ = false;
  bool is_stopping_ = false;
  std::thread thread_;
};

}  // namespace pelto::collector
