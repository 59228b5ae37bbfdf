#include "collector/api/ApiRoutes.h"

#include <gtest/gtest.h>

namespace pelto::collector {
namespace {

struct Expected {
  std::string_view method;
  std::string_view path;
  Operation operation;
  std::optional<Role> role;
};

TEST(ApiRoutes, AreThese) {
  const std::vector<Expected> all{
      {"GET", "/api/v1/session", Operation::show_session, std::nullopt},
      {"HEAD", "/api/v1/session", Operation::show_session, std::nullopt},
      {"POST", "/api/v1/session", Operation::log_in, std::nullopt},
      {"DELETE", "/api/v1/session", Operation::log_out, Role::viewer},
      {"PUT", "/api/v1/session/password", Operation::change_own_password, Role::viewer},
      {"POST", "/api/v1/setup", Operation::set_up, std::nullopt},
      {"GET", "/api/v1/products", Operation::list_products, Role::viewer},
      {"GET", "/api/v1/figures/overview", Operation::show_figure, Role::viewer},
      {"HEAD", "/api/v1/figures/overview", Operation::show_figure, Role::viewer},
      {"GET", "/api/v1/keeping", Operation::show_keeping, Role::viewer},
      {"GET", "/api/v1/health", Operation::show_health, Role::viewer},
      {"GET", "/api/v1/contacts", Operation::list_contacts, Role::contacts},
      {"POST", "/api/v1/erasures", Operation::erase, Role::admin},
      {"GET", "/api/v1/export", Operation::export_data, Role::admin},
      {"GET", "/api/v1/users", Operation::list_users, Role::admin},
      {"POST", "/api/v1/users", Operation::add_user, Role::admin},
      {"PUT", "/api/v1/users/ann", Operation::change_user, Role::admin},
      {"DELETE", "/api/v1/users/ann", Operation::remove_user, Role::admin},
      {"GET", "/api/v1/audit", Operation::list_audit, Role::admin},
  };
  for (const Expected& expected : all) {
    const ApiMatch match = find_api_route(expected.method, expected.path);
    ASSERT_NE(match.route, nullptr) << expected.method << expected.path;
    EXPECT_EQ(match.route->operation, expected.operation) << expected.method << expected.path;
    EXPECT_EQ(match.route->role, expected.role) << expected.method << expected.path;
  }
}

TEST(ApiRoutes, ANameIsDecoded) {
  const ApiMatch match = find_api_route("PUT", "/api/v1/users/a%2Fb%25");
  EXPECT_EQ(match.name, "a/b%");
  EXPECT_EQ(match.path, "/api/v1/users/NAME");
}

TEST(ApiRoutes, AnUnknownPathIsNone) {
  for (const std::string_view path :
       {"/api/v1/session/", "/api/v1", "/api/", "/api/v1/users/", "/api/v1/users/a/b",
        "/api/v1/users/%4", "/api/v1/figures", "/api/v2/session", "/API/v1/session", ""}) {
    const ApiMatch match = find_api_route("GET", path);
    EXPECT_EQ(match.route, nullptr) << path;
    EXPECT_EQ(match.path, "") << path;
    EXPECT_EQ(match.allowed, "") << path;
  }
}

TEST(ApiRoutes, AnotherMethodIsToldWhatThePathTakes) {
  const ApiMatch match = find_api_route("PATCH", "/api/v1/session");
  EXPECT_EQ(match.route, nullptr);
  EXPECT_EQ(match.path, "/api/v1/session");
  EXPECT_EQ(match.allowed, "GET, HEAD, POST, DELETE");
  EXPECT_EQ(find_api_route("GET", "/api/v1/erasures").allowed, "POST");
  EXPECT_EQ(find_api_route("HEAD", "/api/v1/erasures").route, nullptr);
  EXPECT_EQ(find_api_route("get", "/api/v1/session").route, nullptr);
}

TEST(ApiRoutes, WhatHashesAPasswordSaysSo) {
  for (const auto& [method, path] : {std::pair{"POST", "/api/v1/session"},
                                     {"POST", "/api/v1/setup"},
                                     {"PUT", "/api/v1/session/password"},
                                     {"POST", "/api/v1/users"},
                                     {"PUT", "/api/v1/users/ann"}}) {
    EXPECT_TRUE(find_api_route(method, path).route->hashes_password) << method << path;
  }
  EXPECT_FALSE(find_api_route("GET", "/api/v1/session").route->hashes_password);
  EXPECT_FALSE(find_api_route("POST", "/api/v1/erasures").route->hashes_password);
}

TEST(ApiRoutes, OnlyQuestionsChangeNothing) {
  EXPECT_FALSE(find_api_route("GET", "/api/v1/users").route->changes_something());
  EXPECT_FALSE(find_api_route("HEAD", "/api/v1/users").route->changes_something());
  EXPECT_TRUE(find_api_route("POST", "/api/v1/session").route->changes_something());
  EXPECT_TRUE(find_api_route("DELETE", "/api/v1/session").route->changes_something());
}

}  // namespace
}  // namespace pelto::collector
