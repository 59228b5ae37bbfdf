#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace pelto::collector {

/// Lets any number of readers in, and keeps further ones out for a moment in which there is none.
/// For any thread.
class ReaderGate {
 public:
  class Reader {
   public:
    /// Waits while the gate is closed.
    explicit Reader(ReaderGate& gate);
    ~Reader();
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

   private:
    ReaderGate& gate_;
  };

  /// Closes the gate for its lifetime.
  class Closed {
   public:
    /// Waits for the readers that are in, until `limit`.
    Closed(ReaderGate& gate, std::chrono::steady_clock::time_point limit);
    ~Closed();
    Closed(const Closed&) = delete;
    Closed& operator=(const Closed&) = delete;

   private:
    ReaderGate& gate_;
  };

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  int readers_ = 0;
  int closed_ = 0;
};

}  // namespace pelto::collector
