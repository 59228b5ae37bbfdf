#pragma once

#include <optional>
#include <string>
#include <string_view>

/// The parts of a collection server's address.
struct UploadAddress {
  std::wstring protocol;
  std::wstring host;
  /// As read from the address; the connection uses its low 16 bits (docs/compatibility.md, 43).
  long port = 0;
  /// From the slash after the host on, query included, or empty.
  std::wstring path;

  bool operator==(const UploadAddress&) const = default;
};

/// Splits `address`; its parts are not validated. Returns none unless protocol and host are shorter
/// than 512 characters and the path is shorter than 1,024.
///
/// The protocol is "http" unless a slash follows the first colon. Without a port in the address the
/// port is 443 for the protocol "https" (case-sensitive), else 80.
std::optional<UploadAddress> SplitAddress(std::wstring_view address);
