// A connection's bytes, with and without TLS.
#pragma once

#include <boost/asio/awaitable.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <cstddef>
#include <memory>
#include <span>
#include <string_view>

#include "collector/http/Tls.h"

namespace pelto::collector {

/// An accepted socket with one deadline for whatever it waits for. The bytes are read only when
/// some have arrived, into memory that all connections share, so that one that waits has no buffer
/// of its own. All operations fail once the deadline has passed or the stream was aborted.
///
/// Owned by a shared pointer: the timer keeps it alive.
class Stream : public std::enable_shared_from_this<Stream> {
 public:
  using Clock = std::chrono::steady_clock;

  /// Speaks TLS if `tls` is not null, a session on the same socket.
  Stream(boost::asio::ip::tcp::socket socket, TlsSession tls);

  /// Returns whether the handshake succeeded; true without TLS.
  boost::asio::awaitable<bool> handshake();
  /// Waits for bytes and reads them into `buffer`. Returns their number, 0 at the end.
  boost::asio::awaitable<std::size_t> read(std::span<char> buffer);
  /// Writes the first of some bytes, as many as the other end takes at once. Returns their number,
  /// 0 if that failed.
  boost::asio::awaitable<std::size_t> write_some(std::string_view bytes);
  /// Writes all bytes. Returns whether that succeeded.
  boost::asio::awaitable<bool> write(std::string_view bytes);
  /// Says that nothing more will be written.
  void end_writing();

  /// Replaces the deadline; also one that has passed.
  void set_deadline(Clock::time_point deadline);
  void clear_deadline() { deadline_ = Clock::time_point::max(); }
  /// Whether the deadline has passed.
  bool has_expired() const { return has_expired_; }

  /// Ends what the stream waits for and closes it. Can be called at any time.
  void abort();

 private:
  enum class Progress { done, wants_read, wants_write, failed };

  Progress try_handshake();
  Progress try_read(std::span<char> buffer, std::size_t& count);
  Progress try_write(std::string_view bytes, std::size_t& count);
  Progress judge_tls(int result);
  /// Waits until the socket can go on. Returns false if the stream is at its end.
  boost::asio::awaitable<bool> wait(Progress wanted);
  void arm(Clock::time_point time);
  void on_timer();

  boost::asio::ip::tcp::socket socket_;
  TlsSession tls_;
  boost::asio::steady_timer timer_;
  Clock::time_point deadline_ = Clock::time_point::max();
  Clock::time_point armed_for_ = Clock::time_point::max();
  bool has_expired_ = false;
  bool is_aborted_ = false;
};

}  // namespace pelto::collector
