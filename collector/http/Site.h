// What a listener serves, apart from how requests are read and responses written.
#pragma once

#include <boost/asio/awaitable.hpp>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "collector/http/Address.h"
#include "collector/http/Framing.h"
#include "collector/http/Response.h"
#include "collector/http/Routes.h"

namespace pelto::collector {

struct Field {
  std::string name;
  std::string value;
};

struct Request {
  std::string method;
  std::string target;
  bool is_http_1_1 = false;
  std::vector<Field> fields;
  /// The other end of the connection.
  Address peer;
  Framing framing;
  /// Empty until it has been read.
  std::string body;
  /// Set by the site when it judges the request.
  Route route;

  /// The values of all fields of this name, in order; letter case is ignored.
  std::vector<std::string_view> values(std::string_view name) const;
};

struct RequestSummary {
  /// The bytes of the body that arrived.
  std::uint64_t bytes = 0;
  /// From the first byte to the end of the response.
  std::chrono::microseconds duration{};
};

/// All functions are called on the network's thread.
class Site {
 public:
  virtual ~Site() = default;

  /// Judges a request before its body is read: the response if it can be given already, none if the
  /// body is to be read.
  virtual boost::asio::awaitable<std::optional<Response>> judge(Request& request) = 0;
  /// The response to a request that was read whole. May take the body.
  virtual boost::asio::awaitable<Response> respond(Request& request) = 0;
  /// Counts a request before its response is written.
  virtual void count(const Request& request, const Response& response) = 0;
  /// Logs a request after its response has been written, or could not be.
  virtual void finish(const Request& request, const Response& response,
                      const RequestSummary& summary) = 0;
};

}  // namespace pelto::collector
