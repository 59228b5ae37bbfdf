#include "collector/api/Api.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "collector/access/Receipt.h"
#include "collector/http/Cookie.h"
#include "tests/collector/support/Deliveries.h"
#include "tests/collector/support/FakeStorage.h"
#include "tests/collector/support/TemporaryFolder.h"

namespace pelto::collector {
namespace {

using nlohmann::json;
using std::chrono::hours;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr char password[] = "0123456789";
constexpr char other_password[] = "9876543210";
/// Who makes the accounts that a test needs.
constexpr char preparation[] = "the test";
constexpr Time start = Time(std::chrono::days(20'000));

/// A storage whose questions fail.
class BrokenStorage : public test::FakeStorage {
 public:
  std::vector<std::string> products() override { throw StorageError("/secret/path is broken"); }
};

class ApiTest : public testing::Test {
 protected:
  struct Asked {
    std::string method;
    /// With a query.
    std::string target;
    json body = nullptr;
    std::string token{};
  };

  Response ask(const Asked& asked) { return ask(asked, storage_); }
  Response ask(const Asked& asked, Storage& storage) {
    const Target target = split_target(asked.target);
    ApiRequest request{find_api_route(asked.method, target.path), std::string(target.query),
                       asked.body.is_null() ? std::string() : asked.body.dump(), asked.token};
    request.client = client_;
    request.is_secure = is_secure_;
    request.at = start + elapsed_;
    request.now = std::chrono::steady_clock::time_point(hours(1000)) + elapsed_;
    request.health = health_;
    EXPECT_NE(request.match.route, nullptr) << asked.target;
    return respond_to_api(
        {storage, access_, keeping_,
         [this](std::string_view text) { failures_.emplace_back(text); }, goes_on_},
        request);
  }

  void add(const std::string& name, Role role) {
    access_.accounts.add({name, role}, password, {start, preparation});
  }

  Response log_in(const std::string& name, const std::string& entered = password) {
    return ask({"POST", "/api/v1/session", {{"user", name}, {"password", entered}}});
  }
  /// The token of the cookie that a response sets; empty without one.
  static std::string token_of(const Response& response) {
    const std::string key = "Set-Cookie: " + std::string(session_cookie(false)) + "=";
    const std::size_t at = response.fields.find(key);
    if (at == std::string::npos) return {};
    const std::size_t begin = at + key.size();
    return response.fields.substr(begin, response.fields.find(';', begin) - begin);
  }
  /// The token of a session of a new account.
  std::string token_for(const std::string& name, Role role) {
    add(name, role);
    return token_of(log_in(name));
  }
  bool is_logged_in(const std::string& token) {
    return ask({"GET", "/api/v1/session", nullptr, token}).status == 200;
  }
  /// The audit's entries as "USER ACTION DETAIL", oldest first, without the test's own.
  std::vector<std::string> audit() {
    std::vector<std::string> all;
    for (const AuditEntry& entry : access_.audit.list({}, 100)) {
      if (entry.user == preparation) continue;
      all.insert(all.begin(), entry.user + " " + entry.action + " " + entry.detail);
    }
    return all;
  }
  void keep(const std::string& installation, const std::string& email = {},
            const std::string& product = "default") {
    Delivery delivery{product, "id-" + std::to_string(++deliveries_), start, {}};
    delivery.report.installation = installation;
    delivery.report.email = email;
    delivery.report.version = "1.0";
    delivery.report.commands = {{"Line", 3, 1}};
    storage_.keep(delivery, TimeKind::stated, [](Outcome) {});
  }

  test::TemporaryFolder folder_;
  test::FakeStorage storage_;
  AccessControl access_{folder_ / "reports.sqlite"};
  KeepingPolicy keeping_;
  GoesOn goes_on_ = to_the_end;
  Address client_;
  bool is_secure_ = false;
  Health health_;
  seconds elapsed_{0};
  int deliveries_ = 0;
  std::vector<std::string> failures_;
};

void expect_problem(const Response& response, int status, const std::string& title) {
  EXPECT_EQ(response.status, status) << response.body;
  EXPECT_EQ(response.content_type, "application/problem+json");
  const json problem = json::parse(response.body);
  EXPECT_EQ(problem.at("type"), "about:blank");
  EXPECT_EQ(problem.at("title"), title);
  EXPECT_EQ(problem.at("status"), status);
  EXPECT_FALSE(problem.at("detail").get<std::string>().empty());
}

TEST_F(ApiTest, ALogInGivesASession) {
  add("ann", Role::contacts);
  const Response response = log_in("ann");
  EXPECT_EQ(response.status, 200);
  EXPECT_EQ(response.content_type, "application/json");
  EXPECT_EQ(response.body, "{\"user\":\"ann\",\"role\":\"contacts\"}\n");
  EXPECT_THAT(response.fields, HasSubstr("Cache-Control: no-store\r\n"));
  EXPECT_THAT(response.fields, HasSubstr("; Path=/; HttpOnly; SameSite=Strict\r\n"));
  const Response shown = ask({"GET", "/api/v1/session", nullptr, token_of(response)});
  EXPECT_EQ(shown.status, 200);
  EXPECT_EQ(shown.body, response.body);
  EXPECT_EQ(token_of(shown), "");
  EXPECT_THAT(audit(), ElementsAre("ann log-in "));
}

TEST_F(ApiTest, UnderTlsTheCookieIsSecure) {
  add("ann", Role::viewer);
  is_secure_ = true;
  EXPECT_THAT(log_in("ann").fields, HasSubstr("; SameSite=Strict; Secure\r\n"));
}

TEST_F(ApiTest, AWrongPasswordGivesNone) {
  add("ann", Role::viewer);
  const Response wrong = log_in("ann", "wrong");
  expect_problem(wrong, 401, "Unauthorized");
  EXPECT_EQ(token_of(wrong), "");
  const Response unknown = log_in("my password", "wrong");
  EXPECT_EQ(unknown.body, wrong.body) << "it does not tell which names there are";
  EXPECT_THAT(audit(), ElementsAre("ann log-in-failed ", " log-in-failed "))
      << "a name that is none could be a password";
}

TEST_F(ApiTest, AfterTenWrongPasswordsOneHasToWait) {
  add("ann", Role::viewer);
  for (int i = 0; i < 10; ++i) EXPECT_EQ(log_in("ann", "wrong").status, 401);
  const Response response = log_in("ann");
  expect_problem(response, 429, "Too Many Requests");
  EXPECT_THAT(response.fields, HasSubstr("Retry-After: 30\r\n"));
  elapsed_ = seconds(30);
  EXPECT_EQ(log_in("ann").status, 200);
}

TEST_F(ApiTest, AttemptsFromAnAddressAreLimitedForAllNames) {
  client_ = parse_ip_address("192.0.2.1").value();
  for (int i = 0; i < 10; ++i) EXPECT_EQ(log_in("x" + std::to_string(i), "wrong").status, 401);
  EXPECT_EQ(log_in("other", "wrong").status, 429);
  client_ = parse_ip_address("192.0.2.2").value();
  EXPECT_EQ(log_in("other", "wrong").status, 401);
}

TEST_F(ApiTest, ABodyThatIsNoLogInIsRefused) {
  for (const json& body :
       {json(nullptr), json::array(), json::object(), json{{"user", "ann"}},
        json{{"user", 1}, {"password", "x"}}, json{{"user", "ann"}, {"password", nullptr}}}) {
    expect_problem(ask({"POST", "/api/v1/session", body}), 400, "Bad Request");
  }
}

TEST_F(ApiTest, ALogOutEndsTheSession) {
  const std::string token = token_for("ann", Role::viewer);
  const std::string other = token_of(log_in("ann"));
  const Response response = ask({"DELETE", "/api/v1/session", nullptr, token});
  EXPECT_EQ(response.status, 204);
  EXPECT_EQ(response.body, "");
  EXPECT_THAT(response.fields, HasSubstr("Max-Age=0"));
  EXPECT_FALSE(is_logged_in(token));
  EXPECT_TRUE(is_logged_in(other));
  EXPECT_EQ(audit().back(), "ann log-out ");
}

TEST_F(ApiTest, ALogInEndsTheSessionThatTheBrowserHad) {
  const std::string first = token_for("ann", Role::viewer);
  const Response response =
      ask({"POST", "/api/v1/session", {{"user", "ann"}, {"password", password}}, first});
  EXPECT_EQ(response.status, 200);
  EXPECT_FALSE(is_logged_in(first));
  EXPECT_TRUE(is_logged_in(token_of(response)));
}

TEST_F(ApiTest, ASessionEndsWithTime) {
  const std::string token = token_for("ann", Role::viewer);
  elapsed_ = hours(12) - seconds(1);
  EXPECT_TRUE(is_logged_in(token));
  elapsed_ += hours(12);
  EXPECT_FALSE(is_logged_in(token));
}

TEST_F(ApiTest, EachOperationNeedsItsRole) {
  struct Row {
    std::string method;
    std::string target;
    std::optional<Role> role;
  };
  const std::vector<Row> rows{
      {"DELETE", "/api/v1/session", Role::viewer},
      {"PUT", "/api/v1/session/password", Role::viewer},
      {"GET", "/api/v1/products", Role::viewer},
      {"GET", "/api/v1/figures/overview", Role::viewer},
      {"GET", "/api/v1/keeping", Role::viewer},
      {"GET", "/api/v1/health", Role::viewer},
      {"GET", "/api/v1/contacts", Role::contacts},
      {"POST", "/api/v1/erasures", Role::admin},
      {"GET", "/api/v1/export", Role::admin},
      {"GET", "/api/v1/users", Role::admin},
      {"POST", "/api/v1/users", Role::admin},
      {"PUT", "/api/v1/users/ann", Role::admin},
      {"DELETE", "/api/v1/users/nobody", Role::admin},
      {"GET", "/api/v1/audit", Role::admin},
  };
  keep("machine-1");
  for (const Role role : {Role::viewer, Role::contacts, Role::admin}) {
    add(std::string(name_of(role)), role);
  }
  for (const Row& row : rows) {
    SCOPED_TRACE(row.method + " " + row.target);
    expect_problem(ask({row.method, row.target}), 401, "Unauthorized");
    expect_problem(ask({row.method, row.target, nullptr, "no token"}), 401, "Unauthorized");
    for (const Role role : {Role::viewer, Role::contacts, Role::admin}) {
      const std::string name(name_of(role));
      const std::string token =
          access_.sessions.begin({name, access_.accounts.find(name)->stamp},
                                 std::chrono::steady_clock::time_point(hours(1000)));
      const Response response = ask({row.method, row.target, nullptr, token});
      if (role < *row.role) {
        expect_problem(response, 403, "Forbidden");
      } else {
        EXPECT_NE(response.status, 401);
        EXPECT_NE(response.status, 403);
        EXPECT_LT(response.status, 500);
      }
    }
  }
}

TEST_F(ApiTest, AChangedAccountHasNoSessionAnyMore) {
  const std::string ann = token_for("ann", Role::viewer);
  const std::string bob = token_for("bob", Role::viewer);
  const std::string zoe = token_for("zoe", Role::admin);
  // As commands beside the server do it.
  Accounts beside(folder_ / "reports.sqlite");
  beside.set_password("ann", password, {});
  beside.set_role("bob", Role::admin, {});
  EXPECT_FALSE(is_logged_in(ann));
  EXPECT_FALSE(is_logged_in(bob));
  EXPECT_TRUE(is_logged_in(zoe));
  beside.remove("zoe", {});
  EXPECT_FALSE(is_logged_in(zoe));
  beside.add({"zoe", Role::admin}, password, {});
  EXPECT_FALSE(is_logged_in(zoe)) << "it is another account of the same name";
  EXPECT_EQ(access_.sessions.size(), 0);
}

TEST_F(ApiTest, WithoutAnAccountTheSetupIsOffered) {
  Response response = ask({"GET", "/api/v1/session"});
  expect_problem(response, 401, "Unauthorized");
  EXPECT_FALSE(json::parse(response.body).contains("setup")) << "there is no link";
  access_.setup.open();
  EXPECT_EQ(json::parse(ask({"GET", "/api/v1/session"}).body).at("setup"), true);
  add("ann", Role::admin);
  response = ask({"GET", "/api/v1/session"});
  EXPECT_FALSE(json::parse(response.body).contains("setup"));
  EXPECT_FALSE(access_.setup.is_open());
}

TEST_F(ApiTest, TheFirstAccountIsMadeOnce) {
  const json account{{"user", "ann"}, {"password", password}};
  const auto set_up = [&](const std::string& token, json body) {
    body["token"] = token;
    return ask({"POST", "/api/v1/setup", body});
  };
  expect_problem(set_up("", account), 403, "Forbidden");
  const std::string token = access_.setup.open();
  expect_problem(set_up("wrong", account), 403, "Forbidden");
  expect_problem(set_up(token, {{"user", "a b"}, {"password", password}}), 422,
                 "Unprocessable Content");
  expect_problem(set_up(token, {{"user", "ann"}, {"password", "short"}}), 422,
                 "Unprocessable Content");
  EXPECT_TRUE(access_.accounts.is_empty());

  const Response response = set_up(token, account);
  EXPECT_EQ(response.status, 201);
  EXPECT_EQ(response.body, "{\"user\":\"ann\",\"role\":\"admin\"}\n");
  EXPECT_TRUE(is_logged_in(token_of(response)));
  expect_problem(set_up(token, {{"user", "bob"}, {"password", password}}), 403, "Forbidden");
  EXPECT_EQ(access_.accounts.list().size(), 1);
  EXPECT_THAT(audit(), ElementsAre("ann setup "));
}

TEST_F(ApiTest, TheLinkIsVoidWhenACommandHasMadeAnAccount) {
  const std::string token = access_.setup.open();
  Accounts beside(folder_ / "reports.sqlite");
  beside.add({"zoe", Role::viewer}, password, {});
  const json body{{"token", token}, {"user", "ann"}, {"password", password}};
  expect_problem(ask({"POST", "/api/v1/setup", body}), 403, "Forbidden");
  beside.remove("zoe", {});
  expect_problem(ask({"POST", "/api/v1/setup", body}), 403, "Forbidden");
}

TEST_F(ApiTest, AnOwnPasswordIsChangedWithTheOldOne) {
  const std::string token = token_for("ann", Role::viewer);
  const std::string other = token_of(log_in("ann"));
  const auto change = [&](const std::string& old_one, const std::string& new_one) {
    return ask({"PUT", "/api/v1/session/password", {{"old", old_one}, {"new", new_one}}, token});
  };
  expect_problem(change("wrong", other_password), 403, "Forbidden");
  expect_problem(change(password, "short"), 422, "Unprocessable Content");
  EXPECT_TRUE(is_logged_in(other));
  const Response response = change(password, other_password);
  EXPECT_EQ(response.status, 204);
  EXPECT_EQ(access_.sessions.size(), 1);
  EXPECT_TRUE(is_logged_in(token_of(response))) << "a new session in place of this one";
  EXPECT_FALSE(is_logged_in(token));
  EXPECT_FALSE(is_logged_in(other));
  EXPECT_EQ(log_in("ann", password).status, 401);
  EXPECT_EQ(log_in("ann", other_password).status, 200);
}

TEST_F(ApiTest, TheOldPasswordCannotBeGuessedWithASession) {
  const std::string token = token_for("ann", Role::viewer);
  const json body{{"old", "wrong"}, {"new", other_password}};
  for (int i = 0; i < 10; ++i) {
    EXPECT_EQ(ask({"PUT", "/api/v1/session/password", body, token}).status, 403);
  }
  EXPECT_EQ(ask({"PUT", "/api/v1/session/password", body, token}).status, 429);
}

TEST_F(ApiTest, AccountsAreManaged) {
  const std::string token = token_for("ann", Role::admin);
  const json bob{{"name", "bob"}, {"role", "viewer"}, {"password", password}};
  const Response added = ask({"POST", "/api/v1/users", bob, token});
  EXPECT_EQ(added.status, 201);
  EXPECT_EQ(added.body, "{\"name\":\"bob\",\"role\":\"viewer\"}\n");
  expect_problem(ask({"POST", "/api/v1/users", bob, token}), 409, "Conflict");
  EXPECT_EQ(ask({"GET", "/api/v1/users", nullptr, token}).body,
            "{\"users\":[{\"name\":\"ann\",\"role\":\"admin\"},"
            "{\"name\":\"bob\",\"role\":\"viewer\"}]}\n");

  const std::string session = token_of(log_in("bob"));
  EXPECT_EQ(ask({"PUT", "/api/v1/users/bob", {{"role", "contacts"}}, token}).status, 204);
  EXPECT_FALSE(is_logged_in(session));
  EXPECT_EQ(ask({"PUT", "/api/v1/users/bob", {{"password", other_password}}, token}).status, 204);
  EXPECT_EQ(log_in("bob", other_password).body, "{\"user\":\"bob\",\"role\":\"contacts\"}\n");
  EXPECT_EQ(ask({"DELETE", "/api/v1/users/bob", nullptr, token}).status, 204);
  expect_problem(ask({"DELETE", "/api/v1/users/bob", nullptr, token}), 404, "Not Found");
  expect_problem(ask({"PUT", "/api/v1/users/bob", {{"role", "viewer"}}, token}), 404, "Not Found");
  expect_problem(ask({"PUT", "/api/v1/users/bob", {{"password", password}}, token}), 404,
                 "Not Found");
  EXPECT_THAT(audit(), ElementsAre("ann log-in ", "ann user-add bob: viewer", "bob log-in ",
                                   "ann user-change bob: contacts", "ann user-change bob: password",
                                   "bob log-in ", "ann user-remove bob"));
}

TEST_F(ApiTest, AnAccountThatCannotBeIsRefused) {
  const std::string token = token_for("ann", Role::admin);
  const auto add_user = [&](const char* name, const char* role, const char* secret) {
    const json body{{"name", name}, {"role", role}, {"password", secret}};
    return ask({"POST", "/api/v1/users", body, token});
  };
  expect_problem(add_user("", "viewer", password), 422, "Unprocessable Content");
  expect_problem(add_user("a b", "viewer", password), 422, "Unprocessable Content");
  expect_problem(add_user("bob", "owner", password), 422, "Unprocessable Content");
  expect_problem(add_user("bob", "viewer", "short"), 422, "Unprocessable Content");
  const auto change = [&](const json& body) {
    return ask({"PUT", "/api/v1/users/ann", body, token});
  };
  expect_problem(change({{"role", "owner"}}), 422, "Unprocessable Content");
  expect_problem(change({{"password", "short"}}), 422, "Unprocessable Content");
  expect_problem(change(json::object()), 400, "Bad Request");
  EXPECT_EQ(access_.accounts.list().size(), 1);
}

TEST_F(ApiTest, AChangeOfAnAccountThatCannotBeNotedIsNotMade) {
  const std::string token = token_for("ann", Role::admin);
  SQLite::Database database(folder_ / "reports.sqlite", SQLite::OPEN_READWRITE);
  database.exec(
      "CREATE TRIGGER full BEFORE INSERT ON audit BEGIN SELECT RAISE(ABORT, 'full'); END");
  const json bob{{"name", "bob"}, {"role", "viewer"}, {"password", password}};
  expect_problem(ask({"POST", "/api/v1/users", bob, token}), 503, "Service Unavailable");
  const json passwords{{"old", password}, {"new", other_password}};
  expect_problem(ask({"PUT", "/api/v1/session/password", passwords, token}), 503,
                 "Service Unavailable");
  EXPECT_EQ(access_.accounts.list().size(), 1);
  EXPECT_TRUE(access_.accounts.find("ann", password).has_value());
  EXPECT_TRUE(is_logged_in(token));
}

TEST_F(ApiTest, TheLastAdminStays) {
  const std::string token = token_for("ann", Role::admin);
  add("bob", Role::contacts);
  expect_problem(ask({"DELETE", "/api/v1/users/ann", nullptr, token}), 409, "Conflict");
  expect_problem(ask({"PUT", "/api/v1/users/ann", {{"role", "viewer"}}, token}), 409, "Conflict");
  EXPECT_TRUE(is_logged_in(token));
}

TEST_F(ApiTest, ProductsHaveTheDaysOfTheirReports) {
  const std::string token = token_for("ann", Role::viewer);
  storage_.add_product("b");
  keep("machine-1");
  EXPECT_EQ(ask({"GET", "/api/v1/products", nullptr, token}).body,
            "{\"products\":[{\"name\":\"b\",\"from\":null,\"to\":null},"
            "{\"name\":\"default\",\"from\":\"2024-09-09\",\"to\":\"2024-10-06\"}]}\n");
}

TEST_F(ApiTest, FiguresAreThoseOfTheCommand) {
  const std::string token = token_for("ann", Role::viewer);
  for (int i = 0; i < 6; ++i) keep("machine-" + std::to_string(i));
  for (const std::string name :
       {"overview", "commands", "file-types", "versions", "machines", "intake"}) {
    FigureQuery query{name};
    query.version = "1.0";
    const std::string target = "/api/v1/figures/" + name + "?version=1.0&from=&product=";
    const Response response = ask({"GET", target, nullptr, token});
    EXPECT_EQ(response.content_type, "application/json");
    EXPECT_EQ(response.body, figure_as_json(storage_, query) + "\n");
    const Response csv = ask({"GET", target + "&format=csv", nullptr, token});
    EXPECT_EQ(csv.content_type, "text/csv; charset=utf-8");
    EXPECT_EQ(csv.body, figure_as_csv(storage_, query));
    EXPECT_THAT(csv.fields,
                HasSubstr("Content-Disposition: attachment; filename=\"" + name + ".csv\"\r\n"));
  }
}

TEST_F(ApiTest, AFigureThatCannotBeIsAProblemWithTheCommandsText) {
  const std::string token = token_for("ann", Role::viewer);
  keep("machine-1");
  keep("machine-1", "", "other");
  const auto detail = [&](const std::string& target, int status) {
    const Response response = ask({"GET", "/api/v1/figures/" + target, nullptr, token});
    EXPECT_EQ(response.status, status);
    return json::parse(response.body).at("detail").get<std::string>();
  };
  EXPECT_EQ(detail("overview", 400), "there are several products; name one of: default, other");
  EXPECT_EQ(detail("overview?product=x", 404),
            "there is no such product; use one of: default, other");
  EXPECT_EQ(detail("nothing", 404),
            "there is no such figure; use one of: overview, commands, file-types, versions, "
            "machines, intake");
  EXPECT_EQ(detail("overview?product=other&from=x", 400), "a day has the form 2026-01-05");
  EXPECT_EQ(detail("overview?product=other&format=xml", 400), "the format is one of json and csv");
  EXPECT_EQ(detail("overview?product=a&product=b", 400), "the query cannot be read");
}

TEST_F(ApiTest, TheThresholdIsNotTheClientsChoice) {
  const std::string token = token_for("ann", Role::viewer);
  keep("machine-1");
  const Response response = ask({"GET", "/api/v1/figures/commands?threshold=1", nullptr, token});
  EXPECT_EQ(json::parse(response.body).at("threshold"), 5);
  EXPECT_THAT(json::parse(response.body).at("rows"), IsEmpty());
}

TEST_F(ApiTest, WhatIsKeptIsShownWithTheThreshold) {
  const std::string token = token_for("ann", Role::viewer);
  for (int i = 0; i < 4; ++i) keep("machine-" + std::to_string(i));
  for (int i = 0; i < 5; ++i) keep("machine-" + std::to_string(i), "", "other");
  storage_.add_product("new");
  keeping_.keeps_email = false;
  EXPECT_EQ(ask({"GET", "/api/v1/keeping", nullptr, token}).body,
            "{\"threshold\":5,\"retention_days\":400,\"forget_silent_days\":null,"
            "\"keeps_email\":false,\"keeps_adapter\":false,\"products\":["
            "{\"name\":\"default\",\"since\":null,\"deliveries\":null,"
            "\"installations\":null,\"raw_reports\":null},"
            "{\"name\":\"new\",\"since\":null,\"deliveries\":0,\"installations\":0,"
            "\"raw_reports\":0},"
            "{\"name\":\"other\",\"since\":\"2024-10-04\",\"deliveries\":5,"
            "\"installations\":5,\"raw_reports\":0}]}\n");
  keeping_.forget_silent = std::chrono::days(90);
  EXPECT_EQ(
      json::parse(ask({"GET", "/api/v1/keeping", nullptr, token}).body).at("forget_silent_days"),
      90);
}

TEST_F(ApiTest, TheServersHealthIsShown) {
  const std::string token = token_for("ann", Role::viewer);
  health_ = {7, 4096, true, "1.2.3"};
  EXPECT_EQ(ask({"GET", "/api/v1/health", nullptr, token}).body,
            "{\"ready\":true,\"version\":\"1.2.3\",\"connections\":7,\"bytes_in_flight\":4096}\n");
}

TEST_F(ApiTest, ContactsAreListed) {
  const std::string token = token_for("ann", Role::contacts);
  keep("machine-1", "zoe@example.org");
  keep("machine-2", "=cmd@example.org");
  EXPECT_EQ(ask({"GET", "/api/v1/contacts", nullptr, token}).body,
            "{\"contacts\":[{\"address\":\"=cmd@example.org\","
            "\"received\":\"2024-10-04T00:00:00Z\"},"
            "{\"address\":\"zoe@example.org\",\"received\":\"2024-10-04T00:00:00Z\"}]}\n");
  EXPECT_EQ(audit().back(), "ann export e-mail addresses of default");
  EXPECT_EQ(audit().size(), 2);
  const Response csv = ask({"GET", "/api/v1/contacts?format=csv", nullptr, token});
  EXPECT_EQ(csv.body,
            "address,received\r\n'=cmd@example.org,2024-10-04T00:00:00Z\r\n"
            "zoe@example.org,2024-10-04T00:00:00Z\r\n");
  EXPECT_EQ(audit().size(), 3);
  expect_problem(ask({"GET", "/api/v1/contacts?product=x", nullptr, token}), 404, "Not Found");
}

TEST_F(ApiTest, AnErasureThatIsCutShortGivesAnEntryAndNoReceipt) {
  const std::string token = token_for("ann", Role::admin);
  keep("machine-1");
  int asked = 0;
  goes_on_ = [&] { return ++asked == 1; };
  expect_problem(ask({"POST", "/api/v1/erasures", json{{"installation", "machine-1"}}, token}), 503,
                 "Service Unavailable");
  EXPECT_THAT(audit(),
              ElementsAre("ann log-in ",
                          "ann erase by installation: in part: installations 0, deliveries 0, "
                          "addresses 0"));
  expect_problem(ask({"GET", "/api/v1/products", nullptr, token}), 503, "Service Unavailable");
}

TEST_F(ApiTest, AnErasureGivesAReceiptAndAnEntryWithoutAName) {
  const std::string token = token_for("ann", Role::admin);
  keep("machine-1", "zoe@example.org");
  keep("machine-2", "zoe@example.org");
  keep("machine-3");
  const auto erase = [&](const json& body) {
    return ask({"POST", "/api/v1/erasures", body, token});
  };
  Response response = erase({{"installation", "machine-3"}});
  EXPECT_EQ(response.status, 200);
  EXPECT_TRUE(is_receipt_valid(response.body, receipt_keys(storage_)));
  EXPECT_EQ(json::parse(response.body).at("erased"),
            json({{"installations", 1}, {"deliveries", 1}, {"contacts", 0}}));
  EXPECT_EQ(json::parse(response.body).at("at"), "2024-10-04T00:00:00Z");
  response = erase({{"email", "ZOE@example.org"}});
  EXPECT_EQ(json::parse(response.body).at("erased").at("installations"), 2);
  response = erase({{"installation", "machine-3"}});
  EXPECT_EQ(json::parse(response.body).at("erased").at("deliveries"), 0);
  EXPECT_THAT(
      audit(),
      ElementsAre("ann log-in ",
                  "ann erase by installation: installations 1, deliveries 1, addresses 0",
                  testing::StartsWith("ann erase by address: installations 2, deliveries 2, "),
                  "ann erase by installation: installations 0, deliveries 0, addresses 0"));
}

TEST_F(ApiTest, AnErasureOfNothingInParticularIsRefused) {
  const std::string token = token_for("ann", Role::admin);
  keep("machine-1");
  for (const json& body :
       {json::object(), json{{"installation", ""}}, json{{"email", ""}}, json{{"email", nullptr}},
        json{{"installation", "machine-1"}, {"email", "a@b"}}, json{{"installation", 1}}}) {
    expect_problem(ask({"POST", "/api/v1/erasures", body, token}), 400, "Bad Request");
  }
  EXPECT_EQ(storage_.keeping().front().deliveries, 1);
}

TEST_F(ApiTest, AnExportIsMadeInParts) {
  const std::string token = token_for("ann", Role::admin);
  for (int i = 0; i < 7; ++i) keep("machine-" + std::to_string(i % 2));
  const auto lines = [&](const std::string& target, std::size_t& parts) {
    const Response response = ask({"GET", target, nullptr, token});
    EXPECT_EQ(response.status, 200);
    EXPECT_EQ(response.content_type, "application/x-ndjson");
    std::string text;
    for (auto part = response.source->next(); part; part = response.source->next()) {
      ++parts;
      text += *part;
    }
    return std::count(text.begin(), text.end(), '\n');
  };
  std::size_t parts = 0;
  EXPECT_EQ(lines("/api/v1/export", parts), 7);
  EXPECT_EQ(parts, 3) << "the storage gives three at a time";
  EXPECT_EQ(lines("/api/v1/export?installation=machine-1", parts), 3);
  EXPECT_EQ(lines("/api/v1/export?installation=unknown", parts), 0);
  EXPECT_THAT(audit(), ElementsAre("ann log-in ", "ann export everything",
                                   "ann export one installation", "ann export one installation"));
}

TEST_F(ApiTest, TheAuditIsListedInParts) {
  const std::string token = token_for("ann", Role::admin);
  log_in("ann", "wrong");
  EXPECT_EQ(ask({"GET", "/api/v1/audit?limit=2", nullptr, token}).body,
            "{\"entries\":[{\"number\":3,\"at\":\"2024-10-04T00:00:00Z\",\"user\":\"ann\","
            "\"action\":\"log-in-failed\",\"detail\":\"\"},{\"number\":2,"
            "\"at\":\"2024-10-04T00:00:00Z\",\"user\":\"ann\",\"action\":\"log-in\","
            "\"detail\":\"\"}]}\n");
  const auto numbers = [&](const std::string& query) {
    std::vector<int> found;
    const Response response = ask({"GET", "/api/v1/audit?" + query, nullptr, token});
    const json list = json::parse(response.body);
    for (const json& entry : list.at("entries")) {
      found.push_back(entry.at("number"));
    }
    return found;
  };
  EXPECT_THAT(numbers("limit=1"), ElementsAre(3));
  EXPECT_THAT(numbers("limit=1&before=3"), ElementsAre(2));
  EXPECT_THAT(numbers("before=1"), IsEmpty());
  for (const std::string query : {"limit=0", "limit=1001", "limit=x", "limit=1x", "before=0",
                                  "before=-1", "before=99999999999999999999"}) {
    expect_problem(ask({"GET", "/api/v1/audit?" + query, nullptr, token}), 400, "Bad Request");
  }
}

TEST_F(ApiTest, AFailureOfTheStorageIsNotShownInDetail) {
  const std::string token = token_for("ann", Role::viewer);
  BrokenStorage broken;
  const Response response = ask({"GET", "/api/v1/products", nullptr, token}, broken);
  expect_problem(response, 503, "Service Unavailable");
  EXPECT_THAT(response.fields, HasSubstr("Retry-After: "));
  EXPECT_EQ(response.body.find("secret"), std::string::npos);
  EXPECT_THAT(failures_, ElementsAre("/secret/path is broken"));
}

}  // namespace
}  // namespace pelto::collector
