#pragma once

#include <boost/asio/awaitable.hpp>
#include <boost/asio/thread_pool.hpp>
#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "collector/http/Address.h"
#include "collector/http/Budget.h"
#include "collector/http/Deadlines.h"
#include "collector/http/Site.h"
#include "collector/http/Stream.h"

namespace pelto::collector {

/// What all connections of a server share.
struct ConnectionContext {
  Deadlines deadlines;
  /// The most bytes of a body.
  std::size_t max_body = 0;
  Budget& budget;
  /// What arrives is read into this first. It is taken out again before a connection waits.
  std::span<char> buffer;
  /// Where the parts of bodies are made that are sent while they are made.
  boost::asio::thread_pool& pool;
  /// Set when the server ends: each response ends its connection then.
  bool is_stopping = false;
};

/// A client's connection: reads its requests one after the other, has the site judge and answer
/// them, and writes the responses (RFC 9112).
class HttpConnection {
 public:
  /// `site` and `context` must outlive the connection.
  HttpConnection(std::shared_ptr<Stream> stream, const Address& peer, Site& site,
                 ConnectionContext& context);
  ~HttpConnection();
  HttpConnection(const HttpConnection&) = delete;
  HttpConnection& operator=(const HttpConnection&) = delete;

  /// Serves the connection to its end.
  boost::asio::awaitable<void> run();

  /// Whether no request is open.
  bool is_idle() const { return is_idle_; }
  /// Closes the connection at once.
  void abort() { stream_->abort(); }

 private:
  struct Exchange;
  enum class Arrival { complete, refused, disconnected };

  boost::asio::awaitable<bool> await_request();
  boost::asio::awaitable<bool> serve_one();
  boost::asio::awaitable<bool> receive();
  boost::asio::awaitable<Arrival> read_header(Exchange& exchange);
  boost::asio::awaitable<Arrival> read_body(Exchange& exchange);
  boost::asio::awaitable<bool> send(const Exchange& exchange);
  boost::asio::awaitable<bool> send_whole(std::string_view bytes);
  boost::asio::awaitable<bool> send_source(BodySource& source, bool knows_chunks);
  boost::asio::awaitable<void> linger();
  Arrival refuse_lost(Exchange& exchange) const;
  bool parse_header(Exchange& exchange);
  void take_header(Exchange& exchange) const;
  bool parse_body(Exchange& exchange);

  std::shared_ptr<Stream> stream_;
  Address peer_;
  Site& site_;
  ConnectionContext& context_;
  /// What has arrived and has not been used.
  std::string input_;
  bool is_first_ = true;
  bool is_idle_ = false;
};

}  // namespace pelto::collector
