#include "collector/access/Account.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace pelto::collector {

namespace {

constexpr std::array roles{Role::viewer, Role::contacts, Role::admin};
constexpr std::size_t longest_account_name = 64;

}  // namespace

std::string_view name_of(Role role) {
  switch (role) {
    case Role::viewer:
      return "viewer";
    case Role::contacts:
      return "contacts";
    case Role::admin:
      return "admin";
  }
  return "";
}

std::optional<Role> find_role(std::string_view name) {
  const auto* const role = std::ranges::find(roles, name, name_of);
  return role == roles.end() ? std::nullopt : std::optional(*role);
}

bool is_account_name(std::string_view name) {
  return !name.empty() && name.size() <= longest_account_name &&
         std::ranges::all_of(name, [](char c) { return c > ' ' && c <= '~'; });
}

}  // namespace pelto::collector
