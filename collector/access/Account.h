#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace pelto::collector {

/// Each can do what those before it can.
enum class Role {
  /// Sees figures.
  viewer,
  /// Sees e-mail addresses, too.
  contacts,
  /// Erases, exports and manages accounts, too.
  admin,
};

struct Account {
  std::string name;
  Role role = Role::viewer;

  bool operator==(const Account&) const = default;
};

/// "viewer", "contacts" or "admin".
std::string_view name_of(Role role);
/// The role of this name; none for any other text.
std::optional<Role> find_role(std::string_view name);

/// Whether an account can have this name: 1 to 64 visible characters of ASCII, no space.
bool is_account_name(std::string_view name);

}  // namespace pelto::collector
