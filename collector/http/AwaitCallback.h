#pragma once

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/async_result.hpp>
#include <boost/asio/awaitable.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <functional>
#include <memory>
#include <utility>

namespace pelto::collector {

/// Calls `start` with a function, and returns the value with which that function is called. It is
/// to be called once, from any thread; the coroutine goes on on its own.
template <typename Value, typename Start>
boost::asio::awaitable<Value> await_callback(Start start) {
  namespace asio = boost::asio;
  const auto executor = co_await asio::this_coro::executor;
  auto initiate = [executor, &start](auto handler) {
    // A function that can be copied needs a handler that is shared.
    auto shared = std::make_shared<decltype(handler)>(std::move(handler));
    start(std::function<void(Value)>([executor, shared](Value value) {
      asio::post(executor, [shared, value] { std::move (*shared)(value); });
    }));
  };
  co_return co_await asio::async_initiate<const asio::use_awaitable_t<>, void(Value)>(
      initiate, asio::use_awaitable);
}

}  // namespace pelto::collector
