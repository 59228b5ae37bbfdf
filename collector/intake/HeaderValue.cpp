#include "collector/intake/HeaderValue.h"

#include <algorithm>
#include <cstddef>

namespace pelto::collector {

namespace {

constexpr std::string_view whitespace = " \t";
constexpr std::size_t most_parameters = 16;

/// A walk through the text of a header field's value.
class Cursor {
 public:
  explicit Cursor(std::string_view text) : rest_(text) {}

  bool is_at_end() const { return rest_.empty(); }

  void skip_space() {
    rest_.remove_prefix(std::min(rest_.find_first_not_of(whitespace), rest_.size()));
  }

  bool take(char expected) {
    if (!rest_.starts_with(expected)) return false;
    rest_.remove_prefix(1);
    return true;
  }

  std::string_view take_until(std::string_view ends) {
    const std::string_view taken = rest_.substr(0, rest_.find_first_of(ends));
    rest_.remove_prefix(taken.size());
    return taken;
  }

  /// The text up to the quotation mark that ends it; none without one.
  std::optional<std::string> take_quoted() {
    std::string text;
    for (std::size_t at = 0; at < rest_.size(); ++at) {
      if (rest_[at] == '"') {
        rest_.remove_prefix(at + 1);
        return text;
      }
      if (rest_[at] == '\\' && ++at == rest_.size()) break;
      text += rest_[at];
    }
    return std::nullopt;
  }

 private:
  std::string_view rest_;
};

std::optional<std::pair<std::string, std::string>> read_parameter(Cursor& cursor) {
  std::string name = to_small_letters(cursor.take_until("= \t;\""));
  cursor.skip_space();
  if (name.empty() || !cursor.take('=')) return std::nullopt;
  cursor.skip_space();
  if (!cursor.take('"')) {
    return std::pair{std::move(name), std::string(cursor.take_until("; \t\""))};
  }
  std::optional<std::string> value = cursor.take_quoted();
  if (!value) return std::nullopt;
  return std::pair{std::move(name), *std::move(value)};
}

}  // namespace

std::optional<std::string> HeaderValue::parameter(std::string_view name) const {
  const auto found =
      std::ranges::find(parameters, name, &std::pair<std::string, std::string>::first);
  if (found == parameters.end()) return std::nullopt;
  return found->second;
}

std::optional<HeaderValue> read_header_value(std::string_view text) {
  Cursor cursor(text);
  cursor.skip_space();
  HeaderValue value;
  value.word = to_small_letters(cursor.take_until("; \t"));
  if (value.word.empty()) return std::nullopt;
  for (cursor.skip_space(); !cursor.is_at_end(); cursor.skip_space()) {
    if (!cursor.take(';')) return std::nullopt;
    cursor.skip_space();
    if (cursor.is_at_end()) break;
    std::optional<std::pair<std::string, std::string>> parameter = read_parameter(cursor);
    if (!parameter || value.parameter(parameter->first)) return std::nullopt;
    // Each is compared with all before it.
    if (value.parameters.size() == most_parameters) return std::nullopt;
    value.parameters.push_back(*std::move(parameter));
  }
  return value;
}

std::string to_small_letters(std::string_view text) {
  std::string small(text);
  for (char& c : small) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return small;
}

}  // namespace pelto::collector
