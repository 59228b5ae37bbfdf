#pragma once

#include <cstddef>
#include <string>

namespace pelto::collector {

struct IntakeOptions {
  /// The code page of reports that do not tell theirs; one that `is_code_page`.
  int code_page = 1252;
  /// Parts other than the report's may have this many bytes.
  std::size_t largest_part = std::size_t{64} * 1024;
  /// The key of the hash of network adapters' addresses, 16 to 64 bytes; empty: they are not kept.
  std::string adapter_key;
};

}  // namespace pelto::collector
