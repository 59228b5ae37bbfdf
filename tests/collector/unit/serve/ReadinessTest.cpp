#include "collector/serve/Readiness.h"

#include <gtest/gtest.h>

#include <atomic>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/thread_pool.hpp>
#include <latch>

#include "tests/collector/support/FakeStorage.h"

namespace pelto::collector {
namespace {

namespace asio = boost::asio;

/// The first verdict takes until the test lets it be given.
class TryingStorage : public test::FakeStorage {
 public:
  bool is_ready() noexcept override {
    if (++calls == 1) first_verdict.wait();
    return FakeStorage::is_ready();
  }

  std::atomic<int> calls = 0;
  std::latch first_verdict{1};
};

TEST(Readiness, ThoseWhoAskAtATimeGetOneVerdictAndLaterOnesAnother) {
  constexpr int count = 1000;
  TryingStorage storage;
  asio::thread_pool pool(2);
  asio::io_context network;
  Readiness readiness(storage, pool);
  int ready = 0;
  int not_ready = 0;
  const auto ask = [&]() -> asio::awaitable<void> {
    const bool is_ready = co_await readiness.ask();
    ++(is_ready ? ready : not_ready);
  };

  for (int i = 0; i < count; ++i) asio::co_spawn(network, ask(), asio::detached);
  network.poll();
  storage.first_verdict.count_down();
  network.run();
  EXPECT_EQ(ready, count);
  EXPECT_EQ(storage.calls, 1);

  storage.set_ready(false);
  network.restart();
  asio::co_spawn(network, ask(), asio::detached);
  network.run();
  EXPECT_EQ(not_ready, 1);
  EXPECT_EQ(storage.calls, 2);
  pool.join();
}

}  // namespace
}  // namespace pelto::collector
