#include "collector/http/Stream.h"

#include <openssl/err.h>
#include <openssl/ssl.h>
#include <sys/socket.h>

#include <algorithm>
#include <boost/asio/as_tuple.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <cerrno>
#include <climits>
#include <utility>

namespace pelto::collector {

namespace asio = boost::asio;

Stream::Stream(asio::ip::tcp::socket socket, TlsSession tls)
    : socket_(std::move(socket)), tls_(std::move(tls)), timer_(socket_.get_executor()) {
  boost::system::error_code ignored;
  socket_.non_blocking(true, ignored);
  socket_.set_option(asio::ip::tcp::no_delay(true), ignored);
}

asio::awaitable<bool> Stream::handshake() {
  if (!tls_) co_return true;
  while (true) {
    const Progress progress = try_handshake();
    if (progress == Progress::done) co_return true;
    const bool can_go_on = co_await wait(progress);
    if (!can_go_on) co_return false;
  }
}

asio::awaitable<std::size_t> Stream::read(std::span<char> buffer) {
  while (true) {
    std::size_t count = 0;
    const Progress progress = try_read(buffer, count);
    if (progress == Progress::done) co_return count;
    const bool can_go_on = co_await wait(progress);
    if (!can_go_on) co_return 0;
  }
}

asio::awaitable<std::size_t> Stream::write_some(std::string_view bytes) {
  while (true) {
    std::size_t count = 0;
    const Progress progress = try_write(bytes, count);
    if (progress == Progress::done) co_return count;
    const bool can_go_on = co_await wait(progress);
    if (!can_go_on) co_return 0;
  }
}

asio::awaitable<bool> Stream::write(std::string_view bytes) {
  while (!bytes.empty()) {
    const std::size_t count = co_await write_some(bytes);
    if (count == 0) co_return false;
    bytes.remove_prefix(count);
  }
  co_return true;
}

void Stream::end_writing() {
  if (tls_ && SSL_is_init_finished(tls_.get()) != 0) {
    ERR_clear_error();
    SSL_shutdown(tls_.get());
  }
  boost::system::error_code ignored;
  socket_.shutdown(asio::ip::tcp::socket::shutdown_send, ignored);
}

void Stream::set_deadline(Clock::time_point deadline) {
  deadline_ = deadline;
  has_expired_ = false;
  // A later deadline is found when the timer fires; most never come.
  if (deadline < armed_for_) arm(deadline);
}

void Stream::abort() {
  is_aborted_ = true;
  timer_.cancel();
  boost::system::error_code ignored;
  socket_.close(ignored);
}

Stream::Progress Stream::try_handshake() {
  if (has_expired_ || is_aborted_) return Progress::failed;
  ERR_clear_error();
  return judge_tls(SSL_do_handshake(tls_.get()));
}

Stream::Progress Stream::try_read(std::span<char> buffer, std::size_t& count) {
  if (has_expired_ || is_aborted_) return Progress::failed;
  if (tls_) {
    ERR_clear_error();
    const int size = static_cast<int>(std::min<std::size_t>(buffer.size(), INT_MAX));
    const int result = SSL_read(tls_.get(), buffer.data(), size);
    if (result > 0) count = static_cast<std::size_t>(result);
    return judge_tls(result);
  }
  const ssize_t result = recv(socket_.native_handle(), buffer.data(), buffer.size(), 0);
  if (result > 0) count = static_cast<std::size_t>(result);
  if (result < 0 && (errno == EAGAIN || errno == EINTR)) return Progress::wants_read;
  return result > 0 ? Progress::done : Progress::failed;
}

Stream::Progress Stream::try_write(std::string_view bytes, std::size_t& count) {
  if (has_expired_ || is_aborted_) return Progress::failed;
  if (tls_) {
    ERR_clear_error();
    const int size = static_cast<int>(std::min<std::size_t>(bytes.size(), INT_MAX));
    const int result = SSL_write(tls_.get(), bytes.data(), size);
    if (result > 0) count = static_cast<std::size_t>(result);
    return judge_tls(result);
  }
  const ssize_t result = send(socket_.native_handle(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
  if (result > 0) count = static_cast<std::size_t>(result);
  if (result < 0 && (errno == EAGAIN || errno == EINTR)) return Progress::wants_write;
  return result > 0 ? Progress::done : Progress::failed;
}

Stream::Progress Stream::judge_tls(int result) {
  if (result > 0) return Progress::done;
  switch (SSL_get_error(tls_.get(), result)) {
    case SSL_ERROR_WANT_READ:
      return Progress::wants_read;
    case SSL_ERROR_WANT_WRITE:
      return Progress::wants_write;
    default:
      return Progress::failed;
  }
}

asio::awaitable<bool> Stream::wait(Progress wanted) {
  if (wanted == Progress::failed || has_expired_ || is_aborted_) co_return false;
  const auto kind = wanted == Progress::wants_read ? asio::ip::tcp::socket::wait_read
                                                   : asio::ip::tcp::socket::wait_write;
  const auto [error] = co_await socket_.async_wait(kind, asio::as_tuple(asio::use_awaitable));
  co_return !error && !has_expired_ && !is_aborted_;
}

void Stream::arm(Clock::time_point time) {
  armed_for_ = time;
  timer_.expires_at(time);
  timer_.async_wait([self = shared_from_this()](const boost::system::error_code& error) {
    if (!error) self->on_timer();
  });
}

void Stream::on_timer() {
  armed_for_ = Clock::time_point::max();
  if (is_aborted_ || deadline_ == Clock::time_point::max()) return;
  if (deadline_ > Clock::now()) {
    arm(deadline_);
    return;
  }
  has_expired_ = true;
  boost::system::error_code ignored;
  socket_.cancel(ignored);
}

}  // namespace pelto::collector
