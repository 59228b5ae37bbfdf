#include "collector/serve/Readiness.h"

#include <boost/asio/post.hpp>
#include <utility>

#include "collector/http/AwaitCallback.h"

namespace pelto::collector {

namespace asio = boost::asio;

asio::awaitable<bool> Readiness::ask() {
  co_return co_await await_callback<bool>([this](std::function<void(bool)> done) {
    const std::lock_guard lock(mutex_);
    if (waiting_.empty()) asio::post(pool_, [this] { find_out(); });
    waiting_.push_back(std::move(done));
  });
}

void Readiness::find_out() {
  const bool is_ready = storage_.is_ready();
  std::vector<std::function<void(bool)>> waiting;
  {
    const std::lock_guard lock(mutex_);
    waiting.swap(waiting_);
  }
  for (const auto& done : waiting) done(is_ready);
}

}  // namespace pelto::collector
