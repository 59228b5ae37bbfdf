#pragma once

#include <string>
#include <variant>

#include "collector/intake/IntakeOptions.h"
#include "collector/intake/Refusal.h"
#include "collector/report/Report.h"

namespace pelto::collector {

/// Reads the bytes of a report as a sender's load reads them: the same parser under the same guard,
/// the same elements, numbers and rules for what comes twice. Text is in UTF-8 if the report begins
/// with a byte-order mark or if its declaration names UTF-8 or no encoding, else in the code page
/// that goes with the machine's `Locale`, else in the configured one.
///
/// `not_a_report` if the bytes cannot be parsed or have no report in them, `no_installation` if the
/// identifier is missing, empty or longer than 128 bytes of UTF-8. An address that is longer than
/// 320 bytes, or has control characters or bytes that are no text, is left out. The report is
/// normalized.
std::variant<Report, Refusal> read_report(std::string bytes, const IntakeOptions& options);

/// A UTF-8 text with this in front is read as such.
inline constexpr char byte_order_mark[] = "\xEF\xBB\xBF";

}  // namespace pelto::collector
