// The pages' listener, over sockets.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

#include "collector/http/Cookie.h"
#include "collector/serve/PageFiles.h"
#include "tests/collector/unit/serve/PageReplies.h"
#include "tests/collector/unit/serve/RunningServer.h"
#include "tests/collector/unit/serve/TestClient.h"

namespace pelto::collector {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;

constexpr char same_origin[] = "Host: a:1\r\nOrigin: http://a:1\r\n";

/// The content of a chunked body; "cut off" if its end is missing.
std::string from_chunks(std::string_view body) {
  std::string content;
  while (true) {
    const std::size_t line = body.find("\r\n");
    if (line == std::string_view::npos) return "cut off";
    const std::size_t size = std::stoul(std::string(body.substr(0, line)), nullptr, 16);
    body.remove_prefix(line + 2);
    if (body.size() < size + 2) return "cut off";
    if (size == 0) return content;
    content += body.substr(0, size);
    body.remove_prefix(size + 2);
  }
}

class PagesSiteTest : public testing::Test {
 protected:
  Reply page(const std::string& bytes) { return ask(server_.pages_port(), bytes); }
  Reply get(const std::string& target, const std::string& fields = {}) {
    return page("GET " + target + " HTTP/1.1\r\n" + fields + "\r\n");
  }
  /// The Cookie field of a session of a new account.
  std::string cookie_for(Role role) {
    AccessControl& access = server_.access();
    access.accounts.add({"ann", role}, "0123456789", {});
    const std::string token = access.sessions.begin({"ann", access.accounts.find("ann")->stamp},
                                                    std::chrono::steady_clock::now());
    return "Cookie: " + std::string(session_cookie(false)) + "=" + token + "\r\n";
  }
  /// All that a request for an export gets, to the connection's end.
  std::string read_export(const std::string& version = "1.1") {
    TestClient client(server_.pages_port());
    client.send("GET /api/v1/export HTTP/" + version + "\r\n" + cookie_for(Role::admin) +
                "Connection: close\r\n\r\n");
    return client.read_rest();
  }

  RunningServer server_{options()};

