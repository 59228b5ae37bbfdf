#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace pelto::collector {

/// Where a listener listens.
struct Endpoint {
  /// A name or an address; an IPv6 address without brackets.
  std::string host;
  /// 0: the system picks a free one.
  std::uint16_t port = 0;

  bool operator==(const Endpoint&) const = default;
};

/// Reads "HOST:PORT"; an IPv6 address is in brackets, as in "[::1]:8480". None for any other form.
std::optional<Endpoint> parse_endpoint(std::string_view text);

/// "HOST:PORT", as `parse_endpoint` reads it.
std::string format_endpoint(const Endpoint& endpoint);

}  // namespace pelto::collector
