// What reaches the collector from an installation, and what it must make of it.
#pragma once

#include <optional>
#include <vector>

#include "collector/fleet/Installation.h"
#include "collector/report/Report.h"

namespace pelto::collector {

struct Arrival {
  SimulatedDelivery delivery;
  /// The report as the sender has it, text in UTF-8.
  Report sent;
  /// The same as the collector reads it. A report without a description of the machine does not
  /// tell its code page, and is read as one in 1252.
  Report read;
  /// The same Id as the arrival before: nothing new is kept.
  bool is_repeated = false;
  /// Whether it replaces the last one before it that was kept.
  bool replaces = false;
};

/// In order of arrival. Which of them replaces another follows from what the sender did, not from
/// a comparison of the reports. Without `now` they arrive as lines for an import: at their times in
/// the past, text in UTF-8. With it they arrive as requests that are all sent now, one after the
/// other, text in the machine's code page.
std::vector<Arrival> arrivals_of(const Installation& installation, std::optional<Time> now);

}  // namespace pelto::collector
