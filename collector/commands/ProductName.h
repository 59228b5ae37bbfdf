#pragma once

#include <string_view>

namespace pelto::collector {

/// Whether a product can have this name: 1 to 128 bytes without control characters, as it is shown
/// in lists of one line. The same for what serves and what imports, so that an import takes every
/// export.
bool is_product_name(std::string_view name);

}  // namespace pelto::collector
