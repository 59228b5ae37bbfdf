// The target of a request, taken apart.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace pelto::collector {

struct Target {
  std::string_view path;
  /// What follows the question mark.
  std::string_view query;
};

/// Takes a target apart, without decoding it. A client of a proxy sends the whole address (RFC
/// 9112, 3.2.2); its scheme and authority do not matter.
Target split_target(std::string_view target);

/// By name; without those whose value is empty.
using QueryValues = std::map<std::string, std::string, std::less<>>;

/// Reads a query as a form sends it: "name=value&other=a+value", with "%41" for any byte. None if a
/// name comes twice, or a code has no digits.
std::optional<QueryValues> parse_query(std::string_view query);

}  // namespace pelto::collector
