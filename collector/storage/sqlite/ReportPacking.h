// A report's counts as bytes, with names as numbers.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "collector/report/Report.h"
#include "collector/storage/sqlite/Names.h"

namespace pelto::collector {

/// The counts of a report, each list in the order of its numbers.
struct NumberedReport {
  struct Command {
    Number name = 0;
    std::int64_t uses = 0;
    std::int64_t order = 0;
  };
  struct FileType {
    Number name = 0;
    std::int64_t opened = 0;
    std::int64_t saved = 0;
  };
  struct Property {
    /// The property and the value under which it is counted.
    Number name = 0;
    /// The value itself where it is another one: sizes hardly ever repeat, so that they are no
    /// names.
    std::variant<std::monostate, std::int64_t, std::string> exact;
  };
  std::vector<Command> commands;
  std::vector<FileType> file_types;
  std::vector<Property> machine;

  void clear();
};

/// Numbers what is counted of a normalized report; properties that are not counted are left out.
/// Adds names to the dictionary, and notes their use.
NumberedReport number_report(const Report& report, Names& names);

std::string pack(const NumberedReport& report);
/// Into `report`, whose vectors are used again. Returns false, and a report without counts, for
/// bytes that `pack` does not make of a normalized report.
bool unpack(std::string_view packed, NumberedReport& report);
/// As `unpack`, and also false for a name that the dictionary does not have or has as one of
/// another kind. A damaged report counts as one without counts, so that it stops nothing but
/// itself. Throws `SQLite::Exception`.
bool unpack(std::string_view packed, Names& names, NumberedReport& report);

/// The lists of a report, each by name.
Report name_report(const NumberedReport& report, Names& names);

/// The lists of such bytes, each by name; none if the bytes or the names are damaged. Throws
/// `SQLite::Exception`.
std::optional<Report> read_counts(std::string_view packed, Names& names);

/// Notes that `change` more reports have what this one has.
void use_names(const NumberedReport& report, Names& names, int change);

}  // namespace pelto::collector
