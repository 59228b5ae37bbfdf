// A whole fleet: all its installations, in order of time, and the truth about them.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "collector/fleet/Installation.h"
#include "collector/fleet/SenderRequest.h"

namespace pelto::collector {

/// A delivery by its place in the simulation. Its content is made again when it is needed, so that
/// a long history needs little memory.
struct DeliveryReference {
  Time time{};
  std::int64_t installation = 0;
  std::int32_t index = 0;
  /// Whether the installation's next report replaces it.
  bool is_replaced = false;
};

struct Fleet {
  /// By time; those of one installation in the order of its deliveries.
  std::vector<DeliveryReference> deliveries;
  /// What the figures must be (see `Oracle::answers`), with the options that led to them.
  nlohmann::ordered_json truth;
};

/// Simulates all installations. With `now`, the truth is that of a collector that gets all
/// deliveries as requests now, else that of an import. Throws `std::invalid_argument` for options
/// that make no history.
Fleet simulate_fleet(const FleetOptions& options, std::optional<Time> now);

/// The forms of an import's line.
enum class LineForm {
  /// With the report's text as the sender writes it.
  text,
  /// With the counts, as an export writes it.
  parsed,
};

/// Writes a line for each delivery. The caller checks the stream.
void write_history(const FleetOptions& options, const std::vector<DeliveryReference>& deliveries,
                   LineForm form, std::ostream& out);

/// A request to send.
struct PreparedRequest {
  std::int64_t installation = 0;
  std::string bytes;
};

/// The request of each delivery, in the machine's code page.
std::vector<PreparedRequest> prepare_requests(const FleetOptions& options,
                                              const std::vector<DeliveryReference>& deliveries,
                                              const CollectorAddress& address);

}  // namespace pelto::collector
