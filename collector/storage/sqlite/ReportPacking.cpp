#include "collector/storage/sqlite/ReportPacking.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <optional>
#include <tuple>
#include <utility>

#include "collector/report/MachineClass.h"
#include "collector/storage/Storage.h"
#include "collector/storage/sqlite/Bytes.h"

namespace pelto::collector {

namespace {

/// How a property's exact value follows its number.
enum ExactForm : std::uint64_t { same_form, number_form, text_form };

/// The number that is written exactly as `text`, if there is one.
std::optional<std::int64_t> exact_number(const std::string& text) {
  std::int64_t number = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc{} || stop != end || std::to_string(number) != text) return std::nullopt;
  return number;
}

std::optional<NumberedReport::Property> number_property(const MachineValue& property,
                                                        Names& names) {
  const std::optional<std::string> counted = machine_class(property);
  if (!counted) return std::nullopt;
  NumberedReport::Property numbered;
  numbered.name =
      names.add(Kind::machine, join_property({property.category, property.name, *counted}));
  if (*counted != property.value) {
    if (const auto number = exact_number(property.value)) {
      numbered.exact = *number;
    } else {
      numbered.exact = property.value;
    }
  }
  return numbered;
}

template <typename Entry>
void sort_by_number(std::vector<Entry>& entries) {
  std::ranges::sort(entries, {}, &Entry::name);
}

/// Calls `take` with each number of an ascending list.
template <typename Entry, typename Take>
void write_list(ByteWriter& writer, const std::vector<Entry>& entries, Take take) {
  writer.number(entries.size());
  Number last = 0;
  for (const Entry& entry : entries) {
    take(entry, std::uint64_t{entry.name - last});
    last = entry.name;
  }
}

void require(bool is_sound) {
  if (!is_sound) throw StorageError("a stored report is damaged; run check, and restore a backup");
}

std::int64_t read_count(ByteReader& reader) {
  const std::uint64_t count = reader.number();
  require(count <= std::uint64_t{largest_count});
  return static_cast<std::int64_t>(count);
}

/// Numbers ascend from 1. The list's length needs no limit: the bytes end first.
template <typename Entry, typename Take>
void read_list(ByteReader& reader, std::vector<Entry>& entries, Take take) {
  entries.clear();
  Number last = 0;
  for (std::uint64_t left = reader.number(); left > 0; --left) {
    Entry& entry = entries.emplace_back();
    const std::uint64_t step = take(entry);
    require(step > 0 && step <= std::numeric_limits<Number>::max() - last);
    last += static_cast<Number>(step);
    entry.name = last;
  }
}

/// Throws `StorageError` for bytes that are something else.
void read_packed(std::string_view packed, NumberedReport& report) {
  ByteReader reader(packed);
  read_list(reader, report.commands, [&](auto& command) {
    const std::uint64_t step = reader.number();
    command.uses = read_count(reader);
    command.order = read_count(reader);
    return step;
  });
  read_list(reader, report.file_types, [&](auto& file_type) {
    const std::uint64_t step = reader.number();
    file_type.opened = read_count(reader);
    file_type.saved = read_count(reader);
    return step;
  });
  read_list(reader, report.machine, [&](auto& property) {
    const std::uint64_t step = reader.number();
    const std::uint64_t form = step % 4;
    require(form <= text_form);
    if (form == number_form) {
      property.exact = reader.signed_number();
    } else if (form == text_form) {
      const std::string_view text = reader.text();
      require(text.size() <= longest_name);
      property.exact = std::string(text);
    }
    return step / 4;
  });
  require(reader.rest().empty());
}

bool has_known_names(const NumberedReport& report, Names& names) {
  const auto knows_all = [&](Kind kind, const auto& entries) {
    return std::ranges::all_of(entries,
                               [&](const auto& entry) { return names.knows(kind, entry.name); });
  };
  return knows_all(Kind::command, report.commands) &&
         knows_all(Kind::file_type, report.file_types) && knows_all(Kind::machine, report.machine);
}

}  // namespace

