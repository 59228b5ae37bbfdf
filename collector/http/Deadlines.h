// How long a client may take. A trickle of bytes does not stretch any of these times.
#pragma once

#include <chrono>
#include <cstddef>

namespace pelto::collector {

struct Deadlines {
  using Duration = std::chrono::milliseconds;

  /// For the TLS handshake, and for a request's header from its first byte; on a new connection for
  /// the header from the connection on. A part of a response that is made while it is sent may take
  /// as long to be written.
  Duration header = std::chrono::seconds(10);
  /// A body may take this long whatever its rate, and so may any other response.
  Duration body_start = std::chrono::seconds(10);
  /// From then on at least this many bytes a second must have arrived, or been taken by the client,
  /// on average since its start.
  std::size_t body_rate = 1024;
  /// Neither may take longer than this at any rate.
  Duration body = std::chrono::minutes(5);
  /// Between two requests.
  Duration idle = std::chrono::seconds(15);
  /// How long what a client still sends is read and thrown away after a response that ends the
  /// connection: a client that is still sending might not read the response otherwise.
  Duration linger = std::chrono::seconds(5);
  /// For the open requests after the server has been asked to end.
  Duration stop = std::chrono::seconds(10);
};

/// When, counted from the start of a body or response, more than `bytes` of it must have arrived or
/// been taken.
Deadlines::Duration body_allowance(const Deadlines& deadlines, std::size_t bytes);

}  // namespace pelto::collector
