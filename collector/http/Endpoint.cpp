#include "collector/http/Endpoint.h"

#include <charconv>

namespace pelto::collector {

std::optional<Endpoint> parse_endpoint(std::string_view text) {
  const std::size_t colon = text.rfind(':');
  if (colon == std::string_view::npos) return std::nullopt;
  std::string_view host = text.substr(0, colon);
  if (host.starts_with('[')) {
    if (!host.ends_with(']')) return std::nullopt;
    host = host.substr(1, host.size() - 2);
  } else if (host.find_first_of(":]") != std::string_view::npos) {
    return std::nullopt;
  }
  if (host.empty() || host.find_first_of("[ /") != std::string_view::npos) return std::nullopt;

  const std::string_view digits = text.substr(colon + 1);
  Endpoint endpoint{std::string(host), 0};
  const char* const end = digits.data() + digits.size();
  const auto [rest, error] = std::from_chars(digits.data(), end, endpoint.port);
  if (error != std::errc{} || rest != end) return std::nullopt;
  return endpoint;
}

std::string format_endpoint(const Endpoint& endpoint) {
  const bool is_ipv6 = endpoint.host.find(':') != std::string::npos;
  const std::string host = is_ipv6 ? "[" + endpoint.host + "]" : endpoint.host;
  return host + ":" + std::to_string(endpoint.port);
}

}  // namespace pelto::collector
