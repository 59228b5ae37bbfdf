#include "collector/intake/Intake.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "collector/intake/Form.h"
#include "collector/intake/Payload.h"
#include "collector/intake/ReportReader.h"
#include "collector/report/Guid.h"
#include "upload/ReportForm.h"

namespace pelto::collector {

namespace {

/// Whether a field of the form has this name.
bool is_named(const FormField& field, std::wstring_view name) {
  return std::ranges::equal(field.name, name);
}

struct KnownFields {
  std::optional<std::string_view> id;
  std::optional<std::string_view> report;
};

std::variant<KnownFields, Refusal> find_fields(const std::vector<FormField>& form,
                                               std::size_t largest_part) {
  KnownFields fields;
  bool has_large_part = false;
  for (const FormField& field : form) {
    const bool is_report = is_named(field, ReportField);
    if (!is_report && field.value.size() > largest_part) has_large_part = true;
    if (!is_report && !is_named(field, IdField)) continue;
    std::optional<std::string_view>& known = is_report ? fields.report : fields.id;
    if (known) return Refusal::not_multipart;
    known = field.value;
  }
  if (has_large_part) return Refusal::too_large;
  return fields;
}

}  // namespace

std::variant<Received, Refusal> read_request(std::string_view content_type, std::string_view body,
                                             const IntakeOptions& options) {
  const auto form = read_form(content_type, body);
  if (const auto* const refusal = std::get_if<Refusal>(&form)) return *refusal;
  const auto found = find_fields(std::get<std::vector<FormField>>(form), options.largest_part);
  if (const auto* const refusal = std::get_if<Refusal>(&found)) return *refusal;

  const auto& fields = std::get<KnownFields>(found);
  if (!fields.id) return Refusal::no_id;
  std::optional<std::string> id = normalize_guid(*fields.id);
  if (!id) return Refusal::bad_id;
  if (!fields.report) return Refusal::no_report;
  auto payload = read_payload(*fields.report);
  if (const auto* const refusal = std::get_if<Refusal>(&payload)) return *refusal;
  auto report = read_report(std::get<std::string>(std::move(payload)), options);
  if (const auto* const refusal = std::get_if<Refusal>(&report)) return *refusal;
  return Received{*std::move(id), std::get<Report>(std::move(report))};
}

std::variant<Report, Refusal> read_report_text(std::string_view text,
                                               const IntakeOptions& options) {
  return read_report(byte_order_mark + std::string(text), options);
}

}  // namespace pelto::collector
