#include "collector/report/Report.h"

#include <algorithm>
#include <set>
#include <unordered_set>
#include <utility>

namespace pelto::collector {

namespace {

/// Cuts `number` to the range of counts. Returns whether it changed for being too large.
bool cap(std::int64_t& number) {
  const bool is_too_large = number > largest_count;
  number = std::clamp<std::int64_t>(number, 0, largest_count);
  return is_too_large;
}

bool normalize_commands(std::vector<CommandCount>& commands) {
  bool is_capped = false;
  std::unordered_set<std::string> names;
  std::erase_if(commands, [&](CommandCount& command) {
    if (command.name.size() > longest_name) {
      is_capped = true;
      return true;
    }
    if (!names.insert(command.name).second) return true;
    if (cap(command.uses)) is_capped = true;
    if (cap(command.order)) is_capped = true;
    return false;
  });
  return is_capped;
}

bool normalize_file_types(std::vector<FileTypeCount>& file_types) {
  bool is_capped = false;
  std::unordered_set<std::string> names;
  FileTypeCount other{other_file_type};
  bool has_other = false;
  std::erase_if(file_types, [&](FileTypeCount& file_type) {
    if (!names.insert(file_type.name).second) return true;
    if (cap(file_type.opened)) is_capped = true;
    if (cap(file_type.saved)) is_capped = true;
    if (file_type.name != other_file_type && is_plain_extension(file_type.name)) return false;
    has_other = true;
    // No overflow: the entries are fewer than 2^32 and each count less than 2^31.
    other.opened += file_type.opened;
    other.saved += file_type.saved;
    return true;
  });
  if (has_other) {
    if (cap(other.opened)) is_capped = true;
    if (cap(other.saved)) is_capped = true;
    file_types.push_back(std::move(other));
  }
  return is_capped;
}

bool normalize_machine(std::vector<MachineValue>& machine) {
  bool is_capped = false;
  std::set<std::pair<std::string, std::string>> keys;
  std::erase_if(machine, [&](const MachineValue& property) {
    if (property.category.size() > longest_name || property.name.size() > longest_name ||
        property.value.size() > longest_name) {
      is_capped = true;
      return true;
    }
    return !keys.emplace(property.category, property.name).second;
  });
  return is_capped;
}

}  // namespace

bool is_plain_extension(std::string_view name) {
  // Each character has one byte that does not continue another.
  const auto characters = std::ranges::count_if(
      name, [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) != 0x80U; });
  return characters <= 32 && name.find_first_of("/\\: ") == std::string_view::npos;
}

void normalize(Report& report) {
  const bool commands_capped = normalize_commands(report.commands);
  const bool file_types_capped = normalize_file_types(report.file_types);
  const bool machine_capped = normalize_machine(report.machine);
  report.is_capped = report.is_capped || commands_capped || file_types_capped || machine_capped;
}

}  // namespace pelto::collector
