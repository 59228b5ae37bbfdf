#include "collector/api/ApiRoutes.h"

#include <array>

#include "collector/http/Text.h"

namespace pelto::collector {

namespace {

constexpr std::string_view name_segment = "NAME";

constexpr bool hashes = true;
constexpr std::array routes{
    ApiRoute{Operation::show_session, "GET", "/api/v1/session", std::nullopt},
    ApiRoute{Operation::log_in, "POST", "/api/v1/session", std::nullopt, hashes},
    ApiRoute{Operation::log_out, "DELETE", "/api/v1/session", Role::viewer},
    ApiRoute{Operation::change_own_password, "PUT", "/api/v1/session/password", Role::viewer,
             hashes},
    ApiRoute{Operation::set_up, "POST", "/api/v1/setup", std::nullopt, hashes},
    ApiRoute{Operation::list_products, "GET", "/api/v1/products", Role::viewer},
    ApiRoute{Operation::show_figure, "GET", "/api/v1/figures/NAME", Role::viewer},
    ApiRoute{Operation::show_keeping, "GET", "/api/v1/keeping", Role::viewer},
    ApiRoute{Operation::show_health, "GET", "/api/v1/health", Role::viewer},
    ApiRoute{Operation::list_contacts, "GET", "/api/v1/contacts", Role::contacts},
    ApiRoute{Operation::erase, "POST", "/api/v1/erasures", Role::admin},
    ApiRoute{Operation::export_data, "GET", "/api/v1/export", Role::admin},
    ApiRoute{Operation::list_users, "GET", "/api/v1/users", Role::admin},
    ApiRoute{Operation::add_user, "POST", "/api/v1/users", Role::admin, hashes},
    ApiRoute{Operation::change_user, "PUT", "/api/v1/users/NAME", Role::admin, hashes},
    ApiRoute{Operation::remove_user, "DELETE", "/api/v1/users/NAME", Role::admin},
    ApiRoute{Operation::list_audit, "GET", "/api/v1/audit", Role::admin},
};

/// Whether the path has this form; `name` gets what is in the place of NAME.
bool matches(std::string_view form, std::string_view path, std::string& name) {
  if (!form.ends_with(name_segment)) return form == path;
  const std::string_view start = form.substr(0, form.size() - name_segment.size());
  if (!path.starts_with(start)) return false;
  const std::string_view segment = path.substr(start.size());
  if (segment.empty() || segment.find('/') != std::string_view::npos) return false;
  const auto decoded = decode_percent(segment);
  if (!decoded) return false;
  name = *decoded;
  return true;
}

}  // namespace

ApiMatch find_api_route(std::string_view method, std::string_view path) {
  ApiMatch match;
  for (const ApiRoute& route : routes) {
    if (!matches(route.path, path, match.name)) continue;
    match.path = route.path;
    const bool is_read = route.method == "GET";
    if (method == route.method || (is_read && method == "HEAD")) match.route = &route;
    if (!match.allowed.empty()) match.allowed += ", ";
    match.allowed.append(route.method).append(is_read ? ", HEAD" : "");
  }
  return match;
}

}  // namespace pelto::collector
