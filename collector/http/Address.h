// Internet addresses, and the address from which a request came. No socket.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string_view>
#include <vector>

namespace pelto::collector {

/// An IPv6 address; an IPv4 address is mapped into it (RFC 4291, 2.5.5.2).
struct Address {
  std::array<std::uint8_t, 16> bytes{};

  auto operator<=>(const Address&) const = default;
};

/// The address of a text like "192.0.2.1" or "2001:db8::1"; none for any other form.
std::optional<Address> parse_ip_address(std::string_view text);

/// 127.0.0.0/8 and ::1.
bool is_loopback(const Address& address);

/// The host of "HOST", "HOST:PORT", "[IPV6-ADDRESS]" or "[IPV6-ADDRESS]:PORT"; an IPv6 address
/// without brackets is one, too. None if what follows the host is not a port. The host itself is
/// not checked.
std::optional<std::string_view> without_port(std::string_view text);

/// The address under which rates are counted: an IPv4 address as it is, of an IPv6 address the
/// first 56 bits. Providers give a single customer a network of that size; if its 256 networks of
/// 64 bits were counted each, one customer could ask 256 times as much as one with an IPv4 address.
Address rate_key(const Address& address);

/// The address of a client. `peer` is the other end of the connection, `forwarded_for` the values
/// of the request's X-Forwarded-For fields, in order; some proxies write a port after an address.
/// If the peer is a trusted proxy, it is the last address that is not a trusted proxy; the peer if
/// there is none, or if no address is in its place.
Address client_address(const Address& peer, const std::vector<std::string_view>& forwarded_for,
                       const std::vector<Address>& trusted_proxies);

}  // namespace pelto::collector

template <>
struct std::hash<pelto::collector::Address> {
  std::size_t operator()(const pelto::collector::Address& address) const noexcept;
};
