// Managing accounts.
#include <string>

#include "collector/api/ApiCall.h"
#include "collector/http/Problem.h"

namespace pelto::collector {

namespace {

Role read_role(const std::string& name) {
  if (const auto role = find_role(name)) return *role;
  throw ApiError(422, "bad-role", "the role is one of viewer, contacts and admin");
}

void require(AccountChange change, const std::string& name) {
  switch (change) {
    case AccountChange::done:
      return;
    case AccountChange::unknown:
      throw ApiError(404, "no-account", "there is no account " + name);
    case AccountChange::last_admin:
      throw ApiError(409, "last-admin", name + " is the last account of the role admin");
  }
}

}  // namespace

Response list_users(const ApiCall& call) {
  auto users = nlohmann::ordered_json::array();
  for (const Account& account : call.context.access.accounts.list()) {
    users.push_back({{"name", account.name}, {"role", name_of(account.role)}});
  }
  return json_response(200, {{"users", users}});
}

Response add_user(const ApiCall& call) {
  const nlohmann::json body = read_object(call.request.body);
  const std::string name = text_member(body, "name");
  const std::string role_name = text_member(body, "role");
  const std::string password = text_member(body, "password");
  if (!is_account_name(name)) {
    throw ApiError(422, "bad-name", "a name has 1 to 64 visible ASCII characters and no space");
  }
  const Role role = read_role(role_name);
  require_acceptable(password);
  if (!call.context.access.accounts.add({name, role}, password, call.actor())) {
    throw ApiError(409, "account-exists", "the account " + name + " exists already");
  }
  return json_response(201, {{"name", name}, {"role", role_name}});
}

Response change_user(const ApiCall& call) {
  const nlohmann::json body = read_object(call.request.body);
  const auto password = optional_text(body, "password");
  const auto role_name = optional_text(body, "role");
  if (!password && !role_name) {
    throw ApiError(400, "bad-json", "the body has no member password and no member role");
  }
  // Both are judged before one of them is changed.
  const Role role = role_name ? read_role(*role_name) : Role::viewer;
  if (password) require_acceptable(*password);
  AccessControl& access = call.context.access;
  if (role_name) {
    require(access.accounts.set_role(call.name(), role, call.actor()), call.name());
  }
  if (password) {
    const bool is_known = access.accounts.set_password(call.name(), *password, call.actor());
    require(is_known ? AccountChange::done : AccountChange::unknown, call.name());
  }
  access.sessions.end_all(call.name());
  return no_content();
}

Response remove_user(const ApiCall& call) {
  AccessControl& access = call.context.access;
  require(access.accounts.remove_if_dispensable(call.name(), call.actor()), call.name());
  access.sessions.end_all(call.name());
  return no_content();
}

}  // namespace pelto::collector
