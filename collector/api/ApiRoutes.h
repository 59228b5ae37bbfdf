// What a request to the API is for, by its method and path.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "collector/access/Account.h"

namespace pelto::collector {

inline constexpr std::string_view api_prefix = "/api/";

enum class Operation {
  show_session,
  log_in,
  log_out,
  set_up,
  change_own_password,
  list_products,
  show_figure,
  show_keeping,
  show_health,
  list_contacts,
  erase,
  export_data,
  list_users,
  add_user,
  change_user,
  remove_user,
  list_audit,
};

struct ApiRoute {
  Operation operation;
  std::string_view method;
  /// A last segment NAME is for any.
  std::string_view path;
  /// The least role that may do it; none: no session is needed.
  std::optional<Role> role;
  /// Whether it takes a tenth of a second and 64 MiB.
  bool hashes_password = false;

  /// Whether it is not only a question.
  bool changes_something() const { return method != "GET"; }
};

struct ApiMatch {
  /// Null if there is none for the method.
  const ApiRoute* route = nullptr;
  /// The path that was recognized, with NAME as it is; empty for an unknown one. A literal.
  std::string_view path{};
  /// What is in the place of NAME, decoded.
  std::string name{};
  /// The methods that the path has, as "GET, HEAD, POST".
  std::string allowed{};
};

ApiMatch find_api_route(std::string_view method, std::string_view path);

}  // namespace pelto::collector