 private:
  static ServeOptions options() {
    ServeOptions options = test_options();
    options.deadlines.stop = std::chrono::milliseconds(300);
    return options;
  }
};

TEST_F(PagesSiteTest, EveryResponseSaysWhatAPageMayDo) {
  for (const std::string target :
       {"/", "/overview", "/login", "/setup", "/nothing", "/assets/no.js", "/metrics",
        "/api/v1/session", "/api/nothing"}) {
    expect_security(get(target));
  }
  expect_security(page(with_body("POST /api/v1/session", same_origin, "{}")));
}

TEST_F(PagesSiteTest, TheMetricsAreForThisMachineAlone) {
  EXPECT_EQ(get("/metrics", "Host: localhost:8481\r\n").status, 200);
  expect_problem(get("/metrics", "Host: pages.example\r\n"), 404);
  expect_problem(get("/metrics", "Host: localhost\r\nX-Forwarded-For: 192.0.2.1\r\n"), 404);
}

TEST_F(PagesSiteTest, TheHealthIsThatOfTheIntakeNow) {
  const std::string cookie = cookie_for(Role::viewer);
  const auto health = [&] { return get("/api/v1/health", cookie).body; };
  EXPECT_THAT(health(), MatchesRegex("\\{\"ready\":true,\"version\":\"[0-9.]+\",\"connections\":0,"
                                     "\"bytes_in_flight\":0\\}\n"));
  TestClient open(server_.port());
  open.send("POST /collect HTTP/1.1\r\nContent-Length: 1000\r\n\r\n" + std::string(100, 'x'));
  EXPECT_TRUE(server_.await_metric("pelto_collector_in_flight_bytes", "100"));
  server_.storage().set_ready(false);
  EXPECT_THAT(health(), AllOf(HasSubstr("\"ready\":false,"),
                              HasSubstr(",\"connections\":1,\"bytes_in_flight\":100}")));
}

TEST_F(PagesSiteTest, AViewIsTheShell) {
  const bool has_pages = !embedded_pages().empty();
  for (const std::string target :
       {"/", "/overview", "/commands", "/file-types", "/versions", "/machines", "/intake",
        "/data-protection", "/users", "/audit", "/login", "/setup", "/api", "/overview?from=x"}) {
    const Reply reply = get(target);
    EXPECT_EQ(reply.status, has_pages ? 200 : 404) << target;
    EXPECT_THAT(reply.body, StartsWith(has_pages ? "<!" : "this program was built without pages"));
  }
}

TEST_F(PagesSiteTest, ABrowserGetsTheShellForAnUnknownPathToo) {
  expect_problem(get("/nothing"), 404);
  expect_problem(get("/nothing", "Accept: application/json\r\n"), 404);
  const Reply reply = get("/nothing", "Accept: text/html,*/*;q=0.8\r\n");
  EXPECT_EQ(reply.status, 404);
  EXPECT_EQ(reply.body, get("/").body);
  expect_problem(get("/api/v1/nothing", "Accept: text/html\r\n"), 404);
  expect_problem(get("/assets/nothing.js", "Accept: text/html\r\n"), 404);
}

TEST_F(PagesSiteTest, OtherMethodsAreToldWhichThereAre) {
  Reply reply = page("POST / HTTP/1.1\r\nContent-Length: 0\r\n\r\n");
  expect_problem(reply, 405);
  EXPECT_TRUE(reply.has("Allow: GET, HEAD"));
  reply = page("PATCH /api/v1/session HTTP/1.1\r\n\r\n");
  expect_problem(reply, 405);
  EXPECT_TRUE(reply.has("Allow: GET, HEAD, POST, DELETE"));
}

TEST_F(PagesSiteTest, AHeadRequestGetsTheHeadAlone) {
  TestClient client(server_.pages_port());
  client.send("HEAD /api/v1/session HTTP/1.1\r\n\r\nGET /api/v1/session HTTP/1.1\r\n\r\n");
  const Reply head = client.read_reply(false);
  EXPECT_EQ(head.status, 401);
  const Reply whole = client.read_reply();
  EXPECT_EQ(whole.status, 401);
  EXPECT_TRUE(head.has("Content-Length: " + std::to_string(whole.body.size())));
}

TEST_F(PagesSiteTest, ALogInIsARequestOfAPageOrOfAProgram) {
  server_.access().accounts.add({"ann", Role::viewer}, "0123456789", {});
  const std::string body = R"({"user":"ann","password":"0123456789"})";
  for (const std::string fields :
       {"Host: a:1\r\nOrigin: http://b\r\n", "Host: a:1\r\nOrigin: null\r\n",
        "Host: a:1\r\nOrigin: http://a:1\r\nSec-Fetch-Site: cross-site\r\n"}) {
    expect_problem(page(with_body("POST /api/v1/session", fields, body)), 403);
  }
  EXPECT_EQ(page(with_body("POST /api/v1/session", "Host: a:1\r\n", body)).status, 200);
  Reply reply = page(with_body("POST /api/v1/session", same_origin, body));
  EXPECT_EQ(reply.status, 200) << reply.body;
  EXPECT_THAT(reply.head, HasSubstr("; Path=/; HttpOnly; SameSite=Strict\r\n"));
  const std::size_t at = reply.head.find(session_cookie(false));
  const std::string cookie = reply.head.substr(at, reply.head.find(';', at) - at);
  EXPECT_EQ(get("/api/v1/session", "Cookie: " + cookie + "\r\n").status, 200);
  reply = page(with_body("POST /api/v1/session", "Sec-Fetch-Site: same-origin\r\n", body));
  EXPECT_EQ(reply.status, 200);
}

TEST_F(PagesSiteTest, EveryChangeMustComeFromAPage) {
  const std::string cookie = cookie_for(Role::admin);
  for (const std::string start :
       {"DELETE /api/v1/session", "PUT /api/v1/session/password", "POST /api/v1/setup",
        "POST /api/v1/erasures", "POST /api/v1/users", "PUT /api/v1/users/ann",
        "DELETE /api/v1/users/ann"}) {
    expect_problem(page(with_body(start, cookie + "Host: a:1\r\n", "{}")), 403);
  }
  EXPECT_EQ(get("/api/v1/users", cookie).status, 200) << "nothing was done";
}

TEST_F(PagesSiteTest, BodiesAreLimited) {
  const std::string body(65537, ' ');
  expect_problem(page(with_body("POST /api/v1/session", same_origin, body)), 413);
  expect_problem(page(with_body("POST /api/v1/session", same_origin, body.substr(1))), 400);
  expect_problem(page(std::string("POST /api/v1/session HTTP/1.1\r\n") + same_origin +
                      "Transfer-Encoding: chunked\r\n\r\n0\r\n\r\n"),
                 411);
  expect_problem(page(std::string("POST /api/v1/session HTTP/1.1\r\n") + same_origin + "\r\n"),
                 400);
  expect_problem(page("GET / HTTP/1.1\r\nContent-Length: 3\r\n\r\nabc"), 400);
}

TEST_F(PagesSiteTest, ManyPasswordsAtATimeAreWorkedOffOrRefused) {
  server_.access().accounts.add({"ann", Role::viewer}, "0123456789", {});
  const std::string body = R"({"user":"ann","password":"0123456789"})";
  std::vector<TestClient> clients;
  for (int i = 0; i < 45; ++i) {
    clients.emplace_back(server_.pages_port());
    clients.back().send(with_body("POST /api/v1/session", same_origin, body));
  }
  std::map<int, int> statuses;
  for (TestClient& client : clients) ++statuses[client.read_reply().status];
  EXPECT_GT(statuses[200], 0);
  EXPECT_EQ(statuses[200] + statuses[429] + statuses[503], 45);
  EXPECT_GT(statuses[503], 0) << "more than can wait";
}

TEST_F(PagesSiteTest, AnExportIsSentInChunks) {
  server_.storage().set_export(3, SlowStorage::ExportEnd::sound);
  const std::string response = read_export();
  const std::size_t body = response.find("\r\n\r\n") + 4;
  EXPECT_THAT(response.substr(0, body), HasSubstr("\r\nTransfer-Encoding: chunked\r\n"));
  EXPECT_THAT(response.substr(0, body),
              HasSubstr("Content-Disposition: attachment; filename=\"export.ndjson\"\r\n"));
  const std::string lines = from_chunks(std::string_view(response).substr(body));
  EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 3);
  EXPECT_EQ(std::count(lines.begin(), lines.end(), 'x'), 3 << 20);
}

