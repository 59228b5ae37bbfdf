#pragma once

#include <boost/asio/awaitable.hpp>
#include <boost/asio/thread_pool.hpp>
#include <functional>
#include <mutex>
#include <vector>

#include "collector/storage/Storage.h"

namespace pelto::collector {

/// Whether a delivery could be kept now, as the storage says on the pool: it may have to try. Those
/// who ask while it does get the same verdict, so that however many ask, the pool is free for
/// deliveries.
class Readiness {
 public:
  /// All references must outlive this; the pool has ended before.
  Readiness(Storage& storage, boost::asio::thread_pool& pool) : storage_(storage), pool_(pool) {}
  Readiness(const Readiness&) = delete;
  Readiness& operator=(const Readiness&) = delete;

  boost::asio::awaitable<bool> ask();

 private:
  void find_out();

  Storage& storage_;
  boost::asio::thread_pool& pool_;
  std::mutex mutex_;
  /// Not empty while the storage is asked.
  std::vector<std::function<void(bool)>> waiting_;
};

}  // namespace pelto::collector
