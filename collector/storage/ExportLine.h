#pragma once

#include <string>

#include "collector/storage/Storage.h"

namespace pelto::collector {

/// A kept delivery as one line of JSON without a line end, as an import takes it. A missing text is
/// empty, and a command without a place has the order 0.
std::string export_line(const KeptDelivery& kept);

}  // namespace pelto::collector
