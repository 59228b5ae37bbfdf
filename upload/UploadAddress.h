#pragma once

#include <optional>
#include <string>
#include <string_view>

/// The parts of a collection server's address.
struct UploadAddress {
  std::wstring protocol;
  std::wstring host;
  /// As the address gives it; what does not fit a port's 16 bits is cut by its user.
  long port = 0;
  /// From the slash behind the host on, query included, or empty.
  std::wstring path;

  bool operator==(const UploadAddress&) const = default;
};

/// Splits `address`, which is not validated otherwise. Protocol and host must be shorter than 512
/// characters and the path shorter than 1,024; none when they are not.
///
/// Without "://" behind the first colon the protocol is "http". Without a port it is 443 when the
/// protocol is "https" to the letter, else 80.
std::optional<UploadAddress> SplitAddress(std::wstring_view address);
