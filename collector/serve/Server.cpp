#include "collector/serve/Server.h"

#include <sys/resource.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <boost/asio/as_tuple.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/thread_pool.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <csignal>
#include <exception>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

#include "collector/http/HttpConnection.h"
#include "collector/http/LimitedPool.h"
#include "collector/http/LogWriter.h"
#include "collector/http/Stream.h"
#include "collector/http/Tls.h"
#include "collector/serve/IntakeSite.h"
#include "collector/serve/Metrics.h"
#include "collector/serve/PagesSite.h"
#include "collector/serve/ParticipantsSite.h"
#include "collector/serve/Readiness.h"

namespace pelto::collector {

namespace asio = boost::asio;
using asio::ip::tcp;

namespace {

/// The pages have few clients, who must not use up the files that the intake needs.
constexpr std::size_t most_page_connections = 256;
/// Files other than connections: the storage's, the listeners', the log.
constexpr std::size_t other_files = 128;
constexpr std::size_t read_buffer_size = std::size_t{16} * 1024;
constexpr std::size_t pool_threads = 2;
/// The pages' figures and exports do not hold up the intake.
constexpr std::size_t pages_pool_threads = 2;
/// Each needs 64 MiB while it hashes.
constexpr std::size_t password_pool_threads = 2;
constexpr std::size_t most_passwords = 32;
/// Nobody has to log in for these, so they hold up neither the intake nor the pages.
constexpr std::size_t participants_pool_threads = 1;
constexpr std::size_t most_participants = participants_pool_threads + 8;

/// Allows this process to open enough files. Returns how many connections the intake can have.
std::size_t allow_connections(std::size_t count) {
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return count;
  const rlim_t needed = count + most_page_connections + other_files;
  if (limit.rlim_cur < needed) {
    limit.rlim_cur = std::min<rlim_t>(needed, limit.rlim_max);
    setrlimit(RLIMIT_NOFILE, &limit);
    getrlimit(RLIMIT_NOFILE, &limit);
  }
  if (limit.rlim_cur >= needed) return count;
  constexpr rlim_t others = most_page_connections + other_files;
  return limit.rlim_cur > others ? limit.rlim_cur - others : 1;
}

tcp::acceptor open_listener(asio::io_context& network, const Endpoint& endpoint) {
  const std::string name = format_endpoint(endpoint);
  boost::system::error_code error;
  tcp::resolver resolver(network);
  const auto found =
      resolver.resolve(endpoint.host, std::to_string(endpoint.port), tcp::resolver::passive, error);
  if (error || found.empty()) throw ServeError("cannot find the address of " + name);
  tcp::acceptor acceptor(network);
  const tcp::endpoint address = found.begin()->endpoint();
  acceptor.open(address.protocol(), error);
  if (!error) acceptor.set_option(tcp::acceptor::reuse_address(true), error);
  if (!error) acceptor.bind(address, error);
  if (!error) acceptor.listen(tcp::acceptor::max_listen_connections, error);
  if (error) throw ServeError("cannot listen at " + name + ": " + error.message());
  return acceptor;
}

Address address_of(const asio::ip::address& address) {
  const asio::ip::address_v6 bytes =
      address.is_v4() ? asio::ip::make_address_v6(asio::ip::v4_mapped, address.to_v4())
                      : address.to_v6();
  return {bytes.to_bytes()};
}

}  // namespace

class Server::Core {
 public:
  Core(const ServeOptions& options, Storage& storage, AccessControl& access, LogWriter& log);

  Endpoint intake() const { return {options_.intake.host, intake_.port()}; }
  Endpoint pages() const { return {options_.pages.host, pages_.port()}; }

  void run();
  void stop();

 private:
  struct Listener {
    Listener(tcp::acceptor opened, Site& served, std::size_t limit)
        : acceptor(std::move(opened)), site(served), most_connections(limit) {}

    std::uint16_t port() const { return acceptor.local_endpoint().port(); }

    tcp::acceptor acceptor;
    Site& site;
    std::size_t most_connections;
    std::size_t connections = 0;
  };

