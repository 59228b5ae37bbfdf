#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "collector/intake/Refusal.h"
#include "collector/report/Calendar.h"

namespace pelto::collector {

/// A body that is made while it is sent.
class BodySource {
 public:
  virtual ~BodySource() = default;
  /// The next part, which is not empty; none at the end. Takes its time: it is not called on the
  /// network's thread. Throws if the rest cannot be made.
  virtual std::optional<std::string> next() = 0;
};

struct Response {
  int status = 200;
  std::string content_type = "text/plain";
  std::string body = "OK";
  /// In place of `body`, if it is not empty: bytes that outlive the response.
  std::string_view fixed_body{};
  /// Gives the body in place of `body`.
  std::shared_ptr<BodySource> source{};
  /// Further fields, each with its CR LF.
  std::string fields;
  /// For the log: what became of the request.
  std::string_view code = "ok";
  /// Set if the request is counted as refused.
  std::optional<Refusal> refusal;
};

/// The body, unless a source gives it.
std::string_view body_of(const Response& response);

/// What a status means, as "Not Found".
std::string_view reason_of(int status);

/// The response of a refused request: "refused: CODE" with the status of the code.
Response refusal_response(Refusal refusal);
/// The one for a client that sends more than its share: 429 "refused: busy".
Response rate_response();

struct ResponseForm {
  Time now;
  bool keeps_alive = true;
  /// A request of the method HEAD gets everything but the body.
  bool has_body = true;
  /// Whether the client knows HTTP/1.1. Another one gets a body from a source to the connection's
  /// end, which `keeps_alive` must allow.
  bool knows_chunks = true;
};

/// The bytes of a response (RFC 9112); those before the body if a source gives it.
std::string format_response(const Response& response, const ResponseForm& form);

/// A part of a chunked body (RFC 9112, 7.1).
std::string format_chunk(std::string_view part);
inline constexpr std::string_view last_chunk = "0\r\n\r\n";

}  // namespace pelto::collector
