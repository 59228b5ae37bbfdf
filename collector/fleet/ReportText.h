#pragma once

#include <string>

#include "collector/report/Report.h"

namespace pelto::collector {

/// The report as a sender writes it to the byte, but in UTF-8: entries in the order of `report`,
/// lines that end with LF, no XML declaration. `text`, `adapter_hash` and `is_capped` are not used.
std::string format_report(const Report& report);

}  // namespace pelto::collector