  asio::awaitable<void> accept(Listener& listener);
  asio::awaitable<void> watch_signals();
  bool take_safely(Listener& listener, tcp::socket socket);
  void take(Listener& listener, tcp::socket socket);
  void refuse(const Listener& listener, tcp::socket socket);
  void reload_certificate();
  void begin_end();
  void finish_if_done();
  Health measure() const;

  ServeOptions options_;
  LogWriter& log_;
  /// Read by what runs on the pools.
  std::atomic<bool> goes_on_ = true;
  // Everything that follows is used by what the context still holds when it is destroyed.
  asio::io_context network_{1};
  asio::executor_work_guard<asio::io_context::executor_type> work_{network_.get_executor()};
  asio::thread_pool pool_{pool_threads};
  asio::thread_pool pages_pool_{pages_pool_threads};
  LimitedPool password_pool_{password_pool_threads, most_passwords};
  LimitedPool participants_pool_{participants_pool_threads, most_participants};
  std::array<char, read_buffer_size> buffer_{};
  Budget budget_;
  ConnectionContext context_;
  Readiness readiness_;
  Metrics metrics_;
  IntakeSite intake_site_;
  ParticipantsSite participants_site_;
  PagesSite pages_site_;
  TlsContext tls_;
  std::size_t most_connections_;
  Listener intake_;
  Listener pages_;
  asio::signal_set signals_;
  asio::steady_timer stop_timer_;
  std::unordered_set<HttpConnection*> connections_;
};

Server::Core::Core(const ServeOptions& options, Storage& storage, AccessControl& access,
                   LogWriter& log)
    : options_(options),
      log_(log),
      budget_(options_.max_in_flight, options_.max_body),
      context_{options_.deadlines, options_.max_body, budget_, buffer_, pages_pool_},
      readiness_(storage, pool_),
      intake_site_(options_, storage, pool_, readiness_, metrics_, log_),
      participants_site_(options_, storage, access.audit, participants_pool_, log_, intake_site_,
                         [this] { return goes_on_.load(); }),
      pages_site_(
          options_,
          {storage, access, options_.keeping, [this](std::string_view text) { log_.message(text); },
           [this] { return goes_on_.load(); }},
          {pages_pool_, password_pool_}, readiness_, metrics_, [this] { return measure(); }, log_),
      tls_(options_.tls ? open_tls(*options_.tls) : nullptr),
      most_connections_(allow_connections(options_.max_connections)),
      intake_(open_listener(network_, options_.intake), participants_site_, most_connections_),
      pages_(open_listener(network_, options_.pages), pages_site_, most_page_connections),
      signals_(network_),
      stop_timer_(network_) {
  // A log or a connection that nobody reads any more is an error like others.
  std::signal(SIGPIPE, SIG_IGN);
  for (const int signal : {SIGTERM, SIGINT, SIGHUP}) signals_.add(signal);
  for (const std::string& product : options_.products) storage.add_product(product);
  if (most_connections_ < options_.max_connections) {
    log_.message("the limit of open files allows " + std::to_string(most_connections_) +
                 " connections only");
  }
}

void Server::Core::run() {
  asio::co_spawn(network_, watch_signals(), asio::detached);
  asio::co_spawn(network_, accept(intake_), asio::detached);
  asio::co_spawn(network_, accept(pages_), asio::detached);
  network_.run();
  pool_.join();
  pages_pool_.join();
  password_pool_.join();
  participants_pool_.join();
}

void Server::Core::stop() {
  asio::post(network_, [this] { begin_end(); });
}

asio::awaitable<void> Server::Core::watch_signals() {
  while (!context_.is_stopping) {
    const auto [error, signal] = co_await signals_.async_wait(asio::as_tuple(asio::use_awaitable));
    if (error) co_return;
    if (signal == SIGHUP) {
      reload_certificate();
    } else {
      begin_end();
    }
  }
}

asio::awaitable<void> Server::Core::accept(Listener& listener) {
  constexpr std::chrono::milliseconds pause{50};
  asio::steady_timer timer(network_);
  while (listener.acceptor.is_open()) {
    auto [error, socket] =
        co_await listener.acceptor.async_accept(asio::as_tuple(asio::use_awaitable));
    if (context_.is_stopping) co_return;
    if (!error && take_safely(listener, std::move(socket))) continue;
    // The client has gone already, or the system is out of files or memory.
    timer.expires_after(pause);
    co_await timer.async_wait(asio::as_tuple(asio::use_awaitable));
  }
}

/// Returns false without memory for a connection. The listener goes on to accept.
bool Server::Core::take_safely(Listener& listener, tcp::socket socket) {
  try {
    take(listener, std::move(socket));
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

void Server::Core::take(Listener& listener, tcp::socket socket) {
  boost::system::error_code error;
  const tcp::endpoint peer = socket.remote_endpoint(error);
  if (error) return;
  if (listener.connections >= listener.most_connections) {
    refuse(listener, std::move(socket));
    return;
  }
  TlsSession tls = tls_ ? start_tls(*tls_, socket.native_handle()) : nullptr;
  if (tls_ && !tls) return;
  const auto stream = std::make_shared<Stream>(std::move(socket), std::move(tls));
  const auto connection =
      std::make_shared<HttpConnection>(stream, address_of(peer.address()), listener.site, context_);
  connections_.insert(connection.get());
  ++listener.connections;
  const auto forget = [this, &listener](HttpConnection* ended) {
    connections_.erase(ended);
    --listener.connections;
  };
  try {
    asio::co_spawn(network_, connection->run(),
                   [this, forget, connection](const std::exception_ptr& failure) {
                     forget(connection.get());
                     if (failure) log_.message("a connection failed");
                     finish_if_done();
                   });
  } catch (...) {
    forget(connection.get());
    throw;
  }
}

/// Says that the server is busy, as far as that can be said without waiting.
void Server::Core::refuse(const Listener& listener, tcp::socket socket) {
  if (&listener == &intake_) metrics_.count_refused_connection();
  if (tls_) return;
  ResponseForm form;
  form.now = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
  form.keeps_alive = false;
  const std::string bytes = format_response(refusal_response(Refusal::busy), form);
  boost::system::error_code ignored;
  socket.non_blocking(true, ignored);
  socket.write_some(asio::buffer(bytes), ignored);
  socket.shutdown(tcp::socket::shutdown_send, ignored);
  // Closing a socket with unread bytes would take the response back.
  socket.read_some(asio::buffer(buffer_), ignored);
}

void Server::Core::reload_certificate() {
  if (!options_.tls) return;
  try {
    tls_ = open_tls(*options_.tls);
    log_.message("the TLS certificate was read again");
  } catch (const ServeError& error) {
    log_.message(error.what());
  }
}

void Server::Core::begin_end() {
  if (std::exchange(context_.is_stopping, true)) return;
  boost::system::error_code ignored;
  intake_.acceptor.close(ignored);
  pages_.acceptor.close(ignored);
  signals_.cancel();
  for (HttpConnection* const connection : connections_) {
    if (connection->is_idle()) connection->abort();
  }
  stop_timer_.expires_after(options_.deadlines.stop);
  stop_timer_.async_wait([this](const boost::system::error_code& error) {
    if (error) return;
    goes_on_ = false;
    for (HttpConnection* const connection : connections_) connection->abort();
  });
  finish_if_done();
}

void Server::Core::finish_if_done() {
  if (!context_.is_stopping || !connections_.empty()) return;
  stop_timer_.cancel();
  work_.reset();
}

Health Server::Core::measure() const {
  Health health;
  health.connections = intake_.connections;
  health.bytes_in_flight = budget_.used();
  health.version = PELTO_VERSION;
  return health;
}

Server::Server(const ServeOptions& options, Storage& storage, AccessControl& access, LogWriter& log)
    : core_(std::make_unique<Core>(options, storage, access, log)) {}

Server::~Server() = default;

Endpoint Server::intake() const {
  return core_->intake();
}

Endpoint Server::pages() const {
  return core_->pages();
}

void Server::run() {
  core_->run();
}

void Server::stop() {
  core_->stop();
}

}  // namespace pelto::collector
