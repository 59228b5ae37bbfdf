#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace pelto::collector {

/// The GUID `text` in small letters; none when it is not 32 hexadecimal digits with hyphens after
/// 8, 12, 16 and 20 of them.
std::optional<std::string> normalize_guid(std::string_view text);

}  // namespace pelto::collector