TEST_F(PagesSiteTest, AnEmptyExportHasItsEnd) {
  const std::string response = read_export();
  EXPECT_EQ(from_chunks(std::string_view(response).substr(response.find("\r\n\r\n") + 4)), "");
}

TEST_F(PagesSiteTest, AnOldClientGetsTheExportToTheConnectionsEnd) {
  server_.storage().set_export(2, SlowStorage::ExportEnd::sound);
  const std::string response = read_export("1.0");
  EXPECT_EQ(response.find("Transfer-Encoding"), std::string::npos);
  const std::string body = response.substr(response.find("\r\n\r\n") + 4);
  EXPECT_EQ(std::count(body.begin(), body.end(), 'x'), 2 << 20);
  EXPECT_TRUE(body.ends_with("}\n"));
}

TEST_F(PagesSiteTest, AnExportThatFailsIsCutOff) {
  server_.storage().set_export(2, SlowStorage::ExportEnd::failure);
  const std::string response = read_export();
  EXPECT_EQ(from_chunks(std::string_view(response).substr(response.find("\r\n\r\n") + 4)),
            "cut off");
  EXPECT_TRUE(server_.log().await("code=not-sent"));
}

TEST_F(PagesSiteTest, AnExportThatNobodyReadsWaits) {
  server_.storage().set_export(1000, SlowStorage::ExportEnd::sound);
  const std::string cookie = cookie_for(Role::admin);
  // More of them than the pool has threads: none is held by a client that does not read.
  std::vector<TestClient> clients;
  for (int i = 0; i < 5; ++i) {
    clients.emplace_back(server_.pages_port());
    clients.back().send("GET /api/v1/export HTTP/1.1\r\n" + cookie + "\r\n");
  }
  const auto given = [this] { return server_.storage().parts_given(); };
  int last = -1;
  for (int i = 0; i < 200 && last != given(); ++i) {
    last = given();
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
  }
  // What the system's buffers take, which is a few MiB for each connection.
  EXPECT_LT(given(), 100);
  EXPECT_GE(given(), 5);
  EXPECT_EQ(get("/api/v1/session", cookie).status, 200) << "others go on meanwhile";
}

