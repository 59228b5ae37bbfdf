#include "collector/http/Framing.h"

#include <charconv>

#include "collector/http/Text.h"

namespace pelto::collector {

namespace {

std::optional<std::uint64_t> parse_length(std::string_view text) {
  std::uint64_t length = 0;
  const char* const end = text.data() + text.size();
  // Without digits, or with a sign, nothing of the text is taken.
  const auto [rest, error] = std::from_chars(text.data(), end, length);
  if (error != std::errc{} || rest != end) return std::nullopt;
  return length;
}

}  // namespace

Framing find_framing(const std::vector<std::string_view>& content_lengths,
                     const std::vector<std::string_view>& transfer_encodings, bool is_http_1_1) {
  Framing framing;
  if (content_lengths.size() + transfer_encodings.size() > 1) {
    framing.is_broken = true;
  } else if (!transfer_encodings.empty()) {
    framing.is_chunked = is_http_1_1 && equals_ignoring_case(transfer_encodings.front(), "chunked");
    framing.is_broken = !framing.is_chunked;
  } else if (!content_lengths.empty()) {
    framing.length = parse_length(content_lengths.front());
    framing.is_broken = !framing.length;
  }
  return framing;
}

bool has_folded_line(std::string_view header) {
  return header.find("\r\n ") != std::string_view::npos ||
         header.find("\r\n\t") != std::string_view::npos;
}

}  // namespace pelto::collector
