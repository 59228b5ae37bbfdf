#pragma once

#include <optional>
#include <string>

#include "collector/report/Report.h"

namespace pelto::collector {

/// The value under which a property of a machine is counted. Sizes (memory, disks, the graphics
/// adapter's memory) are counted in classes of powers of two, named by their lower end, as "8 GiB";
/// a negative adapter memory is that plus 2^32. Everything else is counted as it is. None for a
/// property that is not shown: the adapter's hardware address.
std::optional<std::string> machine_class(const MachineValue& property);

}  // namespace pelto::collector