TEST_F(PagesSiteTest, AnExportThatNobodyReadsDoesNotKeepTheServer) {
  server_.storage().set_export(1000, SlowStorage::ExportEnd::sound);
  TestClient client(server_.pages_port());
  client.send("GET /api/v1/export HTTP/1.1\r\n" + cookie_for(Role::admin) + "\r\n");
  while (server_.storage().parts_given() == 0) std::this_thread::yield();
  server_.stop();
  EXPECT_LT(server_.join(), std::chrono::seconds(8));
}

TEST_F(PagesSiteTest, TheLogNamesNoAccount) {
  cookie_for(Role::admin);
  page(with_body("DELETE /api/v1/users/ann", same_origin, ""));
  EXPECT_TRUE(server_.log().await("path=/api/v1/users/NAME"));
  EXPECT_THAT(server_.log().read(), HasSubstr(" status=401 code=no-session "));
  EXPECT_EQ(server_.log().read().find("ann"), std::string::npos);
}

TEST(PagesSite, BehindATrustedProxyWithTlsTheSessionIsForTlsAlone) {
  ServeOptions options = test_options();
  options.trusted_proxies = {parse_ip_address("127.0.0.1").value()};
  RunningServer server(options);
  server.access().accounts.add({"ann", Role::viewer}, "0123456789", {});
  const std::string body = R"({"user":"ann","password":"0123456789"})";
  const auto log_in = [&](const std::string& scheme) {
    const std::string fields = same_origin + ("X-Forwarded-Proto: " + scheme + "\r\n");
    return ask(server.pages_port(), with_body("POST /api/v1/session", fields, body)).head;
  };
  const std::string with_tls = log_in("https");
  EXPECT_THAT(with_tls, HasSubstr("\r\nSet-Cookie: __Host-pelto-session="));
  EXPECT_THAT(with_tls, HasSubstr("; SameSite=Strict; Secure\r\n"));
  EXPECT_THAT(with_tls, HasSubstr("\r\nStrict-Transport-Security: max-age=31536000\r\n"));
  const std::string without = log_in("http");
  EXPECT_THAT(without, HasSubstr("\r\nSet-Cookie: pelto-session="));
  EXPECT_THAT(without, HasSubstr("; SameSite=Strict\r\n"));
  EXPECT_THAT(without, Not(HasSubstr("Strict-Transport-Security")));
  const std::size_t at = with_tls.find("__Host-");
  const std::string cookie = with_tls.substr(at, with_tls.find(';', at) - at);
  const auto show = [&](const std::string& fields) {
    return ask(server.pages_port(),
               "GET /api/v1/session HTTP/1.1\r\nCookie: " + cookie + "\r\n" + fields + "\r\n");
  };
  EXPECT_EQ(show("X-Forwarded-Proto: https\r\n").status, 200);
  EXPECT_EQ(show("").status, 401);
}

TEST(PagesSite, AProxyThatIsNotTrustedDoesNotSayWhetherThereIsTls) {
  RunningServer server;
  const Reply reply =
      ask(server.pages_port(), "GET / HTTP/1.1\r\nX-Forwarded-Proto: https\r\n\r\n");
  EXPECT_THAT(reply.head, Not(HasSubstr("Strict-Transport-Security")));
}

}  // namespace
}  // namespace pelto::collector
