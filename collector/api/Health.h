#pragma once

#include <cstddef>
#include <string_view>

namespace pelto::collector {

/// How the server is at the moment in which it is asked.
struct Health {
  /// Of the intake listener.
  std::size_t connections = 0;
  /// Of bodies that are in memory.
  std::size_t bytes_in_flight = 0;
  /// Whether a delivery could be kept.
  bool is_ready = false;
  std::string_view version;
};

}  // namespace pelto::collector
