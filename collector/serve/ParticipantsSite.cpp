#include "collector/serve/ParticipantsSite.h"

#include <chrono>
#include <string>
#include <utility>

#include "collector/api/Participants.h"
#include "collector/http/Problem.h"
#include "collector/http/RequestLog.h"
#include "collector/http/Target.h"
#include "collector/serve/PageRules.h"

namespace pelto::collector {

namespace asio = boost::asio;

namespace {

constexpr std::string_view page_path = "/mine";
constexpr std::string_view kept_path = "/mine/kept";
constexpr std::string_view erase_path = "/mine/erase";
constexpr std::string_view assets_prefix = "/mine/assets/";
constexpr std::string_view page = "mine.html";

Time now() {
  return std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
}

bool is_participants(const Request& request) {
  return is_participants_path(split_target(request.target).path);
}

}  // namespace

ParticipantsSite::ParticipantsSite(const ServeOptions& options, Storage& storage, Audit& audit,
                                   LimitedPool& pool, LogWriter& log, Site& intake, GoesOn goes_on)
    : options_(options),
      storage_(storage),
      audit_(audit),
      pool_(pool),
      log_(log),
      intake_(intake),
      goes_on_(std::move(goes_on)) {}

asio::awaitable<std::optional<Response>> ParticipantsSite::judge(Request& request) {
  if (!is_participants(request)) co_return co_await intake_.judge(request);
  std::optional<Response> response = judge_plainly(request, split_target(request.target).path);
  if (response) response->fields += security_fields;
  co_return response;
}

std::optional<Response> ParticipantsSite::judge_plainly(Request& request, std::string_view path) {
  const Framing& framing = request.framing;
  if (framing.is_broken) return problem(400, "bad-request", "the body's end is not clear");
  if (path == kept_path || path == erase_path) {
    request.route.path = path == kept_path ? kept_path : erase_path;
    if (request.method != "POST") return wrong_method("POST");
    if (auto refusal = refuse_body(framing, largest_body)) return refusal;
    // Before the rate: another site cannot use up what its visitors may ask.
    if (!is_no_other_origin(request)) return other_origin();
    const Address client =
        client_address(request.peer, request.values("X-Forwarded-For"), options_.trusted_proxies);
    if (rates_.admit(client, std::chrono::steady_clock::now())) return std::nullopt;
    return try_later(429, "too-many", "too many requests; try again in a minute",
                     std::chrono::minutes(1));
  }

  const bool is_asset = path.starts_with(assets_prefix);
  if (path != page_path && !is_asset) return unknown_path();
  request.route.path = is_asset ? assets_prefix : page_path;
  if (request.method != "GET" && request.method != "HEAD") return wrong_method("GET, HEAD");
  const bool takes_gzip = accepts_gzip(request.values("Accept-Encoding"));
  if (!is_asset) return files_.page(page, takes_gzip);
  return files_.asset(path.substr(assets_prefix.size()), takes_gzip).value_or(unknown_path());
}

asio::awaitable<Response> ParticipantsSite::respond(Request& request) {
  if (!is_participants(request)) co_return co_await intake_.respond(request);
  const ParticipantsContext context{
      storage_, audit_, [this](std::string_view text) { log_.message(text); }, goes_on_};
  const bool erases = request.route.path == erase_path;
  const Time time = now();
  const auto work = [&context, &request, erases, time] {
    return erases ? erase_kept(context, request.body, time) : show_kept(context, request.body);
  };
  std::optional<Response> response = co_await pool_.try_run(work);
  if (!response) {
    response = try_later(503, "busy", "too many ask at a time; try again", std::chrono::seconds(5));
  }
  response->fields += security_fields;
  co_return std::move(*response);
}

void ParticipantsSite::count(const Request& request, const Response& response) {
  if (!is_participants(request)) intake_.count(request, response);
}

void ParticipantsSite::finish(const Request& request, const Response& response,
                              const RequestSummary& summary) {
  if (!is_participants(request)) {
    intake_.finish(request, response, summary);
    return;
  }
  log_request(log_, "intake", request, response, summary);
}

}  // namespace pelto::collector
