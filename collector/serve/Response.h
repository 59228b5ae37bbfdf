#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "collector/intake/Refusal.h"
#include "collector/report/Calendar.h"

namespace pelto::collector {

struct Response {
  int status = 200;
  std::string content_type = "text/plain";
  std::string body = "OK";
  /// Further fields, each with its CR LF.
  std::string fields;
  /// For the log: what became of the request.
  std::string_view code = "ok";
  /// Set if the request is counted as refused.
  std::optional<Refusal> refusal;
};

/// The response of a refused request: "refused: CODE" with the status of the code.
Response refusal_response(Refusal refusal);
/// The one for a client that sends more than its share: 429 "refused: busy".
Response rate_response();

struct ResponseForm {
  Time now;
  bool keeps_alive = true;
  /// A request of the method HEAD gets everything but the body.
  bool has_body = true;
};

/// The bytes of a response (RFC 9112).
std::string format_response(const Response& response, const ResponseForm& form);

}  // namespace pelto::collector
