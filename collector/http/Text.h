// Small questions about the texts of a request.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace pelto::collector {

/// Whether two texts are the same but for the case of ASCII letters.
bool equals_ignoring_case(std::string_view left, std::string_view right);

/// The text with each "%41" replaced by its byte (RFC 3986); none if digits are missing.
std::optional<std::string> decode_percent(std::string_view text);

}  // namespace pelto::collector
