// From counts to tables that may be shown: the rows' order, and what the threshold withholds.
#pragma once

#include <optional>

#include "collector/figures/Answer.h"
#include "collector/storage/Counts.h"

namespace pelto::collector {

/// What the counts of one answer have in common.
struct TableContext {
  int threshold = 0;
  /// The answer's number of installations; none if it is withheld.
  std::optional<std::int64_t> installations{};
  /// Whether the range is one period.
  bool is_one_period = false;
};

/// A row for each period from the first to the last of the counts.
Table overview_table(std::vector<PeriodRow> rows, const TableContext& context);
/// The most used first, then by name.
Table commands_table(std::vector<CommandRow> rows, const TableContext& context);
/// By opened and saved together as far as they are shown, the most first, then by name: a place in
/// the order must not tell a number that is withheld.
Table file_types_table(std::vector<FileTypeRow> rows, const TableContext& context);
/// By period, then version, then application.
Table versions_table(std::vector<VersionRow> rows, const TableContext& context);
/// By category and name, then the most frequent value first, then by value.
Table machines_table(std::vector<MachineRow> rows, const TableContext& context);
/// One row. No threshold applies: it counts deliveries.
Table intake_table(const IntakeCounts& counts);

}  // namespace pelto::collector
