#include "collector/http/Problem.h"

#include <nlohmann/json.hpp>

namespace pelto::collector {

using nlohmann::ordered_json;

namespace {

Response make_response(int status, const char* type, const std::string& line) {
  Response response;
  response.status = status;
  response.content_type = type;
  response.body = line + "\n";
  response.fields = no_store;
  return response;
}

/// What others sent can be in it, and need not be UTF-8.
std::string as_line(const ordered_json& json) {
  return json.dump(-1, ' ', false, ordered_json::error_handler_t::replace);
}

}  // namespace

Response problem(int status, std::string_view code, const std::string& detail) {
  return problem(status, code, detail, ordered_json::object());
}

Response problem(int status, std::string_view code, const std::string& detail,
                 const ordered_json& members) {
  ordered_json json{{"type", "about:blank"},
                    {"title", std::string(reason_of(status))},
                    {"status", status},
                    {"detail", detail}};
  json.update(members);
  Response response = make_response(status, "application/problem+json", as_line(json));
  response.code = code;
  return response;
}

Response unknown_path() {
  return problem(404, "not-found", "there is nothing at this path");
}

Response wrong_method(const std::string& allowed) {
  Response response = problem(405, "method", "this path takes " + allowed);
  response.fields += "Allow: " + allowed + "\r\n";
  return response;
}

Response other_origin() {
  return problem(403, "other-origin", "this can be done from this server's own pages only");
}

Response try_later(int status, std::string_view code, const std::string& detail,
                   std::chrono::seconds after) {
  Response response = problem(status, code, detail);
  response.fields += "Retry-After: " + std::to_string(after.count()) + "\r\n";
  return response;
}

std::optional<Response> refuse_body(const Framing& framing, std::size_t most) {
  if (framing.is_chunked) {
    return problem(411, "length", "a body needs a Content-Length");
  }
  if (framing.length.value_or(0) > most) {
    return problem(413, "too-large", "a body has " + std::to_string(most) + " bytes at most");
  }
  return std::nullopt;
}

Response json_response(int status, const ordered_json& json) {
  return make_response(status, "application/json", as_line(json));
}

Response json_line_response(const std::string& line) {
  return make_response(200, "application/json", line);
}

}  // namespace pelto::collector
