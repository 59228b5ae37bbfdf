#include "collector/serve/IntakeSite.h"

#include <boost/asio/post.hpp>
#include <chrono>
#include <exception>
#include <utility>
#include <variant>

#include "collector/http/AwaitCallback.h"
#include "collector/http/RequestLog.h"

namespace pelto::collector {

namespace asio = boost::asio;

namespace {

Time now() {
  return std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
}

Response method_response(const Route& route) {
  Response response = refusal_response(Refusal::method);
  response.fields = route.is_health_path() ? "Allow: GET, HEAD\r\n" : "Allow: POST\r\n";
  return response;
}

std::variant<Received, Refusal> read_safely(std::string_view content_type, std::string_view body,
                                            const IntakeOptions& options) {
  try {
    return read_request(content_type, body, options);
  } catch (const std::exception&) {
    // No memory at this moment: the sender tries again.
    return Refusal::busy;
  }
}

}  // namespace

IntakeSite::IntakeSite(const ServeOptions& options, Storage& storage, asio::thread_pool& pool,
                       Readiness& readiness, Metrics& metrics, LogWriter& log)
    : options_(options),
      storage_(storage),
      pool_(pool),
      readiness_(readiness),
      metrics_(metrics),
      log_(log),
      routes_(options.paths, options.products),
      rates_(options.rate, RateUse::deliveries) {}

asio::awaitable<std::optional<Response>> IntakeSite::judge(Request& request) {
  request.route = routes_.find(request.method, request.target);
  if (request.framing.is_broken) co_return refusal_response(Refusal::not_multipart);
  switch (request.route.kind) {
    case Route::Kind::health:
      co_return Response{};
    case Route::Kind::readiness: {
      const bool is_ready = co_await readiness_.ask();
      if (is_ready) co_return Response{};
      Response response = refusal_response(Refusal::busy);
      response.refusal = std::nullopt;
      co_return response;
    }
    case Route::Kind::wrong_method:
      co_return method_response(request.route);
    case Route::Kind::unknown_product:
      co_return refusal_response(Refusal::unknown_product);
    case Route::Kind::delivery:
      break;
  }
  co_return judge_delivery(request);
}

std::optional<Response> IntakeSite::judge_delivery(const Request& request) {
  const Framing& framing = request.framing;
  if (!framing.is_chunked && !framing.length) return refusal_response(Refusal::length);
  if (framing.length.value_or(0) > options_.max_body) return refusal_response(Refusal::too_large);
  const Address client =
      client_address(request.peer, request.values("X-Forwarded-For"), options_.trusted_proxies);
  if (!rates_.admit(client, std::chrono::steady_clock::now())) return rate_response();
  return std::nullopt;
}

asio::awaitable<Response> IntakeSite::respond(Request& request) {
  const auto content_types = request.values("Content-Type");
  const std::string_view content_type =
      content_types.size() == 1 ? content_types.front() : std::string_view{};
  auto result = co_await read(content_type, request.body);
  if (const auto* refusal = std::get_if<Refusal>(&result)) co_return refusal_response(*refusal);

  Received& received = std::get<Received>(result);
  Delivery delivery{std::string(request.route.product), std::move(received.id), now(),
                    std::move(received.report)};
  // The storage can take its time; the body is not needed meanwhile.
  std::string().swap(request.body);
  const Outcome outcome =
      co_await await_callback<Outcome>([this, &delivery](std::function<void(Outcome)> done) {
        storage_.keep(std::move(delivery), TimeKind::arrival, std::move(done));
      });
  metrics_.count_delivery(outcome);
  if (outcome == Outcome::failed) co_return refusal_response(Refusal::busy);
  Response response;
  response.code = outcome_code(outcome);
  co_return response;
}

asio::awaitable<std::variant<Received, Refusal>> IntakeSite::read(std::string_view content_type,
                                                                  const std::string& body) {
  const IntakeOptions& options = options_.intake_options;
  if (body.size() <= largest_quick_body) co_return read_safely(content_type, body, options);

  using Result = std::variant<Received, Refusal>;
  Result result = Refusal::busy;
  co_await await_callback<bool>([&](std::function<void(bool)> done) {
    asio::post(pool_, [&, done = std::move(done)] {
      result = read_safely(content_type, body, options);
      done(true);
    });
  });
  co_return result;
}

void IntakeSite::count(const Request& request, const Response& response) {
  if (!response.refusal) return;
  metrics_.count_refusal(*response.refusal);
  try {
    storage_.count_refusal(std::string(request.route.product), now(), response.code);
  } catch (const StorageError& error) {
    log_.message(error.what());
  }
}

void IntakeSite::finish(const Request& request, const Response& response,
                        const RequestSummary& summary) {
  metrics_.count_request(summary.duration);
  log_request(log_, "intake", request, response, summary);
}

}  // namespace pelto::collector
