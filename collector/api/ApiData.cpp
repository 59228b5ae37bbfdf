// Erasing and exporting, and the audit.
#include <charconv>
#include <memory>
#include <string>

#include "collector/access/SignedErasure.h"
#include "collector/api/ApiCall.h"
#include "collector/api/ExportSource.h"
#include "collector/http/Problem.h"

namespace pelto::collector {

namespace {

using nlohmann::ordered_json;

/// A number of the query from `least` to `most`; none if it is missing.
std::optional<std::int64_t> number_of(const ApiCall& call, std::string_view name,
                                      std::int64_t least, std::int64_t most) {
  const auto text = call.value(name);
  if (!text) return std::nullopt;
  std::int64_t number = 0;
  const char* const end = text->data() + text->size();
  const auto [rest, error] = std::from_chars(text->data(), end, number);
  if (error != std::errc{} || rest != end || number < least || number > most) {
    throw ApiError(400, "bad-request",
                   std::string(name) + " is a number from " + std::to_string(least) + " to " +
                       std::to_string(most));
  }
  return number;
}

}  // namespace

Response erase(const ApiCall& call) {
  const nlohmann::json body = read_object(call.request.body);
  const ErasureSubject subject{optional_text(body, "installation"), optional_text(body, "email")};
  const std::string& text =
      subject.installation ? *subject.installation : subject.email.value_or(std::string());
  if (subject.installation.has_value() == subject.email.has_value() || text.empty()) {
    throw ApiError(400, "bad-json", "the body has one of the members installation and email");
  }
  Storage& storage = call.context.storage;
  const SignedErasure done =
      erase(storage, receipt_keys(storage), subject, call.request.at, call.context.goes_on);
  note_erasure(call.context.access.audit, call.request.at, call.user.name, done,
               call.context.report_failure);
  if (!done.erased.is_whole) return ending();
  return json_line_response(done.receipt);
}

Response export_data(const ApiCall& call) {
  const auto installation = call.value("installation");
  call.note(Action::export_data, describe_export(installation.has_value()));
  Response response;
  response.content_type = "application/x-ndjson";
  response.body.clear();
  response.source = std::make_shared<ExportSource>(call.context.storage, installation);
  response.fields = no_store;
  response.fields += "Content-Disposition: attachment; filename=\"export.ndjson\"\r\n";
  return response;
}

Response list_audit(const ApiCall& call) {
  constexpr int most = 1000;
  constexpr int usual = 100;
  const auto before = number_of(call, "before", 1, INT64_MAX);
  const auto limit = number_of(call, "limit", 1, most).value_or(usual);
  auto entries = ordered_json::array();
  for (const AuditEntry& entry : call.context.access.audit.list(before, static_cast<int>(limit))) {
    entries.push_back({{"number", entry.number},
                       {"at", format_time(entry.at)},
                       {"user", entry.user},
                       {"action", entry.action},
                       {"detail", entry.detail}});
  }
  return json_response(200, {{"entries", entries}});
}

}  // namespace pelto::collector
