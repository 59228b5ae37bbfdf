#include "collector/http/LogWriter.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <utility>

#include "collector/http/RequestLine.h"

namespace pelto::collector {

namespace {

enum class WriteResult { done, blocked, failed };

/// Writes the whole lines at the beginning of `text` that a pipe takes at once, and removes them.
/// Waits up to `wait` for the other end to read.
WriteResult write_some(int descriptor, std::string& text, std::chrono::milliseconds wait) {
  pollfd state{descriptor, POLLOUT, 0};
  if (poll(&state, 1, static_cast<int>(wait.count())) <= 0) return WriteResult::blocked;
  // A pipe that is writable takes this much without blocking.
  std::size_t size = std::min<std::size_t>(text.size(), PIPE_BUF);
  if (const std::size_t end = text.rfind('\n', size - 1); end != std::string::npos) size = end + 1;
  const ssize_t written = write(descriptor, text.data(), size);
  if (written < 0) {
    return errno == EAGAIN || errno == EINTR ? WriteResult::blocked : WriteResult::failed;
  }
  text.erase(0, static_cast<std::size_t>(written));
  return WriteResult::done;
}

std::string lost_line(std::uint64_t lost) {
  return "lost_lines=" + std::to_string(lost) + "\n";
}

}  // namespace

LogWriter::LogWriter(int descriptor) : descriptor_(descriptor), thread_([this] { run(); }) {}

LogWriter::~LogWriter() {
  {
    const std::lock_guard lock(mutex_);
    is_stopping_ = true;
  }
  changed_.notify_one();
  thread_.join();
}

void LogWriter::write(std::string_view line) {
  bool is_first = false;
  {
    const std::lock_guard lock(mutex_);
    if (pending_.size() + line.size() > most_bytes) {
      ++lost_;
      return;
    }
    is_first = pending_.empty();
    pending_.append(line).append("\n");
  }
  if (is_first) changed_.notify_one();
}

void LogWriter::message(std::string_view text) {
  const auto now = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
  write("time=" + format_time(now) + format_pair("message", text));
}

void LogWriter::run() {
  constexpr std::chrono::milliseconds patience{100};
  // Many lines of a busy server go out together.
  constexpr std::chrono::milliseconds gathering{20};
  std::string batch;
  std::unique_lock lock(mutex_);
  while (true) {
    changed_.wait(lock, [&] { return is_stopping_ || !batch.empty() || !pending_.empty(); });
    if (batch.empty()) {
      changed_.wait_for(lock, gathering, [this] { return is_stopping_; });
      batch.swap(pending_);
      if (lost_ > 0) batch += lost_line(std::exchange(lost_, 0));
    }
    if (batch.empty()) return;
    const bool was_stopping = is_stopping_;
    lock.unlock();
    const WriteResult result = write_some(descriptor_, batch, patience);
    if (result == WriteResult::failed) batch.clear();
    lock.lock();
    if (result == WriteResult::blocked && was_stopping) return;
  }
}

}  // namespace pelto::collector
