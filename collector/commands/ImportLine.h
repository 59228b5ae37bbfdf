#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "collector/intake/IntakeOptions.h"
#include "collector/report/Report.h"

namespace pelto::collector {

/// The code of a line that is no delivery at all.
inline constexpr char bad_line_code[] = "bad-line";

/// Why a line cannot be taken.
struct BadLine {
  /// `bad_line_code`, or the code of a refusal.
  std::string code;
  /// What the line says of these, as far as it does; empty for `bad_line_code`.
  std::string product{};
  Time received{};
};

/// Reads a line of an import: JSON (RFC 8259) in UTF-8, with the counts of a report as an export
/// writes them, or with the report's text. The same rules apply as to a request, and in the same
/// order. Members with other names do not matter; missing numbers are 0, missing texts and lists
/// empty. The report is normalized, and has no network adapter's address in its machine.
std::variant<Delivery, BadLine> read_import_line(std::string_view line,
                                                 const IntakeOptions& options);

}  // namespace pelto::collector
