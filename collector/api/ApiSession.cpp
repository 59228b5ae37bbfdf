// Logging in and out, and the first account.
#include <string>
#include <utility>

#include "collector/api/ApiCall.h"
#include "collector/http/Cookie.h"
#include "collector/http/Problem.h"

namespace pelto::collector {

namespace {

/// One attempt to enter an account's password, as the limiter counts it.
class PasswordAttempt {
 public:
  /// With a wait it may not be made now.
  PasswordAttempt(const ApiCall& call, const std::string& user)
      : limiter_(call.context.access.limiter), now_(call.request.now) {
    const Address key = rate_key(call.request.client);
    attempt_.address.assign(key.bytes.begin(), key.bytes.end());
    // Names that no account can have count as one, so that none takes much memory.
    if (is_account_name(user)) attempt_.account = user;
    wait_ = limiter_.begin(attempt_, now_);
  }
  ~PasswordAttempt() {
    if (!wait_) limiter_.end(attempt_, result_, now_);
  }
  PasswordAttempt(const PasswordAttempt&) = delete;
  PasswordAttempt& operator=(const PasswordAttempt&) = delete;

  const std::optional<std::chrono::seconds>& wait() const { return wait_; }
  void set_right(bool is_right) {
    result_ = is_right ? LoginLimiter::Result::right : LoginLimiter::Result::wrong;
  }

 private:
  LoginLimiter& limiter_;
  LoginLimiter::TimePoint now_;
  LoginLimiter::Attempt attempt_;
  std::optional<std::chrono::seconds> wait_;
  LoginLimiter::Result result_ = LoginLimiter::Result::not_compared;
};

Response wait_response(std::chrono::seconds wait) {
  return try_later(
      429, "too-many",
      "too many wrong passwords; try again in " + std::to_string(wait.count()) + " seconds", wait);
}

nlohmann::ordered_json as_json(const Account& account) {
  return {{"user", account.name}, {"role", name_of(account.role)}};
}

/// Begins a session in place of the request's, and gives the response its cookie.
void begin_session(const ApiCall& call, const KnownAccount& known, Response& response) {
  Sessions& sessions = call.context.access.sessions;
  sessions.end(call.request.token);
  const std::string token = sessions.begin({known.account.name, known.stamp}, call.request.now);
  response.fields += set_session_cookie(token, call.request.is_secure);
}

}  // namespace

bool is_setup_open(AccessControl& access) {
  if (!access.setup.is_open()) return false;
  if (access.accounts.is_empty()) return true;
  // A command beside the server has made one.
  access.setup.close();
  return false;
}

Response session_missing(AccessControl& access) {
  nlohmann::ordered_json members = nlohmann::ordered_json::object();
  if (is_setup_open(access)) members["setup"] = true;
  Response response = problem(401, "no-session", "nobody is logged in", members);
  response.fields += "WWW-Authenticate: Cookie realm=\"pelto-collector\"\r\n";
  return response;
}

Response show_session(const ApiCall& call) {
  if (call.user.name.empty()) return session_missing(call.context.access);
  return json_response(200, as_json(call.user));
}

Response log_in(const ApiCall& call) {
  const nlohmann::json body = read_object(call.request.body);
  const std::string name = text_member(body, "user");
  const std::string password = text_member(body, "password");
  PasswordAttempt attempt(call, name);
  if (attempt.wait()) return wait_response(*attempt.wait());

  AccessControl& access = call.context.access;
  const auto known = access.accounts.find(name, password);
  attempt.set_right(known.has_value());
  if (!known) {
    // People enter their password in place of their name at times.
    const bool is_known_name = access.accounts.find(name).has_value();
    access.audit.add(call.request.at, is_known_name ? name : "", Action::log_in_failed);
    return problem(401, "wrong-password", "the name or the password is wrong");
  }
  access.audit.add(call.request.at, name, Action::log_in);
  Response response = json_response(200, as_json(known->account));
  begin_session(call, *known, response);
  return response;
}

Response log_out(const ApiCall& call) {
  call.context.access.sessions.end(call.request.token);
  call.note(Action::log_out);
  Response response = no_content();
  response.fields += clear_session_cookie(call.request.is_secure);
  return response;
}

Response set_up(const ApiCall& call) {
  const nlohmann::json body = read_object(call.request.body);
  const std::string token = text_member(body, "token");
  const Account account{text_member(body, "user"), Role::admin};
  const std::string password = text_member(body, "password");
  AccessControl& access = call.context.access;
  const ApiError refusal(403, "wrong-token", "this link was used already, or is not the latest");
  if (!access.setup.is_right(token) || !is_setup_open(access)) throw refusal;
  if (!is_account_name(account.name)) {
    throw ApiError(422, "bad-name", "a name has 1 to 64 visible ASCII characters and no space");
  }
  require_acceptable(password);
  const bool is_first = access.accounts.add_first(account, password, call.request.at);
  access.setup.close();
  if (!is_first) throw refusal;

  Response response = json_response(201, as_json(account));
  if (const auto known = access.accounts.find(account.name)) begin_session(call, *known, response);
  return response;
}

Response change_own_password(const ApiCall& call) {
  const nlohmann::json body = read_object(call.request.body);
  const std::string old_password = text_member(body, "old");
  const std::string new_password = text_member(body, "new");
  require_acceptable(new_password);
  PasswordAttempt attempt(call, call.user.name);
  if (attempt.wait()) return wait_response(*attempt.wait());

  AccessControl& access = call.context.access;
  const bool is_right = access.accounts.find(call.user.name, old_password).has_value();
  attempt.set_right(is_right);
  if (!is_right) throw ApiError(403, "wrong-password", "the old password is wrong");
  access.accounts.set_password(call.user.name, new_password, call.actor());
  access.sessions.end_all(call.user.name);
  Response response = no_content();
  if (const auto known = access.accounts.find(call.user.name))
    begin_session(call, *known, response);
  return response;
}

}  // namespace pelto::collector
