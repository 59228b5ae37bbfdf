#include "collector/intake/Form.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <utility>

#include "collector/intake/HeaderValue.h"

namespace pelto::collector {

namespace {

constexpr std::string_view line_end = "\r\n";
constexpr std::string_view whitespace = " \t";

/// RFC 2046, 5.1.1.
bool is_boundary(std::string_view text) {
  constexpr std::string_view others = "'()+_,-./:=? ";
  constexpr std::size_t longest = 70;
  return !text.empty() && text.size() <= longest && !text.ends_with(' ') &&
         std::ranges::all_of(text, [others](char c) {
           return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
                  others.find(c) != std::string_view::npos;
         });
}

std::optional<std::string> read_boundary(std::string_view content_type) {
  const std::optional<HeaderValue> type = read_header_value(content_type);
  if (!type || type->word != "multipart/form-data") return std::nullopt;
  std::optional<std::string> boundary = type->parameter("boundary");
  if (!boundary || !is_boundary(*boundary)) return std::nullopt;
  return boundary;
}

/// A line that separates the parts, or ends the last.
struct Delimiter {
  /// Where it begins, with the line end before it.
  std::size_t start = 0;
  /// Where the next line begins.
  std::size_t end = 0;
  bool is_last = false;
};

class DelimiterSearch {
 public:
  DelimiterSearch(std::string_view body, const std::string& boundary)
      : body_(body), mark_("\r\n--" + boundary) {}

  /// The delimiter that the body begins with, or else the first after a line end.
  std::optional<Delimiter> find_first() const {
    const std::size_t length = mark_.size() - line_end.size();
    if (body_.starts_with(std::string_view(mark_).substr(line_end.size()))) {
      if (const auto delimiter = complete(0, length)) return delimiter;
    }
    return find(0);
  }

  /// The first delimiter whose line end is at `from` or after it.
  std::optional<Delimiter> find(std::size_t from) const {
    for (std::size_t start = body_.find(mark_, from); start != std::string_view::npos;
         start = body_.find(mark_, start + 1)) {
      if (const auto delimiter = complete(start, start + mark_.size())) return delimiter;
    }
    return std::nullopt;
  }

 private:
  /// The delimiter whose boundary ends at `at`; none when more follows in its line.
  std::optional<Delimiter> complete(std::size_t start, std::size_t at) const {
    const bool is_last = body_.substr(at).starts_with("--");
    if (is_last) at += 2;
    at = std::min(body_.find_first_not_of(whitespace, at), body_.size());
    if (is_last && at == body_.size()) return Delimiter{start, at, true};
    if (!body_.substr(at).starts_with(line_end)) return std::nullopt;
    return Delimiter{start, at + line_end.size(), is_last};
  }

  std::string_view body_;
  std::string mark_;
};

/// Reads a part's headers, without the empty line that ends them. None when one is malformed or the
/// part is no field of a form.
std::optional<std::string> read_field_name(std::string_view headers) {
  std::optional<HeaderValue> disposition;
  while (!headers.empty()) {
    // A header goes on in a line that begins with whitespace.
    std::size_t end = headers.find(line_end);
    while (end != std::string_view::npos && end + line_end.size() < headers.size() &&
           whitespace.find(headers[end + line_end.size()]) != std::string_view::npos) {
      end = headers.find(line_end, end + line_end.size());
    }
    std::string header(headers.substr(0, end));
    headers.remove_prefix(std::min(header.size() + line_end.size(), headers.size()));
    std::ranges::replace_if(
        header, [](char c) { return c == '\r' || c == '\n'; }, ' ');

    const std::size_t colon = header.find(':');
    if (colon == std::string::npos) return std::nullopt;
    if (to_small_letters(std::string_view(header).substr(0, colon)) != "content-disposition") {
      continue;
    }
    if (disposition) return std::nullopt;
    disposition = read_header_value(std::string_view(header).substr(colon + 1));
    if (!disposition) return std::nullopt;
  }
  if (!disposition || disposition->word != "form-data") return std::nullopt;
  return disposition->parameter("name");
}

}  // namespace

std::variant<std::vector<FormField>, Refusal> read_form(std::string_view content_type,
                                                        std::string_view body) {
  const std::optional<std::string> boundary = read_boundary(content_type);
  if (!boundary) return Refusal::not_multipart;

  const DelimiterSearch delimiters(body, *boundary);
  std::vector<FormField> fields;
  std::optional<Delimiter> delimiter = delimiters.find_first();
  while (delimiter && !delimiter->is_last) {
    if (fields.size() == most_parts) return Refusal::not_multipart;
    const std::size_t start = delimiter->end;
    const std::string_view head = body.substr(start, largest_part_header + 2 * line_end.size());
    const std::size_t length = head.find("\r\n\r\n");
    if (length == std::string_view::npos) return Refusal::not_multipart;
    std::optional<std::string> name = read_field_name(head.substr(0, length));
    if (!name) return Refusal::not_multipart;

    // The line end of the empty line can be that of the next delimiter.
    const std::size_t empty_line = start + length + line_end.size();
    delimiter = delimiters.find(empty_line);
    if (!delimiter) break;
    const std::size_t value = empty_line + line_end.size();
    fields.push_back({*std::move(name), delimiter->start < value
                                            ? std::string_view()
                                            : body.substr(value, delimiter->start - value)});
  }
  if (!delimiter) return Refusal::not_multipart;
  return fields;
}

}  // namespace pelto::collector
