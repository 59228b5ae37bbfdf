#include "collector/http/HttpConnection.h"

#include <algorithm>
#include <boost/asio/buffer.hpp>
#include <boost/asio/buffers_iterator.hpp>
#include <boost/beast/core/buffers_range.hpp>
#include <boost/beast/http/error.hpp>
#include <boost/beast/http/parser.hpp>
#include <chrono>
#include <cstdint>
#include <exception>
#include <optional>
#include <utility>

#include "collector/http/RunOnPool.h"

namespace pelto::collector {

namespace asio = boost::asio;
namespace http = boost::beast::http;

namespace {

/// Of the request line and all fields, and of what surrounds the chunks of a body.
constexpr std::uint32_t largest_header = 8 * 1024;
/// A response's body up to this size is sent together with its header.
constexpr std::size_t largest_joined_body = std::size_t{16} * 1024;

/// The body of a request as it arrives. Its memory is counted against the budget as it grows: what
/// a client only announces costs nothing.
struct Sink {
  Sink(Budget& budget, std::size_t limit) : share(budget), largest(limit) {}

  /// Returns false and sets `failure` if the bytes are too many.
  bool append(const char* bytes, std::size_t count) {
    const std::size_t size = text.size() + count;
    if (size > largest) {
      failure = Refusal::too_large;
      return false;
    }
    if (size > text.capacity()) {
      const std::size_t capacity = std::min(std::max(size, 2 * text.size()), largest);
      if (!share.grow_to(capacity, largest)) {
        failure = Refusal::busy;
        return false;
      }
      text.reserve(capacity);
    }
    text.append(bytes, count);
    return true;
  }

  BudgetShare share;
  std::size_t largest;
  std::string text;
  std::optional<Refusal> failure;
};

/// Beast's view of the sink.
struct SinkBody {
  using value_type = std::unique_ptr<Sink>;

  class reader {
   public:
    template <bool is_request, typename Fields>
    reader(http::header<is_request, Fields>&, value_type& sink) : sink_(sink) {}

    void init(const boost::optional<std::uint64_t>&, boost::beast::error_code& error) {
      error = {};
    }

    template <typename Buffers>
    std::size_t put(const Buffers& buffers, boost::beast::error_code& error) {
      std::size_t count = 0;
      for (const asio::const_buffer buffer : boost::beast::buffers_range_ref(buffers)) {
        if (!sink_->append(static_cast<const char*>(buffer.data()), buffer.size())) {
          error = http::error::body_limit;
          return count;
        }
        count += buffer.size();
      }
      error = {};
      return count;
    }

    void finish(boost::beast::error_code& error) { error = {}; }

