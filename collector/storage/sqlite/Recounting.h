// What is made anew from the reports where what is stored of them is damaged.
#pragma once

#include "collector/storage/sqlite/Cells.h"
#include "collector/storage/sqlite/Connection.h"
#include "collector/storage/sqlite/Names.h"

namespace pelto::collector {

/// Writes the sums of a group anew from its folded reports as they are now: for a report that can
/// no longer be taken back, and for sums that cannot be read. Reads the reports of a period, so
/// that a large file's writer takes seconds. Within a transaction that writes.
void recount_group(Connection& connection, Names& names, const Group& group);

/// Notes in `names`, in which nothing else may be noted, how much the uses of names in the file
/// differ from those of all reports: a damaged report that is erased does not tell its names. Notes
/// nothing if another report is damaged, so that none of its names goes.
/// Reads every report. Within a transaction that writes.
void recount_uses(Connection& connection, Names& names);

}  // namespace pelto::collector
