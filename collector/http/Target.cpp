#include "collector/http/Target.h"

#include <algorithm>

#include "collector/http/Text.h"

namespace pelto::collector {

namespace {

std::optional<std::string> decode_form(std::string_view text) {
  std::string spaced(text);
  std::ranges::replace(spaced, '+', ' ');
  return decode_percent(spaced);
}

}  // namespace

Target split_target(std::string_view target) {
  if (!target.starts_with('/')) {
    constexpr std::string_view separator = "://";
    const std::size_t scheme = target.find(separator);
    const std::size_t slash =
        scheme == std::string_view::npos ? scheme : target.find('/', scheme + separator.size());
    target = slash == std::string_view::npos ? std::string_view{} : target.substr(slash);
  }
  const std::size_t mark = target.find('?');
  return {target.substr(0, mark),
          mark == std::string_view::npos ? std::string_view{} : target.substr(mark + 1)};
}

std::optional<QueryValues> parse_query(std::string_view query) {
  QueryValues values;
  while (!query.empty()) {
    const std::size_t end = std::min(query.find('&'), query.size());
    const std::string_view pair = query.substr(0, end);
    query.remove_prefix(std::min(end + 1, query.size()));
    if (pair.empty()) continue;
    const std::size_t equals = std::min(pair.find('='), pair.size());
    const auto name = decode_form(pair.substr(0, equals));
    const auto value = decode_form(pair.substr(std::min(equals + 1, pair.size())));
    if (!name || !value || !values.emplace(*name, *value).second) return std::nullopt;
  }
  std::erase_if(values, [](const auto& entry) { return entry.second.empty(); });
  return values;
}

}  // namespace pelto::collector
