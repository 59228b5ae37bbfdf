#pragma once

#include <boost/asio/awaitable.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/thread_pool.hpp>
#include <exception>
#include <functional>
#include <optional>
#include <type_traits>
#include <utility>

#include "collector/http/AwaitCallback.h"

namespace pelto::collector {

/// Runs `work` on a thread of the pool, and returns what it returns or throws what it throws.
template <typename Work>
boost::asio::awaitable<std::invoke_result_t<Work>> run_on(boost::asio::thread_pool& pool,
                                                          Work work) {
  std::optional<std::invoke_result_t<Work>> result;
  std::exception_ptr failure;
  co_await await_callback<bool>([&](std::function<void(bool)> done) {
    boost::asio::post(pool, [&, done = std::move(done)] {
      try {
        result.emplace(work());
      } catch (...) {
        failure = std::current_exception();
      }
      done(true);
    });
  });
  if (failure) std::rethrow_exception(failure);
  co_return std::move(*result);
}

}  // namespace pelto::collector
