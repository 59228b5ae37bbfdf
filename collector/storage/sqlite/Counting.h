// The counts of a selection. Each function works within a transaction of the caller's, and throws
// `SQLite::Exception` and `StorageError`. A product that is not known has no reports.
#pragma once

#include <optional>
#include <string>
#include <utility>

#include "collector/storage/Counts.h"
#include "collector/storage/sqlite/Connection.h"

namespace pelto::collector {

std::optional<std::pair<Period, Period>> read_periods(Connection& connection,
                                                      const std::string& product);
Counts<PeriodRow> count_periods(Connection& connection, const Selection& selection);
Counts<CommandRow> count_commands(Connection& connection, const Selection& selection);
Counts<FileTypeRow> count_file_types(Connection& connection, const Selection& selection);
Counts<VersionRow> count_versions(Connection& connection, const Selection& selection);
Counts<MachineRow> count_machines(Connection& connection, const Selection& selection);
IntakeCounts count_intake(Connection& connection, const Selection& selection);

}  // namespace pelto::collector
