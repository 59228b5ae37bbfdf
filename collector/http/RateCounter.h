#pragma once

#include <chrono>
#include <cstddef>
#include <unordered_map>

#include "collector/http/Address.h"

namespace pelto::collector {

/// Whether requests of this machine itself are counted.
enum class LoopbackRate { exempt, limited };

/// Counts deliveries by address, each over a minute that begins with the address's first one. Not
/// safe for threads.
class RateCounter {
 public:
  using TimePoint = std::chrono::steady_clock::time_point;

  /// The most addresses that are counted at a time. Further ones are let through uncounted, so that
  /// many addresses can neither take the memory nor lock others out.
  static constexpr std::size_t most_addresses = 65536;

  /// `limit` is the number of deliveries in a minute; 0: no limit.
  explicit RateCounter(int limit, LoopbackRate loopback = LoopbackRate::exempt)
      : limit_(limit), loopback_(loopback) {}

  /// Counts a delivery of an address. Returns whether it is within the limit. `now` never goes
  /// back.
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
  LoopbackRate loopback_;
  std::unordered_map<Address, Window> windows_;
  TimePoint last_sweep_{};
};

}  // namespace pelto::collector
