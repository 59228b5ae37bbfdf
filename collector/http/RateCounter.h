#pragma once

#include <chrono>
#include <cstddef>
#include <unordered_map>

#include "collector/http/Address.h"

namespace pelto::collector {

/// What requests are counted for.
enum class RateUse {
  /// None may be lost: those of this machine itself are not counted, and when too many addresses
  /// are
  /// counted already, those of further ones are let through uncounted. Many addresses cannot lock
  /// others out.
  deliveries,
  /// None may go uncounted: when too many addresses are counted already, those of further ones are
  /// refused. Many addresses cannot be used to guess.
  secrets,
};

/// Counts requests by `rate_key`, each over a minute that begins with the address's first one. Not
/// safe for threads.
class RateCounter {
 public:
  using TimePoint = std::chrono::steady_clock::time_point;

  /// The most addresses that are counted at a time, so that many cannot take the memory.
  static constexpr std::size_t most_addresses = 65536;

  /// `limit` is the number of requests in a minute; 0: no limit.
  RateCounter(int limit, RateUse use) : limit_(limit), use_(use) {}

  /// Counts a request of an address. Returns whether it is within the limit. `now` never goes back.
  bool admit(const Address& address, TimePoint now);

  /// The number of addresses that are counted at present.
  std::size_t size() const { return windows_.size(); }

 private:
  struct Window {
    TimePoint start;
    int count = 0;
  };

  void forget_old(TimePoint now);

  int limit_;
  RateUse use_;
  std::unordered_map<Address, Window> windows_;
  TimePoint last_sweep_{};
};

}  // namespace pelto::collector
