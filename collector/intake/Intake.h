// From the body of a request to a report. The whole of it is rules: no socket and no storage.
#pragma once

#include <string>
#include <string_view>
#include <variant>

#include "collector/intake/IntakeOptions.h"
#include "collector/intake/Refusal.h"
#include "collector/report/Report.h"

namespace pelto::collector {

/// What was read from a request.
struct Received {
  /// The delivery's GUID in small letters.
  std::string id;
  Report report;
};

/// Reads a form of `multipart/form-data` (RFC 7578) with the fields "Id" and "peltorpt", and the
/// report in it. `content_type` is the value of the request's header field. Fails with the first of
/// the reasons in the order in which they are checked: form, Id, report field, Base64, doubled
/// character, report, installation. A part other than the report's that is larger than
/// `largest_part` is `too_large`, as soon as the form is well-formed. The report is normalized.
std::variant<Received, Refusal> read_request(std::string_view content_type, std::string_view body,
                                             const IntakeOptions& options);

/// Reads a report's text in UTF-8, as an import has it: `not_a_report` or `no_installation` on
/// failure. The report is normalized.
std::variant<Report, Refusal> read_report_text(std::string_view text, const IntakeOptions& options);

}  // namespace pelto::collector
