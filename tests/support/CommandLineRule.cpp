#include "tests/support/CommandLineRule.h"

#include <algorithm>
#include <utility>

namespace {

/// Takes one argument from after its first quotation mark up to its last.
std::wstring TakeArgument(std::wstring_view& rest) {
  std::wstring argument;
  for (;;) {
    const size_t special = rest.find_first_of(L"\\\"");
    if (special == std::wstring_view::npos) return argument.append(std::exchange(rest, {}));
    argument.append(rest.substr(0, special));
    rest.remove_prefix(special);
    const size_t backslashes = std::min(rest.find_first_not_of(L'\\'), rest.size());
    rest.remove_prefix(backslashes);
    const bool isMark = rest.starts_with(L'"');
    argument.append(isMark ? backslashes / 2 : backslashes, L'\\');
    if (!isMark) continue;
    rest.remove_prefix(1);
    if (backslashes % 2 == 0) return argument;
    argument += L'"';
  }
}

}  // namespace

std::vector<std::wstring> SplitQuotedCommandLine(std::wstring_view line) {
  std::vector<std::wstring> arguments;
  if (!line.starts_with(L'"')) return arguments;
  line.remove_prefix(1);
  const size_t end = std::min(line.find(L'"'), line.size());
  arguments.emplace_back(line.substr(0, end));
  line.remove_prefix(std::min(end + 1, line.size()));
  while (line.starts_with(L" \"")) {
    line.remove_prefix(2);
    arguments.push_back(TakeArgument(line));
  }
  return arguments;
}
