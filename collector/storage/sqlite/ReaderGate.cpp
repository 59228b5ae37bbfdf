#include "collector/storage/sqlite/ReaderGate.h"

namespace pelto::collector {

ReaderGate::Reader::Reader(ReaderGate& gate) : gate_(gate) {
  std::unique_lock lock(gate_.mutex_);
  gate_.changed_.wait(lock, [this] { return gate_.closed_ == 0; });
  ++gate_.readers_;
}

ReaderGate::Reader::~Reader() {
  {
    const std::lock_guard lock(gate_.mutex_);
    --gate_.readers_;
  }
  gate_.changed_.notify_all();
}

ReaderGate::Closed::Closed(ReaderGate& gate, std::chrono::steady_clock::time_point limit)
    : gate_(gate) {
  std::unique_lock lock(gate_.mutex_);
  ++gate_.closed_;
  gate_.changed_.wait_until(lock, limit, [this] { return gate_.readers_ == 0; });
}

ReaderGate::Closed::~Closed() {
  {
    const std::lock_guard lock(gate_.mutex_);
    --gate_.closed_;
  }
  gate_.changed_.notify_all();
}

}  // namespace pelto::collector
