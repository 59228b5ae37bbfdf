#pragma once

#include <string>
#include <string_view>
#include <variant>

#include "collector/intake/Refusal.h"

namespace pelto::collector {

/// The bytes of the report in the form's field: Base64 on one line, the last byte twice.
/// `empty_report` for an empty field and for one of at most one byte, `bad_base64`, and `truncated`
/// if the last two bytes differ.
std::variant<std::string, Refusal> read_payload(std::string_view field);

}  // namespace pelto::collector
