// Where a request's body ends, decided strictly: a request that two readers could end at different
// places can smuggle a second one past a proxy.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace pelto::collector {

struct Framing {
  /// The body's end is not certain. Nothing else of the connection can be read.
  bool is_broken = false;
  bool is_chunked = false;
  std::optional<std::uint64_t> length;

  bool has_body() const { return is_chunked || length.value_or(0) > 0; }
  bool operator==(const Framing&) const = default;
};

/// Decides by the values of all fields Content-Length and Transfer-Encoding of a request (RFC 9112,
/// 6.3), but takes less than that allows: one length in digits, or the one encoding "chunked", and
/// that from HTTP/1.1 on only.
Framing find_framing(const std::vector<std::string_view>& content_lengths,
                     const std::vector<std::string_view>& transfer_encodings, bool is_http_1_1);

/// Whether a header has a field that goes on in a further line. Readers differ in what they make of
/// such a line (RFC 9112, 5.2).
bool has_folded_line(std::string_view header);

}  // namespace pelto::collector
