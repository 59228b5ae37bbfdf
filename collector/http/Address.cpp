#include "collector/http/Address.h"

#include <arpa/inet.h>

#include <algorithm>
#include <charconv>
#include <ranges>
#include <string>

namespace pelto::collector {

namespace {

constexpr std::array<std::uint8_t, 12> mapped_prefix{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff};

/// Of the part of an IPv6 address that all addresses of a customer have in common.
constexpr std::size_t customer_bytes = 56 / 8;

bool is_ipv4(const Address& address) {
  return std::equal(mapped_prefix.begin(), mapped_prefix.end(), address.bytes.begin());
}

std::string_view trim(std::string_view text) {
  constexpr std::string_view whitespace = " \t";
  const std::size_t first = text.find_first_not_of(whitespace);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(whitespace) - first + 1);
}

/// An address with or without a port.
std::optional<Address> parse_forwarded(std::string_view text) {
  const auto host = without_port(text);
  return host ? parse_ip_address(*host) : std::nullopt;
}

}  // namespace

std::optional<Address> parse_ip_address(std::string_view text) {
  const std::string terminated(text);
  // inet_pton would take the text up to the NUL.
  if (terminated.find('\0') != std::string::npos) return std::nullopt;
  Address address;
  if (inet_pton(AF_INET6, terminated.c_str(), address.bytes.data()) == 1) return address;
  std::copy(mapped_prefix.begin(), mapped_prefix.end(), address.bytes.begin());
  if (inet_pton(AF_INET, terminated.c_str(), &address.bytes[mapped_prefix.size()]) == 1) {
    return address;
  }
  return std::nullopt;
}

std::optional<std::string_view> without_port(std::string_view text) {
  std::size_t end = text.find(':');
  std::string_view host = text.substr(0, end);
  if (text.starts_with('[')) {
    end = text.find(']');
    if (end == std::string_view::npos) return std::nullopt;
    host = text.substr(1, end - 1);
    ++end;
  } else if (end != text.rfind(':')) {
    return text;
  }
  if (end >= text.size()) return host;
  std::uint16_t port = 0;
  const char* const last = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data() + end + 1, last, port);
  const bool is_port = text[end] == ':' && error == std::errc{} && rest == last;
  return is_port ? std::optional(host) : std::nullopt;
}

bool is_loopback(const Address& address) {
  if (is_ipv4(address)) return address.bytes[mapped_prefix.size()] == 127;
  Address loopback;
  loopback.bytes.back() = 1;
  return address == loopback;
}

Address rate_key(const Address& address) {
  if (is_ipv4(address)) return address;
  Address network;
  std::copy_n(address.bytes.begin(), customer_bytes, network.bytes.begin());
  return network;
}

Address client_address(const Address& peer, const std::vector<std::string_view>& forwarded_for,
                       const std::vector<Address>& trusted_proxies) {
  const auto is_trusted = [&](const Address& address) {
    return std::find(trusted_proxies.begin(), trusted_proxies.end(), address) !=
           trusted_proxies.end();
  };
  if (!is_trusted(peer)) return peer;
  // Each proxy appends the address of its own peer. What precedes the last address that no trusted
  // proxy vouches for can be made up.
  for (std::string_view rest : std::views::reverse(forwarded_for)) {
    while (true) {
      const std::size_t comma = rest.rfind(',');
      const bool is_first = comma == std::string_view::npos;
      const auto address = parse_forwarded(trim(is_first ? rest : rest.substr(comma + 1)));
      if (!address) return peer;
      if (!is_trusted(*address)) return *address;
      if (is_first) break;
      rest = rest.substr(0, comma);
    }
  }
  return peer;
}

}  // namespace pelto::collector

std::size_t std::hash<pelto::collector::Address>::operator()(
    const pelto::collector::Address& address) const noexcept {
  const std::string_view bytes(reinterpret_cast<const char*>(address.bytes.data()),
                               address.bytes.size());
  return std::hash<std::string_view>{}(bytes);
}
