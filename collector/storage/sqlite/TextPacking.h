// A report's raw text as few bytes.
#pragma once

#include <string>
#include <string_view>

#include "collector/report/Report.h"

namespace pelto::collector {

/// The text of `report`, compressed (Zstandard, RFC 8878) by its difference from what a sender
/// writes for the same counts. A trained dictionary would take less thought, but would hold pieces
/// of reports where an erasure does not reach.
std::string pack_text(const Report& report);
/// The text of such bytes; `counts` has the same lists in any order. Throws `StorageError` for
/// bytes that are something else.
std::string unpack_text(std::string_view packed, const Report& counts);

}  // namespace pelto::collector
