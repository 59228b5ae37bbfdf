#include "collector/api/Participants.h"

#include <exception>

#include <nlohmann/json.hpp>

#include "collector/access/SignedErasure.h"
#include "collector/api/ApiCall.h"
#include "collector/http/Problem.h"

namespace pelto::collector {

namespace {

using nlohmann::ordered_json;

/// Calls `respond` with the identifier in the body.
template <typename Respond>
Response respond_safely(const ParticipantsContext& context, const std::string& body,
                        Respond respond) {
  if (!context.goes_on()) return ending();
  try {
    return respond(text_member(read_object(body), "installation"));
  } catch (const ApiError& error) {
    return problem(error.status(), error.code(), error.what());
  } catch (const std::exception& error) {
    context.report_failure(error.what());
    return try_later(503, "failed", "this cannot be done now; try again later",
                     std::chrono::minutes(1));
  }
}

/// A version as it is shown. Of a stranger's one, which can be long, the beginning.
std::string shorten(std::string version) {
  constexpr std::size_t most = 64;
  if (version.size() <= most) return version;
  std::size_t end = most;
  const auto is_inside = [&] {
    return (static_cast<unsigned char>(version[end]) & 0xC0U) == 0x80U;
  };
  while (end > 0 && is_inside()) --end;
  version.resize(end);
  return version + "\u2026";
}

Response as_response(const InstallationKeeping& keeping) {
  auto deliveries = ordered_json::array();
  for (const InstallationKeeping::Kept& kept : keeping.deliveries) {
    deliveries.push_back({{"received", format_time(kept.received)},
                          {"product", kept.product},
                          {"version", shorten(kept.version)},
                          {"commands", kept.commands},
                          {"file_types", kept.file_types},
                          {"has_raw_report", kept.has_text}});
  }
  return json_response(
      200,
      {{"deliveries", deliveries}, {"total", keeping.total}, {"has_email", keeping.has_email}});
}

}  // namespace

Response show_kept(const ParticipantsContext& context, const std::string& body) {
  return respond_safely(context, body, [&](const std::string& installation) {
    return as_response(context.storage.keeping_of(installation));
  });
}

Response erase_kept(const ParticipantsContext& context, const std::string& body, Time now) {
  return respond_safely(context, body, [&](const std::string& installation) {
    const ReceiptKeys keys = receipt_keys(context.storage);
    const SignedErasure done =
        erase(context.storage, keys, {installation, std::nullopt}, now, context.goes_on);
    if (done.erased.deliveries > 0) {
      note_erasure(context.audit, now, participant_user, done, context.report_failure);
    }
    if (!done.erased.is_whole) return ending();
    return json_line_response(done.receipt);
  });
}

}  // namespace pelto::collector