void NumberedReport::clear() {
  commands.clear();
  file_types.clear();
  machine.clear();
}

NumberedReport number_report(const Report& report, Names& names) {
  NumberedReport numbered;
  numbered.commands.reserve(report.commands.size());
  for (const CommandCount& command : report.commands) {
    numbered.commands.push_back(
        {names.add(Kind::command, command.name), command.uses, command.order});
  }
  for (const FileTypeCount& file_type : report.file_types) {
    numbered.file_types.push_back(
        {names.add(Kind::file_type, file_type.name), file_type.opened, file_type.saved});
  }
  for (const MachineValue& property : report.machine) {
    if (auto entry = number_property(property, names)) {
      numbered.machine.push_back(std::move(*entry));
    }
  }
  sort_by_number(numbered.commands);
  sort_by_number(numbered.file_types);
  sort_by_number(numbered.machine);
  use_names(numbered, names, 1);
  return numbered;
}

std::string pack(const NumberedReport& report) {
  ByteWriter writer;
  write_list(writer, report.commands, [&](const auto& command, std::uint64_t step) {
    writer.number(step);
    writer.number(static_cast<std::uint64_t>(command.uses));
    writer.number(static_cast<std::uint64_t>(command.order));
  });
  write_list(writer, report.file_types, [&](const auto& file_type, std::uint64_t step) {
    writer.number(step);
    writer.number(static_cast<std::uint64_t>(file_type.opened));
    writer.number(static_cast<std::uint64_t>(file_type.saved));
  });
  write_list(writer, report.machine, [&](const auto& property, std::uint64_t step) {
    writer.number(step * 4 + property.exact.index());
    if (const auto* number = std::get_if<std::int64_t>(&property.exact)) {
      writer.signed_number(*number);
    } else if (const auto* text = std::get_if<std::string>(&property.exact)) {
      writer.text(*text);
    }
  });
  return writer.bytes();
}

bool unpack(std::string_view packed, NumberedReport& report) {
  try {
    read_packed(packed, report);
    return true;
  } catch (const StorageError&) {
    report.clear();
    return false;
  }
}

bool unpack(std::string_view packed, Names& names, NumberedReport& report) {
  if (!unpack(packed, report)) return false;
  if (has_known_names(report, names)) return true;
  report.clear();
  return false;
}

std::optional<Report> read_counts(std::string_view packed, Names& names) {
  NumberedReport numbered;
  if (!unpack(packed, names, numbered)) return std::nullopt;
  try {
    return name_report(numbered, names);
  } catch (const StorageError&) {
    return std::nullopt;
  }
}

Report name_report(const NumberedReport& report, Names& names) {
  Report named;
  named.commands.reserve(report.commands.size());
  for (const auto& command : report.commands) {
    named.commands.push_back({names.text_of(command.name), command.uses, command.order});
  }
  for (const auto& file_type : report.file_types) {
    named.file_types.push_back({names.text_of(file_type.name), file_type.opened, file_type.saved});
  }
  for (const auto& property : report.machine) {
    MachineValue value = split_property(names.text_of(property.name));
    if (const auto* number = std::get_if<std::int64_t>(&property.exact)) {
      value.value = std::to_string(*number);
    } else if (const auto* text = std::get_if<std::string>(&property.exact)) {
      value.value = *text;
    }
    named.machine.push_back(std::move(value));
  }
  std::ranges::sort(named.commands, {}, &CommandCount::name);
  std::ranges::sort(named.file_types, {}, &FileTypeCount::name);
  std::ranges::sort(named.machine, {}, [](const MachineValue& property) {
    return std::tie(property.category, property.name);
  });
  return named;
}

void use_names(const NumberedReport& report, Names& names, int change) {
  for (const auto& command : report.commands) names.use(command.name, change);
  for (const auto& file_type : report.file_types) names.use(file_type.name, change);
  for (const auto& property : report.machine) names.use(property.name, change);
}

}  // namespace pelto::collector
