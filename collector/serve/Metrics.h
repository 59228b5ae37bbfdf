#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "collector/api/Health.h"
#include "collector/intake/Refusal.h"
#include "collector/storage/Storage.h"

namespace pelto::collector {

/// "accepted", "replaced", "repeated" or "failed".
std::string_view outcome_code(Outcome outcome);

/// Counts what the intake does since the start. Not safe for threads.
class Metrics {
 public:
  void count_delivery(Outcome outcome);
  void count_refusal(Refusal refusal);
  /// A connection to the intake listener that was refused because too many were open.
  void count_refused_connection() { ++refused_connections_; }
  /// A request to the intake listener, from its first byte to the end of its response.
  void count_request(std::chrono::microseconds duration);

  /// The metrics in Prometheus' text format 0.0.4.
  std::string format(const Health& health) const;

 private:
  static constexpr std::size_t outcome_count = static_cast<std::size_t>(Outcome::failed) + 1;
  static constexpr std::size_t refusal_count = static_cast<std::size_t>(Refusal::busy) + 1;
  static constexpr std::size_t bucket_count = 13;

  std::array<std::uint64_t, outcome_count> deliveries_{};
  std::array<std::uint64_t, refusal_count> refusals_{};
  std::uint64_t refused_connections_ = 0;
  /// By the first bucket that takes the duration; the last one takes all others.
  std::array<std::uint64_t, bucket_count + 1> requests_{};
  std::chrono::microseconds total_duration_{};
};

}  // namespace pelto::collector
