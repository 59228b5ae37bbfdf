#pragma once

#include <chrono>
#include <optional>

namespace pelto::collector {

/// What the operator chose to keep, and for how long.
struct KeepingPolicy {
  /// Raw reports are kept this long.
  std::chrono::days retention{400};
  /// Installations that have been silent for this long are erased; none: they are kept.
  std::optional<std::chrono::days> forget_silent{};
  bool keeps_email = true;
  /// Whether the network adapter's address is kept, as a keyed hash.
  bool keeps_adapter = false;
};

}  // namespace pelto::collector
