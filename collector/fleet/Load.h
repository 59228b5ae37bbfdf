#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "collector/fleet/Fleet.h"
#include "collector/fleet/SenderRequest.h"

namespace pelto::collector {

struct LoadOptions {
  CollectorAddress address;
  /// How many requests are open at once. Those of one installation are sent one after the other.
  int connections = 32;
  /// Requests a second; 0: as fast as possible.
  double rate = 0;
  /// How long a request that gets no answer, or 429 or 503, is tried again, with the same Id.
  std::chrono::seconds patience{60};
};

struct LoadSummary {
  std::int64_t confirmed = 0;
  /// Requests that got no confirmation in the end.
  std::int64_t failed = 0;
  /// Attempts that were not the first.
  std::int64_t retries = 0;
  double seconds = 0;
  /// Of all requests, once each, header included.
  std::int64_t bytes = 0;
  /// Of each confirmed request, from its due time (without a rate: its start) to its answer, in
  /// ascending order.
  std::vector<std::chrono::microseconds> latencies;
};

/// Sends all requests, each on a connection of its own. Throws `std::runtime_error` if the address
/// cannot be resolved.
LoadSummary send_requests(const std::vector<PreparedRequest>& requests, const LoadOptions& options);

/// The summary as a line of JSON.
std::string format_summary(const LoadSummary& summary);

}  // namespace pelto::collector
