#include "collector/http/Routes.h"

#include <algorithm>

#include "collector/http/Target.h"
#include "collector/http/Text.h"

namespace pelto::collector {

namespace {

constexpr std::string_view health_path = "/healthz";
constexpr std::string_view readiness_path = "/readyz";
constexpr std::string_view participants_path = "/mine";

/// The names of all products in a query like "product=A&x=y", not decoded.
std::vector<std::string_view> products_in(std::string_view query) {
  constexpr std::string_view key = "product=";
  std::vector<std::string_view> names;
  while (!query.empty()) {
    const std::size_t end = std::min(query.find('&'), query.size());
    const std::string_view pair = query.substr(0, end);
    if (pair.starts_with(key)) names.push_back(pair.substr(key.size()));
    query.remove_prefix(std::min(end + 1, query.size()));
  }
  return names;
}

}  // namespace

bool Route::is_health_path() const {
  return path == health_path || path == readiness_path;
}

IntakeRoutes::IntakeRoutes(std::vector<std::string> paths, std::vector<std::string> products)
    : paths_(std::move(paths)), products_(std::move(products)) {}

Route IntakeRoutes::find(std::string_view method, std::string_view target) const {
  const auto [path, query] = split_target(target);

  Route route;
  if (path == health_path || path == readiness_path) {
    const bool is_health = path == health_path;
    route.path = is_health ? health_path : readiness_path;
    route.kind = method != "GET" && method != "HEAD" ? Route::Kind::wrong_method
                 : is_health                         ? Route::Kind::health
                                                     : Route::Kind::readiness;
    return route;
  }
  route = find_delivery(path, query);
  if (method != "POST") route.kind = Route::Kind::wrong_method;
  return route;
}

Route IntakeRoutes::find_delivery(std::string_view path, std::string_view query) const {
  Route route;
  std::vector<std::string_view> names = products_in(query);
  if (const auto same = std::find(paths_.begin(), paths_.end(), path); same != paths_.end()) {
    route.path = *same;
  } else {
    const std::size_t slash = path.rfind('/');
    if (slash == std::string_view::npos) return route;
    const std::string_view parent = path.substr(0, std::max<std::size_t>(slash, 1));
    const auto above = std::find(paths_.begin(), paths_.end(), parent);
    if (above == paths_.end()) return route;
    route.path = *above;
    names.push_back(path.substr(slash + 1));
  }

  if (names.empty()) {
    if (products_.size() == 1) route.product = products_.front();
  } else {
    route.product = known(names.front());
    // Which of two names is meant is not certain.
    for (const std::string_view name : names) {
      if (known(name) != route.product) route.product = {};
    }
  }
  if (!route.product.empty()) route.kind = Route::Kind::delivery;
  return route;
}

std::string_view IntakeRoutes::known(std::string_view name) const {
  const auto decoded = decode_percent(name);
  if (!decoded) return {};
  const auto product = std::find(products_.begin(), products_.end(), *decoded);
  if (product == products_.end()) return {};
  return *product;
}

bool is_participants_path(std::string_view path) {
  return path == participants_path ||
         (path.starts_with(participants_path) && path[participants_path.size()] == '/');
}

bool is_intake_path(std::string_view path) {
  if (!path.starts_with('/')) return false;
  if (path.size() > 1 && path.ends_with('/')) return false;
  if (path == health_path || path == readiness_path) return false;
  if (is_participants_path(path)) return false;
  return std::none_of(path.begin(), path.end(),
                      [](char c) { return c == '?' || c == '#' || c <= ' ' || c == '\x7f'; });
}

}  // namespace pelto::collector
