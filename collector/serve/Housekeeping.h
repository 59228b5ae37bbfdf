#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <thread>

#include "collector/http/LogWriter.h"
#include "collector/storage/Storage.h"

namespace pelto::collector {

struct HousekeepingOptions {
  /// Raw reports are kept this long.
  std::chrono::days retention{400};
  /// Installations that have been silent for this long are erased; none: they are kept.
  std::optional<std::chrono::days> forget_silent;
  /// Between two rounds; the first one is at the start.
  std::chrono::milliseconds interval = std::chrono::hours(1);
};

/// Removes what is kept no longer, on a thread of its own, and what erasures of any process have
/// left in unused parts of the files. A failure goes to the log, and the next round tries again.
class Housekeeping {
 public:
  /// `storage` and `log` must outlive it.
  Housekeeping(const HousekeepingOptions& options, Storage& storage, LogWriter& log);
  /// Waits for the step that is under way; the next start goes on with the round.
  ~Housekeeping();
  Housekeeping(const Housekeeping&) = delete;
  Housekeeping& operator=(const Housekeeping&) = delete;

 private:
  void run();
  void clean_up();
  bool goes_on();

  HousekeepingOptions options_;
  Storage& storage_;
  LogWriter& log_;
  std::mutex mutex_;
  std::condition_variable changed_;
  bool is_stopping_ = false;
  std::thread thread_;
};

}  // namespace pelto::collector
