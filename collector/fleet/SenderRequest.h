#pragma once

#include <string>
#include <string_view>

namespace pelto::collector {

/// Where requests go, from an address "http://HOST[:PORT][/PATH]".
struct CollectorAddress {
  std::string host;
  std::string port;
  /// With the query.
  std::string path;
};

/// Throws `std::invalid_argument` for an address of another form; TLS is not supported.
CollectorAddress parse_collector_address(std::string_view address);

/// The bytes of a sender's whole request (see docs/server.md). `report` is the report's text in the
/// code page of its machine.
std::string format_request(const CollectorAddress& address, const std::string& id,
                           std::string report);

}  // namespace pelto::collector
