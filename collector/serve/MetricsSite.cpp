#include "collector/serve/MetricsSite.h"

#include <chrono>
#include <utility>

#include "collector/serve/RequestLine.h"

namespace pelto::collector {

namespace asio = boost::asio;

namespace {

constexpr std::string_view metrics_path = "/metrics";

Response not_found() {
  Response response;
  response.status = 404;
  response.body = "not found";
  response.code = "not-found";
  return response;
}

}  // namespace

MetricsSite::MetricsSite(Readiness& readiness, const Metrics& metrics,
                         std::function<Gauges()> gauges, LogWriter& log)
    : readiness_(readiness), metrics_(metrics), gauges_(std::move(gauges)), log_(log) {}

asio::awaitable<std::optional<Response>> MetricsSite::judge(Request& request) {
  const bool is_read = request.method == "GET" || request.method == "HEAD";
  if (!is_read || request.framing.is_broken || request.framing.has_body()) co_return not_found();
  if (request.target != metrics_path || !is_loopback(request.peer)) co_return not_found();
  request.route.path = metrics_path;
  co_return std::nullopt;
}

asio::awaitable<Response> MetricsSite::respond(Request&) {
  const bool is_ready = co_await readiness_.ask();
  Gauges gauges = gauges_();
  gauges.is_ready = is_ready;
  Response response;
  response.content_type = "text/plain; version=0.0.4; charset=utf-8";
  response.body = metrics_.format(gauges);
  co_return response;
}

void MetricsSite::count(const Request&, const Response&) {}

void MetricsSite::finish(const Request& request, const Response& response,
                         const RequestSummary& summary) {
  const Time time = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
  log_.write(format_record({time,
                            "pages",
                            request.method,
                            request.route.path,
                            {},
                            response.status,
                            response.code,
                            summary.bytes,
                            summary.duration}));
}

}  // namespace pelto::collector
