#pragma once

#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "collector/intake/Refusal.h"

namespace pelto::collector {

/// The headers of one part may have this many bytes.
inline constexpr std::size_t largest_part_header = std::size_t{8} * 1024;
inline constexpr std::size_t most_parts = 100;

/// A part of a form.
struct FormField {
  std::string name;
  /// The bytes between the part's headers and the next delimiter, within the form's body.
  std::string_view value;
};

/// Reads the parts of a body of `multipart/form-data` (RFC 7578, RFC 2046), in their order.
/// `content_type` is the value of the request's header field. Lines end with CR LF. What comes
/// before the first delimiter and after the last is ignored, and so are headers of a part other
/// than Content-Disposition: a value is taken as it is. A line that begins as a delimiter and goes
/// on with anything but "--" and whitespace is data.
///
/// `not_multipart` for another media type, a boundary that is missing or not allowed, a missing
/// last delimiter, a part without the disposition "form-data" and a name, part headers that are
/// malformed or over `largest_part_header`, and for more than `most_parts`.
std::variant<std::vector<FormField>, Refusal> read_form(std::string_view content_type,
                                                        std::string_view body);

}  // namespace pelto::collector
