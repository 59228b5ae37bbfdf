#pragma once

#include <boost/asio/awaitable.hpp>
#include <boost/asio/thread_pool.hpp>
#include <cstddef>
#include <optional>
#include <type_traits>
#include <utility>

#include "collector/http/RunOnPool.h"

namespace pelto::collector {

/// Threads of its own for what takes long and anybody can ask for. Whoever asks when too much is
/// open already is refused, and all else goes on.
class LimitedPool {
 public:
  /// `most_open` pieces of work can run or wait at a time.
  LimitedPool(std::size_t threads, std::size_t most_open) : pool_(threads), most_open_(most_open) {}
  LimitedPool(const LimitedPool&) = delete;
  LimitedPool& operator=(const LimitedPool&) = delete;

  /// Runs `work` on a thread of the pool, and returns what it returns or throws what it throws;
  /// none without a place for it. To be called on the network's thread.
  template <typename Work>
  boost::asio::awaitable<std::optional<std::invoke_result_t<Work>>> try_run(Work work) {
    if (open_ >= most_open_) co_return std::nullopt;
    const Place place(open_);
    co_return co_await run_on(pool_, std::move(work));
  }

  /// Waits for what runs and waits. Nothing may be run after that.
  void join() { pool_.join(); }

 private:
  /// Counts itself as long as it lives.
  class Place {
   public:
    explicit Place(std::size_t& count) : count_(count) { ++count_; }
    ~Place() { --count_; }
    Place(const Place&) = delete;
    Place& operator=(const Place&) = delete;

   private:
    std::size_t& count_;
  };

  boost::asio::thread_pool pool_;
  std::size_t most_open_;
  std::size_t open_ = 0;
};

}  // namespace pelto::collector
