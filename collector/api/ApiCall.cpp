#include "collector/api/ApiCall.h"

#include <chrono>

#include "collector/access/Password.h"
#include "collector/http/Problem.h"

namespace pelto::collector {

std::optional<std::string> ApiCall::value(std::string_view name) const {
  const auto found = query.find(name);
  return found == query.end() ? std::nullopt : std::optional(found->second);
}

nlohmann::json read_object(const std::string& body) {
  auto json = nlohmann::json::parse(body, nullptr, false);
  if (!json.is_object()) throw ApiError(400, "bad-json", "the body is no JSON object");
  return json;
}

std::string text_member(const nlohmann::json& object, const char* name) {
  auto text = optional_text(object, name);
  if (!text) throw ApiError(400, "bad-json", std::string("the body has no member ") + name);
  return std::move(*text);
}

std::optional<std::string> optional_text(const nlohmann::json& object, const char* name) {
  const auto member = object.find(name);
  if (member == object.end() || member->is_null()) return std::nullopt;
  if (!member->is_string()) {
    throw ApiError(400, "bad-json", std::string("the member ") + name + " is no text");
  }
  return member->get<std::string>();
}

void require_acceptable(const std::string& password) {
  if (is_acceptable_password(password)) return;
  throw ApiError(422, "short-password",
                 "a password has at least " + std::to_string(shortest_password) + " characters");
}

Response ending() {
  return try_later(503, "ending", "the server ends, and not everything is done; ask again",
                   std::chrono::seconds(10));
}

Response no_content() {
  Response response;
  response.status = 204;
  response.body.clear();
  response.fields = "Cache-Control: no-store\r\n";
  return response;
}

}  // namespace pelto::collector
