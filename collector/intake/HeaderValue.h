#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace pelto::collector {

/// The value of a header field that is a word with parameters, as of Content-Type and
/// Content-Disposition: `form-data; name="Id"`.
struct HeaderValue {
  /// The word before the parameters, in small letters.
  std::string word;
  /// Names in small letters, and values without quotation marks and escapes.
  std::vector<std::pair<std::string, std::string>> parameters;

  /// The value of the parameter `name`, in small letters; none without one.
  std::optional<std::string> parameter(std::string_view name) const;
};

/// Reads such a value (RFC 2045, 5.1, and RFC 2183). A parameter's value may be quoted, with a
/// backslash before any character; a plain one ends at a semicolon or at whitespace and may have
/// characters that would need quotation marks. None for an empty word, a parameter without a name
/// or "=", a quotation mark that is missing, a parameter that comes twice, and for more than 16. A
/// semicolon may end the text.
std::optional<HeaderValue> read_header_value(std::string_view text);

/// `text` with the letters A to Z in small.
std::string to_small_letters(std::string_view text);

}  // namespace pelto::collector
