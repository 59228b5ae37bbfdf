#include "collector/serve/PagesSite.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <string>
#include <utility>

#include "collector/http/Cookie.h"
#include "collector/http/Problem.h"
#include "collector/http/RequestLog.h"
#include "collector/http/RunOnPool.h"
#include "collector/http/Target.h"
#include "collector/http/Text.h"
#include "collector/serve/PageRules.h"

namespace pelto::collector {

namespace asio = boost::asio;

namespace {

constexpr std::string_view metrics_path = "/metrics";
constexpr std::string_view assets_prefix = "/assets/";
constexpr std::string_view shell = "index.html";
constexpr std::size_t largest_body = std::size_t{64} * 1024;

/// The views that the shell shows. A browser that asks for anything else gets the shell, too, but
/// not as if it were there.
constexpr std::array<std::string_view, 12> views{
    "/",       "/overview",        "/commands", "/file-types", "/versions", "/machines",
    "/intake", "/data-protection", "/users",    "/audit",      "/login",    "/setup"};
constexpr std::string_view api_view = "/api";

/// The view of a path; empty if it is none. A literal.
std::string_view find_view(std::string_view path) {
  if (path == api_view) return api_view;
  const auto* const view = std::ranges::find(views, path);
  return view == views.end() ? std::string_view{} : *view;
}

bool is_read(const Request& request) {
  return request.method == "GET" || request.method == "HEAD";
}

/// Whether a request may do what its route does. Browsers say where each request that changes
/// something comes from. A log-in without that comes from a program, whose sessions no page uses.
bool has_right_origin(const Request& request, const ApiRoute& route) {
  if (!route.changes_something()) return true;
  if (route.operation == Operation::log_in) return is_no_other_origin(request);
  return is_same_origin(request.values("Sec-Fetch-Site"), request.values("Origin"),
                        request.values("Host"));
}

/// The response if a request to the API can be refused before its body is read.
std::optional<Response> judge_api_call(Request& request, std::string_view path) {
  const ApiMatch match = find_api_route(request.method, path);
  request.route.path = match.path;
  if (match.path.empty()) return unknown_path();
  if (match.route == nullptr) return wrong_method(match.allowed);
  if (auto refusal = refuse_body(request.framing, largest_body)) return refusal;
  if (!has_right_origin(request, *match.route)) return other_origin();
  return std::nullopt;
}

}  // namespace

PagesSite::PagesSite(const ServeOptions& options, ApiContext context, PagePools pools,
                     Readiness& readiness, const Metrics& metrics, std::function<Health()> measure,
                     LogWriter& log)
    : options_(options),
      context_(std::move(context)),
      pools_(pools),
      readiness_(readiness),
      metrics_(metrics),
      measure_(std::move(measure)),
      log_(log) {}

asio::awaitable<std::optional<Response>> PagesSite::judge(Request& request) {
  std::optional<Response> response = judge_plainly(request);
  if (response) secure(request, *response);
  co_return response;
}

asio::awaitable<Response> PagesSite::respond(Request& request) {
  Response response = co_await respond_plainly(request);
  secure(request, response);
  co_return response;
}

void PagesSite::secure(const Request& request, Response& response) const {
  response.fields += security_fields;
  if (is_secure(request)) response.fields += only_tls_field;
}

std::optional<Response> PagesSite::judge_plainly(Request& request) const {
  if (request.framing.is_broken) return problem(400, "bad-request", "the body's end is not clear");
  const std::string_view path = split_target(request.target).path;
  if (path.starts_with(api_prefix)) return judge_api_call(request, path);
  if (!is_read(request)) return wrong_method("GET, HEAD");
  if (request.framing.has_body()) return problem(400, "bad-request", "this takes no body");
  if (path == metrics_path && is_local(request)) {
    request.route.path = metrics_path;
    return std::nullopt;
  }
  request.route.path = path.starts_with(assets_prefix) ? assets_prefix : find_view(path);
  return show_file(request, path);
}

Response PagesSite::show_file(const Request& request, std::string_view path) const {
  const bool takes_gzip = accepts_gzip(request.values("Accept-Encoding"));
  if (path.starts_with(assets_prefix)) {
    return files_.asset(path.substr(assets_prefix.size()), takes_gzip).value_or(unknown_path());
  }
  const bool is_view = !find_view(path).empty();
  if (!is_view && !asks_for_html(request.values("Accept"))) return unknown_path();
  Response response = files_.page(shell, takes_gzip);
  if (!is_view) {
    response.status = 404;
    response.code = "not-found";
  }
  return response;
}

asio::awaitable<Response> PagesSite::respond_plainly(Request& request) {
  if (request.route.path == metrics_path) co_return co_await show_metrics();
  co_return co_await respond_to_api_call(request);
}

asio::awaitable<Response> PagesSite::respond_to_api_call(Request& request) {
  const Target target = split_target(request.target);
  const bool uses_tls = is_secure(request);
  ApiRequest call{find_api_route(request.method, target.path), std::string(target.query),
                  std::move(request.body),
                  std::string(session_token(request.values("Cookie"), uses_tls))};
  call.client =
      client_address(request.peer, request.values("X-Forwarded-For"), options_.trusted_proxies);
  call.is_secure = uses_tls;
  call.at = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
  call.now = std::chrono::steady_clock::now();
  if (call.match.route->operation == Operation::show_health) call.health = co_await measure();
  const auto work = [this, &call] { return respond_to_api(context_, call); };
  if (!call.match.route->hashes_password) co_return co_await run_on(pools_.questions, work);

  std::optional<Response> response = co_await pools_.passwords.try_run(work);
  if (response) co_return std::move(*response);
  co_return try_later(503, "busy", "too many log in at a time; try again", std::chrono::seconds(2));
}

asio::awaitable<Response> PagesSite::show_metrics() {
  const Health health = co_await measure();
  Response response;
  response.content_type = "text/plain; version=0.0.4; charset=utf-8";
  response.body = metrics_.format(health);
  co_return response;
}

asio::awaitable<Health> PagesSite::measure() {
  const bool is_ready = co_await readiness_.ask();
  Health health = measure_();
  health.is_ready = is_ready;
  co_return health;
}

/// Whether the client speaks TLS, to this server or to a trusted proxy before it.
bool PagesSite::is_secure(const Request& request) const {
  if (options_.tls) return true;
  const auto& proxies = options_.trusted_proxies;
  const auto schemes = request.values("X-Forwarded-Proto");
  return std::ranges::find(proxies, request.peer) != proxies.end() && schemes.size() == 1 &&
         equals_ignoring_case(schemes.front(), "https");
}

void PagesSite::count(const Request&, const Response&) {}

void PagesSite::finish(const Request& request, const Response& response,
                       const RequestSummary& summary) {
  log_request(log_, "pages", request, response, summary);
}

}  // namespace pelto::collector
