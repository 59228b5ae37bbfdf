// The participants' part of the intake's listener, over sockets.
#include "collector/serve/ParticipantsSite.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

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
  EXPECT_EQ(reply.body, "{\"deliveries\":[],\"has_email\":false}\n");
  expect_security(reply);
  reply = post("/mine/erase", R"({"installation":"machine-1"})");
  EXPECT_EQ(reply.status, 200);
  EXPECT_THAT(reply.body, StartsWith("{\"erased\":{\"installations\":0,"));
  expect_problem(post("/mine/kept", "machine-1"), 400);
  expect_problem(post("/mine/kept", std::string(65537, 'x')), 413);
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
