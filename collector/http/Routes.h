// What a request to the intake listener is for, by its method and target. No socket.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace pelto::collector {

/// The product of a server without named ones.
inline constexpr char default_product[] = "default";
inline constexpr char default_path[] = "/collect";

struct Route {
  enum class Kind { delivery, health, readiness, unknown_product, wrong_method };

  Kind kind = Kind::unknown_product;
  /// The path that was recognized, for the log; empty for an unknown one. Lives as long as the
  /// routes.
  std::string_view path;
  /// The known product, or empty. Lives as long as the routes.
  std::string_view product;

  /// Whether the path is one of the server's health, whatever the method.
  bool is_health_path() const;
};

class IntakeRoutes {
 public:
  /// Each path begins with a slash; "/" itself is allowed. There is at least one path and one
  /// product, and no product twice.
  IntakeRoutes(std::vector<std::string> paths, std::vector<std::string> products);

  /// The method is judged first: whatever is not a delivery, nor asks for the server's health, is
  /// of the wrong method.
  Route find(std::string_view method, std::string_view target) const;

 private:
  Route find_delivery(std::string_view path, std::string_view query) const;
  /// The known product of this name; empty if there is none.
  std::string_view known(std::string_view name) const;

  std::vector<std::string> paths_;
  std::vector<std::string> products_;
};

/// Whether a path is one of those for people who take part: "/mine", or below it.
bool is_participants_path(std::string_view path);

/// Whether a path can be one of the intake's: it begins with a slash, does not end with one unless
/// it is only that, has no query, fragment, space or control character, and is not one of the
/// paths of the server's health or of the participants.
bool is_intake_path(std::string_view path);

}  // namespace pelto::collector