   private:
    value_type& sink_;
  };
};

using Parser = http::request_parser<SinkBody>;

/// The next part of a body, empty at the end; none if it cannot be made.
std::optional<std::string> next_part(BodySource& source) {
  try {
    return source.next().value_or(std::string());
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

std::string to_string(boost::beast::string_view text) {
  return {text.data(), text.size()};
}

}  // namespace

/// One request and its response.
struct HttpConnection::Exchange {
  Exchange(Budget& budget, std::size_t max_body, Stream::Clock::time_point now)
      : start(now), body_start(now) {
    parser.header_limit(largest_header);
    // The site judges the announced size, the sink the one that arrives.
    parser.body_limit(boost::none);
    parser.get().body() = std::make_unique<Sink>(budget, max_body);
  }

  Sink& sink() { return *parser.get().body(); }

  Stream::Clock::time_point start;
  Stream::Clock::time_point body_start;
  Parser parser;
  Request request;
  Response response;
  std::size_t header_size = 0;
  std::uint64_t bytes = 0;
  bool keeps_alive = false;
};

HttpConnection::HttpConnection(std::shared_ptr<Stream> stream, const Address& peer, Site& site,
                               ConnectionContext& context)
    : stream_(std::move(stream)), peer_(peer), site_(site), context_(context) {}

HttpConnection::~HttpConnection() {
  stream_->abort();
}

asio::awaitable<void> HttpConnection::run() {
  stream_->set_deadline(Stream::Clock::now() + context_.deadlines.header);
  // The end of the server does not wait for a client that has asked nothing yet.
  is_idle_ = true;
  bool goes_on = co_await stream_->handshake();
  is_idle_ = false;
  while (goes_on) {
    goes_on = co_await await_request();
    if (goes_on) goes_on = co_await serve_one();
  }
}

/// Waits for the first byte of a request, with nothing in memory but the connection itself.
asio::awaitable<bool> HttpConnection::await_request() {
  const Deadlines& deadlines = context_.deadlines;
  const auto patience = is_first_ ? deadlines.header : deadlines.idle;
  is_first_ = false;
  if (!input_.empty()) co_return true;
  if (context_.is_stopping) co_return false;
  std::string().swap(input_);
  stream_->set_deadline(Stream::Clock::now() + patience);
  is_idle_ = true;
  const bool has_input = co_await receive();
  is_idle_ = false;
  co_return has_input;
}

/// Serves the request whose first bytes are there. Returns whether another one can follow.
asio::awaitable<bool> HttpConnection::serve_one() {
  auto exchange =
      std::make_unique<Exchange>(context_.budget, context_.max_body, Stream::Clock::now());
  stream_->set_deadline(exchange->start + context_.deadlines.header);
  Arrival arrival = co_await read_header(*exchange);
  if (arrival == Arrival::complete) {
    stream_->clear_deadline();
    std::optional<Response> early = co_await site_.judge(exchange->request);
    if (early) {
      exchange->response = std::move(*early);
      const Framing& framing = exchange->request.framing;
      // A body without a length would be read as further requests.
      const bool is_length_missing = exchange->response.refusal == Refusal::length;
      if (framing.is_broken || framing.has_body() || is_length_missing) arrival = Arrival::refused;
    } else {
      arrival = co_await read_body(*exchange);
      if (arrival == Arrival::complete) {
        stream_->clear_deadline();
        exchange->response = co_await site_.respond(exchange->request);
      }
    }
  }
  // The rest of a request that was not read whole would be taken for the next one. Without chunks
  // the connection's end is that of a body from a source.
  const bool can_go_on = !exchange->response.source || exchange->request.is_http_1_1;
  exchange->keeps_alive = arrival == Arrival::complete && can_go_on &&
                          exchange->parser.keep_alive() && !context_.is_stopping;
  const bool is_connected = arrival != Arrival::disconnected;
  if (is_connected) site_.count(exchange->request, exchange->response);
  bool is_sent = false;
  if (is_connected) is_sent = co_await send(*exchange);
  if (is_connected && !is_sent) {
    exchange->response.status = 0;
    exchange->response.code = "not-sent";
  }
  const auto duration =
      std::chrono::duration_cast<std::chrono::microseconds>(Stream::Clock::now() - exchange->start);
  site_.finish(exchange->request, exchange->response, {exchange->bytes, duration});
  const bool keeps_alive = exchange->keeps_alive;
  // What the body took of the budget is not held while the connection lingers.
  exchange.reset();
  if (is_sent && keeps_alive) co_return true;
  if (is_sent && (arrival == Arrival::refused || !input_.empty())) co_await linger();
  co_return false;
}

/// Adds what arrives to the input. Returns false at the end of the stream.
asio::awaitable<bool> HttpConnection::receive() {
  const std::size_t count = co_await stream_->read(context_.buffer);
  if (count == 0) co_return false;
  input_.append(context_.buffer.data(), count);
  co_return true;
}

asio::awaitable<HttpConnection::Arrival> HttpConnection::read_header(Exchange& exchange) {
  while (true) {
    // Some clients end a body with a line end that is no part of it (RFC 9112, 2.2).
    if (!exchange.parser.got_some() && input_.starts_with("\r\n")) input_.erase(0, 2);
    const bool is_line_end = !exchange.parser.got_some() && input_ == "\r";
    if (!input_.empty() && !is_line_end && !parse_header(exchange)) {
      exchange.response = refusal_response(Refusal::not_multipart);
      co_return Arrival::refused;
    }
    if (exchange.parser.is_header_done()) break;
    const bool has_input = co_await receive();
    if (!has_input) co_return refuse_lost(exchange);
  }
  take_header(exchange);
  co_return Arrival::complete;
}

asio::awaitable<HttpConnection::Arrival> HttpConnection::read_body(Exchange& exchange) {
  constexpr std::string_view go_on = "HTTP/1.1 100 Continue\r\n\r\n";
  const auto now = Stream::Clock::now();
  const Request& request = exchange.request;
  const auto expectations = request.values("Expect");
  const bool is_awaited = request.is_http_1_1 && request.framing.has_body() && input_.empty() &&
                          expectations.size() == 1 &&
                          boost::beast::iequals(expectations.front(), "100-continue");
  if (is_awaited) {
    stream_->set_deadline(now + context_.deadlines.header);
    const bool is_sent = co_await stream_->write(go_on);
    if (!is_sent) co_return refuse_lost(exchange);
  }

  exchange.body_start = now;
  exchange.parser.eager(true);
  Sink& sink = exchange.sink();
  // An announced length keeps the memory from growing beyond it.
  if (request.framing.length) sink.largest = *request.framing.length;
  while (!exchange.parser.is_done()) {
    const bool is_well = parse_body(exchange);
    exchange.bytes = sink.text.size();
    if (!is_well) {
      exchange.response = refusal_response(sink.failure.value_or(Refusal::not_multipart));
      co_return Arrival::refused;
    }
    if (exchange.parser.is_done()) break;
    stream_->set_deadline(exchange.body_start +
                          body_allowance(context_.deadlines, sink.text.size()));
    const bool has_input = co_await receive();
    if (!has_input) co_return refuse_lost(exchange);
  }
  exchange.request.body = std::move(sink.text);
  co_return Arrival::complete;
}

/// What becomes of a request whose bytes ended early.
HttpConnection::Arrival HttpConnection::refuse_lost(Exchange& exchange) const {
  if (stream_->has_expired()) {
    exchange.response = refusal_response(Refusal::timeout);
    return Arrival::refused;
  }
  exchange.response.status = 0;
  exchange.response.code = "disconnected";
  return Arrival::disconnected;
}

/// Returns false if the input is no header.
bool HttpConnection::parse_header(Exchange& exchange) {
  boost::beast::error_code error;
  const std::size_t used = exchange.parser.put(asio::buffer(input_), error);
  const bool is_folded = has_folded_line(std::string_view(input_).substr(0, used));
  input_.erase(0, used);
  exchange.header_size += used;
  if ((error && error != http::error::need_more) || is_folded) return false;
  // Beast's own limit is for what has arrived and has not been used.
  const bool is_done = exchange.parser.is_header_done();
  return exchange.header_size + (is_done ? 0 : input_.size() + 1) <= largest_header;
}

/// Takes from the parser what it has read of the header.
void HttpConnection::take_header(Exchange& exchange) const {
  const auto& message = exchange.parser.get();
  Request& request = exchange.request;
  request.method = to_string(message.method_string());
  request.target = to_string(message.target());
  request.is_http_1_1 = message.version() >= 11;
  request.peer = peer_;
  for (const auto& field : message) {
    request.fields.push_back({to_string(field.name_string()), to_string(field.value())});
  }
  request.framing = find_framing(request.values("Content-Length"),
                                 request.values("Transfer-Encoding"), request.is_http_1_1);
}

/// Uses as much of the input as possible. Returns false if it is no body, or the sink has failed.
bool HttpConnection::parse_body(Exchange& exchange) {
  // The shortest end of a chunked body is "0", a line end and an empty line. Beast asserts that it
  // is not called again with less after it has seen the zero.
  constexpr std::size_t shortest_end = 5;
  const bool is_chunked = exchange.request.framing.is_chunked;
  if (input_.empty() || (is_chunked && input_.size() < shortest_end)) return true;
  boost::beast::error_code error;
  const std::size_t used = exchange.parser.put(asio::buffer(input_), error);
  input_.erase(0, used);
  if (error && error != http::error::need_more) return false;
  return input_.size() <= largest_header || exchange.parser.is_done();
}

asio::awaitable<bool> HttpConnection::send(const Exchange& exchange) {
  ResponseForm form;
  form.now = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
  form.keeps_alive = exchange.keeps_alive;
  form.has_body = exchange.request.method != "HEAD";
  form.knows_chunks = exchange.request.is_http_1_1;
  // A large one is not copied: a client that reads slowly holds it for long.
  const std::string_view body = body_of(exchange.response);
  const bool has_large_body =
      form.has_body && !exchange.response.source && body.size() > largest_joined_body;
  const bool has_source = form.has_body && exchange.response.source != nullptr;
  form.has_body = form.has_body && !has_large_body;
  const std::string bytes = format_response(exchange.response, form);
  const bool is_sent = co_await send_whole(bytes);
  if (is_sent && has_large_body) co_return co_await send_whole(body);
  if (!is_sent || !has_source) co_return is_sent;
  co_return co_await send_source(*exchange.response.source, form.knows_chunks);
}

/// Sends bytes that are all in memory. A client that takes them slowly has as long as one that
/// sends a body slowly.
asio::awaitable<bool> HttpConnection::send_whole(std::string_view bytes) {
  const auto start = Stream::Clock::now();
  for (std::size_t sent = 0; sent < bytes.size();) {
    stream_->set_deadline(start + body_allowance(context_.deadlines, sent));
    const std::size_t count = co_await stream_->write_some(bytes.substr(sent));
    if (count == 0) co_return false;
    sent += count;
  }
  co_return true;
}

/// Sends a body while it is made: a part is made only after the client has taken the one before it.
/// A body that cannot be made to its end is cut off, which the client sees.
asio::awaitable<bool> HttpConnection::send_source(BodySource& source, bool knows_chunks) {
  // Each piece has a deadline of its own, so that a slow client does not lose a large part.
  constexpr std::size_t largest_piece = std::size_t{64} * 1024;
  while (true) {
    stream_->clear_deadline();
    const std::optional<std::string> part =
        co_await run_on(context_.pool, [&source] { return next_part(source); });
    if (!part) co_return false;
    if (part->empty()) break;
    for (std::string_view rest = *part; !rest.empty();) {
      const std::string_view piece = rest.substr(0, largest_piece);
      rest.remove_prefix(piece.size());
      const std::string bytes = knows_chunks ? format_chunk(piece) : std::string(piece);
      stream_->set_deadline(Stream::Clock::now() + context_.deadlines.header);
      const bool is_sent = co_await stream_->write(bytes);
      if (!is_sent) co_return false;
    }
  }
  if (!knows_chunks) co_return true;
  stream_->set_deadline(Stream::Clock::now() + context_.deadlines.header);
  co_return co_await stream_->write(last_chunk);
}

/// Reads and throws away what the client still sends. Closing a socket with unread bytes resets the
/// connection, and the client might lose the response.
asio::awaitable<void> HttpConnection::linger() {
  std::string().swap(input_);
  stream_->end_writing();
  stream_->set_deadline(Stream::Clock::now() + context_.deadlines.linger);
  std::size_t count = 0;
  do {
    count = co_await stream_->read(context_.buffer);
  } while (count > 0);
}

}  // namespace pelto::collector
