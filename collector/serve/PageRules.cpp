#include "collector/serve/PageRules.h"

#include <algorithm>
#include <optional>

#include "collector/http/Address.h"
#include "collector/http/Text.h"

namespace pelto::collector {

namespace {

std::string_view trim(std::string_view text) {
  constexpr std::string_view whitespace = " \t";
  const std::size_t first = text.find_first_not_of(whitespace);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(whitespace) - first + 1);
}

/// Removes the text before the next separator from `rest`, and returns it.
std::string_view take_item(std::string_view& rest, char separator) {
  const std::size_t end = std::min(rest.find(separator), rest.size());
  const std::string_view item = rest.substr(0, end);
  rest.remove_prefix(std::min(end + 1, rest.size()));
  return trim(item);
}

/// Whether a parameter like "q=0.5" is a weight of zero.
bool is_zero_weight(std::string_view parameter) {
  const std::size_t equals = std::min(parameter.find('='), parameter.size());
  if (!equals_ignoring_case(trim(parameter.substr(0, equals)), "q")) return false;
  const std::string_view weight = trim(parameter.substr(std::min(equals + 1, parameter.size())));
  return weight.find_first_not_of("0.") == std::string_view::npos;
}

/// Whether the lists give `name` a weight above zero; none if they do not name it.
std::optional<bool> find_weight(const std::vector<std::string_view>& lists, std::string_view name) {
  for (std::string_view list : lists) {
    while (!list.empty()) {
      std::string_view item = take_item(list, ',');
      if (!equals_ignoring_case(take_item(item, ';'), name)) continue;
      while (!item.empty()) {
        if (is_zero_weight(take_item(item, ';'))) return false;
      }
      return true;
    }
  }
  return std::nullopt;
}

bool is_loopback_host(std::string_view field) {
  const auto host = without_port(field);
  if (!host) return false;
  const auto address = parse_ip_address(*host);
  return address ? is_loopback(*address) : equals_ignoring_case(*host, "localhost");
}

/// "example.org:8481" of "https://example.org:8481"; empty for an origin without one.
std::string_view authority_of(std::string_view origin) {
  for (const std::string_view scheme : {"http://", "https://"}) {
    if (origin.starts_with(scheme)) return origin.substr(scheme.size());
  }
  return {};
}

}  // namespace

bool is_same_origin(const std::vector<std::string_view>& fetch_sites,
                    const std::vector<std::string_view>& origins,
                    const std::vector<std::string_view>& hosts) {
  if (!fetch_sites.empty()) return fetch_sites.size() == 1 && fetch_sites.front() == "same-origin";
  if (origins.size() != 1 || hosts.size() != 1) return false;
  const std::string_view authority = authority_of(origins.front());
  return !authority.empty() && equals_ignoring_case(authority, hosts.front());
}

bool is_no_other_origin(const Request& request) {
  const auto fetch_sites = request.values("Sec-Fetch-Site");
  const auto origins = request.values("Origin");
  const bool is_of_browser = !fetch_sites.empty() || !origins.empty();
  return !is_of_browser || is_same_origin(fetch_sites, origins, request.values("Host"));
}

bool is_local(const Request& request) {
  for (const char* const name : {"X-Forwarded-For", "Forwarded", "X-Real-IP", "Via"}) {
    if (!request.values(name).empty()) return false;
  }
  const auto hosts = request.values("Host");
  return is_loopback(request.peer) && hosts.size() == 1 && is_loopback_host(hosts.front());
}

bool accepts_gzip(const std::vector<std::string_view>& encodings) {
  const auto by_name = find_weight(encodings, "gzip");
  return by_name ? *by_name : find_weight(encodings, "*").value_or(false);
}

bool asks_for_html(const std::vector<std::string_view>& accepts) {
  return find_weight(accepts, "text/html").value_or(false);
}

const std::string_view security_fields =
    "Content-Security-Policy: default-src 'none'; script-src 'self'; style-src 'self'; "
    "img-src 'self' data:; font-src 'self'; connect-src 'self'; form-action 'self'; "
    "base-uri 'none'; frame-ancestors 'none'\r\n"
    "X-Content-Type-Options: nosniff\r\n"
    "Referrer-Policy: no-referrer\r\n"
    "Cross-Origin-Opener-Policy: same-origin\r\n"
    "Cross-Origin-Resource-Policy: same-origin\r\n"
    "Permissions-Policy: accelerometer=(), autoplay=(), camera=(), display-capture=(), "
    "encrypted-media=(), fullscreen=(), geolocation=(), gyroscope=(), magnetometer=(), "
    "microphone=(), midi=(), payment=(), picture-in-picture=(), publickey-credentials-get=(), "
    "screen-wake-lock=(), usb=(), web-share=(), xr-spatial-tracking=()\r\n";

}  // namespace pelto::collector
