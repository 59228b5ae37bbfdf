// A request to the API that was found to be allowed, and what the operations have in common.
#pragma once

#include <optional>
#include <stdexcept>
#include <string>

#include <nlohmann/json.hpp>

#include "collector/access/Account.h"
#include "collector/api/Api.h"

namespace pelto::collector {

/// A request that cannot be carried out.
class ApiError : public std::runtime_error {
 public:
  /// `code` is a literal, for the log.
  ApiError(int status, std::string_view code, const std::string& detail)
      : std::runtime_error(detail), status_(status), code_(code) {}
  int status() const { return status_; }
  std::string_view code() const { return code_; }

 private:
  int status_;
  std::string_view code_;
};

struct ApiCall {
  const ApiContext& context;
  const ApiRequest& request;
  QueryValues query;
  /// Whose session it is; nobody's where no session is needed.
  Account user;

  /// The value of this name in the query.
  std::optional<std::string> value(std::string_view name) const;
  const std::string& name() const { return request.match.name; }
  Actor actor() const { return {request.at, user.name}; }
  void note(Action action, const std::string& detail = {}) const {
    context.access.audit.add(request.at, user.name, action, detail);
  }
};

/// The body as a JSON object. Throws `ApiError`.
nlohmann::json read_object(const std::string& body);
/// A member that must be a text. Throws `ApiError`.
std::string text_member(const nlohmann::json& object, const char* name);
/// None if the member is missing or null.
std::optional<std::string> optional_text(const nlohmann::json& object, const char* name);

/// Throws `ApiError` for a password that is too short.
void require_acceptable(const std::string& password);

Response no_content();
/// For what the server's end has cut short, or left undone.
Response ending();

// The operations. Each throws `ApiError`, `FigureError` and `StorageError`.
Response show_session(const ApiCall& call);
Response log_in(const ApiCall& call);
Response log_out(const ApiCall& call);
Response set_up(const ApiCall& call);
Response change_own_password(const ApiCall& call);

Response list_products(const ApiCall& call);
Response show_figure(const ApiCall& call);
Response show_keeping(const ApiCall& call);
Response show_health(const ApiCall& call);
Response list_contacts(const ApiCall& call);

Response erase(const ApiCall& call);
Response export_data(const ApiCall& call);
Response list_audit(const ApiCall& call);

Response list_users(const ApiCall& call);
Response add_user(const ApiCall& call);
Response change_user(const ApiCall& call);
Response remove_user(const ApiCall& call);

/// Whether there is no account yet, and one can be made with the token of the setup.
bool is_setup_open(AccessControl& access);
/// The response to a request that needs a session and has none.
Response session_missing(AccessControl& access);

}  // namespace pelto::collector
