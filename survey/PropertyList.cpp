#include "survey/PropertyList.h"

#include <algorithm>

std::vector<std::wstring> SplitPropertyList(std::wstring_view list) {
  constexpr std::wstring_view separators = L";\n";
  std::vector<std::wstring> names;
  while (!list.empty()) {
    const std::size_t length = std::min(list.find_first_of(separators), list.size());
    if (length != 0) names.emplace_back(list.substr(0, length));
    list.remove_prefix(std::min(length + 1, list.size()));
  }
  return names;
}
