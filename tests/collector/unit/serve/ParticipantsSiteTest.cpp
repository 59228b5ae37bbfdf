// The participants' part of the intake's listener, over sockets.
#include "collector/serve/ParticipantsSite.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

#include "collector/report/Report.h"
#include "collector/serve/PageFiles.h"
#include "tests/collector/unit/serve/PageReplies.h"
#include "tests/collector/unit/serve/RunningServer.h"
#include "tests/collector/unit/serve/TestClient.h"

namespace pelto::collector {
namespace {

using testing::StartsWith;

class ParticipantsSiteTest : public testing::Test {
 protected:
  Reply post(const std::string& path, const std::string& body) {
    return ask(server_.port(), with_body("POST " + path, "", body));
  }

  RunningServer server_;
};

TEST_F(ParticipantsSiteTest, ThePageIsOnTheListenerOfTheIntake) {
  const bool has_pages = !embedded_pages().empty();
  const Reply reply = ask(server_.port(), "GET /mine HTTP/1.1\r\n\r\n");
  EXPECT_EQ(reply.status, has_pages ? 200 : 404);
  expect_security(reply);
  EXPECT_THAT(reply.body, StartsWith(has_pages ? "<!" : "this program was built without pages"));
  expect_problem(ask(server_.port(), "GET /mine/assets/no.js HTTP/1.1\r\n\r\n"), 404);
  expect_problem(ask(server_.port(), "GET /mine/nothing HTTP/1.1\r\n\r\n"), 404);
  expect_problem(ask(server_.port(), "POST /mine HTTP/1.1\r\nContent-Length: 0\r\n\r\n"), 405);
  const Reply wrong = ask(server_.port(), "GET /mine/erase HTTP/1.1\r\n\r\n");
  expect_problem(wrong, 405);
  EXPECT_TRUE(wrong.has("Allow: POST"));
}

TEST_F(ParticipantsSiteTest, WhatIsKeptIsAskedForAndErased) {
  Reply reply = post("/mine/kept", R"({"installation":"machine-1"})");
  EXPECT_EQ(reply.status, 200);
  EXPECT_EQ(reply.body, "{\"deliveries\":[],\"total\":0,\"has_email\":false}\n");
  expect_security(reply);
  reply = post("/mine/erase", R"({"installation":"machine-1"})");
  EXPECT_EQ(reply.status, 200);
  EXPECT_THAT(reply.body, StartsWith("{\"erased\":{\"installations\":0,"));
  expect_problem(post("/mine/kept", "machine-1"), 400);
}

TEST_F(ParticipantsSiteTest, ABodyIsNoLargerThanTheLongestIdentifier) {
  // Each of its bytes can be written with six characters, as "\u0041".
  const std::string installation(6 * longest_installation, 'x');
  const std::string body = R"({"installation":")" + installation + "\"}";
  EXPECT_EQ(post("/mine/kept", body).status, 200);
  const std::string padding(1024 - body.size(), ' ');
  EXPECT_EQ(post("/mine/kept", body + padding).status, 200);
  expect_problem(post("/mine/kept", body + padding + " "), 413);
  expect_problem(post("/mine/erase", body + padding + " "), 413);
}

TEST(ParticipantsSite, AnErasureHasAsLongAsOtherRequestsWhenTheServerEnds) {
  for (const bool is_long : {false, true}) {
    ServeOptions options = test_options();
    options.deadlines.stop = std::chrono::milliseconds(is_long ? 50 : 30'000);
    RunningServer server(options);
    const int steps = is_long ? 20'000 : 300;
    server.storage().set_erasing_steps(steps);
    TestClient client(server.port());
    client.send(with_body("POST /mine/erase", "", R"({"installation":"machine-1"})"));
    for (int i = 0; i < 10'000 && server.storage().erasing_steps() == 0; ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    server.stop();
    EXPECT_LT(server.join(), std::chrono::seconds(15));
    EXPECT_EQ(server.storage().erasing_steps() == steps, !is_long);
    EXPECT_EQ(client.read_rest().starts_with("HTTP/1.1 200 "), !is_long);
  }
}

TEST_F(ParticipantsSiteTest, AnotherSitesPageDoesNothingHere) {
  const std::string body = R"({"installation":"machine-1"})";
  for (const std::string path : {"/mine/kept", "/mine/erase"}) {
    const auto ask_from = [&](const std::string& fields) {
      return ask(server_.port(), with_body("POST " + path, fields, body));
    };
    for (int i = 0; i < ParticipantsSite::rate; ++i) {
      expect_problem(ask_from("Host: a:1\r\nOrigin: http://b\r\n"), 403);
    }
    expect_problem(ask_from("Sec-Fetch-Site: cross-site\r\n"), 403);
    EXPECT_EQ(ask_from("Host: a:1\r\nOrigin: http://a:1\r\n").status, 200);
    EXPECT_EQ(ask_from("Sec-Fetch-Site: same-origin\r\n").status, 200);
    EXPECT_EQ(ask_from("").status, 200) << "a program";
  }
}

TEST_F(ParticipantsSiteTest, ThoseWhoFillTheirQueueHoldUpNobodyElse) {
  constexpr int most = 9;
  constexpr int surplus = 3;
  server_.storage().hold();
  std::vector<TestClient> clients;
  for (int i = 0; i < most + surplus; ++i) {
    clients.emplace_back(server_.port());
    clients.back().send(with_body("POST /mine/kept", "", R"({"installation":"machine-1"})"));
  }
  const auto refused = [this] {
    const std::string log = server_.log().read();
    int count = 0;
    for (std::size_t at = 0; (at = log.find("status=503 code=busy", at)) != std::string::npos; ++at)
      ++count;
    return count;
  };
  for (int i = 0; i < 1000 && refused() < surplus; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  EXPECT_EQ(ask(server_.pages_port(), "GET /api/v1/session HTTP/1.1\r\n\r\n").status, 401)
      << "the pages go on";
  server_.storage().release();
  std::map<int, int> statuses;
  for (TestClient& client : clients) {
    const Reply reply = client.read_reply();
    ++statuses[reply.status];
    if (reply.status != 503) continue;
    expect_problem(reply, 503);
    EXPECT_TRUE(reply.has("Retry-After: 5"));
  }
  EXPECT_EQ(statuses, (std::map<int, int>{{200, most}, {503, surplus}}));
}

TEST_F(ParticipantsSiteTest, TheRateIsLimitedForThisMachineToo) {
  for (int i = 0; i < ParticipantsSite::rate; ++i) {
    const std::string path = i % 2 == 0 ? "/mine/kept" : "/mine/erase";
    EXPECT_EQ(post(path, R"({"installation":"x"})").status, 200) << i;
  }
  const Reply reply = post("/mine/kept", R"({"installation":"x"})");
  expect_problem(reply, 429);
  EXPECT_TRUE(reply.has("Retry-After: 60"));
  EXPECT_NE(ask(server_.port(), "GET /mine HTTP/1.1\r\n\r\n").status, 429) << "the page is not";
}

TEST_F(ParticipantsSiteTest, TheLogHasNoIdentifier) {
  post("/mine/kept", R"({"installation":"machine-1"})");
  EXPECT_TRUE(server_.log().await("path=/mine/kept"));
  EXPECT_EQ(server_.log().read().find("machine-1"), std::string::npos);
  EXPECT_TRUE(server_.storage().refusals().empty());
}

}  // namespace
}  // namespace pelto::collector
