#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

namespace pelto::collector {

/// Writes lines to a file descriptor, from a thread of its own, so that no caller waits: while the
/// other end does not read, lines are kept up to a limit, and further ones are lost and counted.
class LogWriter {
 public:
  static constexpr std::size_t most_bytes = std::size_t{1} * 1024 * 1024;

  /// `descriptor` must stay open.
  explicit LogWriter(int descriptor);
  /// Writes what the other end takes at once. The rest is lost.
  ~LogWriter();
  LogWriter(const LogWriter&) = delete;
  LogWriter& operator=(const LogWriter&) = delete;

  /// Can be called from any thread. `line` has no line end.
  void write(std::string_view line);
  /// The same for a message: the time and `text` as the value of "message".
  void message(std::string_view text);

 private:
  void run();

  int descriptor_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::string pending_;
  std::uint64_t lost_ = 0;
  bool is_stopping_ = false;
  std::thread thread_;
};

}  // namespace pelto::collector
