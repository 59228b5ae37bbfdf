#include "collector/report/RetryRule.h"

#include <algorithm>
#include <unordered_map>

namespace pelto::collector {

namespace {

/// Whether `later` has, for each entry of `earlier`, one of the same name that holds it.
template <typename Entry, typename Holds>
bool holds_all(const std::vector<Entry>& later, const std::vector<Entry>& earlier, Holds holds) {
  if (earlier.size() > later.size()) return false;
  std::unordered_map<std::string_view, const Entry*> by_name;
  by_name.reserve(later.size());
  for (const Entry& entry : later) by_name.emplace(entry.name, &entry);
  return std::ranges::all_of(earlier, [&](const Entry& entry) {
    const auto found = by_name.find(entry.name);
    return found != by_name.end() && holds(*found->second, entry);
  });
}

}  // namespace

bool is_sent_again(const Report& earlier, Time earlier_time, const Report& later, Time later_time) {
  if (later_time - earlier_time > retry_limit) return false;
  return holds_all(later.commands, earlier.commands,
                   [](const CommandCount& now, const CommandCount& before) {
                     return now.order == before.order && now.uses >= before.uses;
                   }) &&
         holds_all(later.file_types, earlier.file_types,
                   [](const FileTypeCount& now, const FileTypeCount& before) {
                     return now.opened >= before.opened && now.saved >= before.saved;
                   });
}

}  // namespace pelto::collector
