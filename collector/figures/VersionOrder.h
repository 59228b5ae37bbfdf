#pragma once

#include <string_view>

namespace pelto::collector {

/// Whether version `a` comes before `b`: by their parts between dots, numbers by value and before
/// other text, a missing part as 0; versions that are equal so far, by their bytes. "2.0" comes
/// before "10.0".
bool is_version_before(std::string_view a, std::string_view b);

}  // namespace pelto::collector
