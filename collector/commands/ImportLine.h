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
  /// What the line says of these; empty if it is no delivery or too large to be read.
  std::string product{};
  Time received{};
};

/// Reads a line of an import: JSON (RFC 8259) in UTF-8, with the counts of a report as an export
/// writes them, or with the report's text. The same rules apply as to a request, and in the same
/// order. Members with other names do not matter; missing numbers are 0, missing texts and lists
/// empty. A line with more values than any sender's report, or with a text longer than a request,
/// is too large: reading it would take many times its length of memory. The report is normalized,
/// and has no network adapter's address in its machine.
std::variant<Delivery, BadLine> read_import_line(std::string_view line,
                                                 const IntakeOptions& options);

}  // namespace pelto::collector
