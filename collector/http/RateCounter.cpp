#include "collector/http/RateCounter.h"

namespace pelto::collector {

namespace {

constexpr std::chrono::minutes window_length{1};

}  // namespace

bool RateCounter::admit(const Address& address, TimePoint now) {
  const bool is_exempt = use_ == RateUse::deliveries && is_loopback(address);
  if (limit_ == 0 || is_exempt) return true;
  forget_old(now);
  const Address key = rate_key(address);
  auto entry = windows_.find(key);
  if (entry == windows_.end()) {
    if (windows_.size() >= most_addresses) return use_ == RateUse::deliveries;
    entry = windows_.emplace(key, Window{now}).first;
  }
  Window& window = entry->second;
  if (now - window.start >= window_length) window = Window{now};
  if (window.count >= limit_) return false;
  ++window.count;
  return true;
}

void RateCounter::forget_old(TimePoint now) {
  if (now - last_sweep_ < window_length) return;
  last_sweep_ = now;
  std::erase_if(windows_,
                [now](const auto& entry) { return now - entry.second.start >= window_length; });
}

}  // namespace pelto::collector
