#include "collector/api/Api.h"

#include <exception>
#include <utility>

#include "collector/api/ApiCall.h"
#include "collector/http/Problem.h"

namespace pelto::collector {

namespace {

/// The account of the request's session, as it is now; none without a session.
std::optional<Account> user_of(AccessControl& access, const ApiRequest& request) {
  if (request.token.empty()) return std::nullopt;
  const auto session = access.sessions.find(request.token, request.now);
  if (!session) return std::nullopt;
  // A command beside the server can have changed or removed the account.
  const auto known = access.accounts.find(session->user);
  if (known && known->stamp == session->stamp) return known->account;
  access.sessions.end(request.token);
  return std::nullopt;
}

Response carry_out(const ApiCall& call) {
  switch (call.request.match.route->operation) {
    case Operation::show_session:
      return show_session(call);
    case Operation::log_in:
      return log_in(call);
    case Operation::log_out:
      return log_out(call);
    case Operation::set_up:
      return set_up(call);
    case Operation::change_own_password:
      return change_own_password(call);
    case Operation::list_products:
      return list_products(call);
    case Operation::show_figure:
      return show_figure(call);
    case Operation::show_keeping:
      return show_keeping(call);
    case Operation::show_health:
      return show_health(call);
    case Operation::list_contacts:
      return list_contacts(call);
    case Operation::erase:
      return erase(call);
    case Operation::export_data:
      return export_data(call);
    case Operation::list_users:
      return list_users(call);
    case Operation::add_user:
      return add_user(call);
    case Operation::change_user:
      return change_user(call);
    case Operation::remove_user:
      return remove_user(call);
    case Operation::list_audit:
      return list_audit(call);
  }
  return unknown_path();
}

Response judge(const ApiContext& context, const ApiRequest& request) {
  const std::optional<Role> needed = request.match.route->role;
  const std::optional<Account> user = user_of(context.access, request);
  if (needed && !user) return session_missing(context.access);
  if (needed && user->role < *needed) {
    return problem(403, "forbidden", "this needs the role " + std::string(name_of(*needed)));
  }
  auto query = parse_query(request.query);
  if (!query) return problem(400, "bad-query", "the query cannot be read");
  return carry_out({context, request, std::move(*query), user.value_or(Account{})});
}

}  // namespace

Response respond_to_api(const ApiContext& context, const ApiRequest& request) {
  if (!context.goes_on()) return ending();
  try {
    return judge(context, request);
  } catch (const ApiError& error) {
    return problem(error.status(), error.code(), error.what());
  } catch (const FigureError& error) {
    return error.kind() == FigureError::Kind::not_found ? problem(404, "not-found", error.what())
                                                        : problem(400, "bad-request", error.what());
  } catch (const std::exception& error) {
    // The text can name files of the server.
    context.report_failure(error.what());
    return try_later(503, "failed", "this failed; the server's log says why",
                     std::chrono::seconds(5));
  }
}

}  // namespace pelto::collector
