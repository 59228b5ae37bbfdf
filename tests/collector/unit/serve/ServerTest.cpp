// The server over loopback, as a client sees it.
#include "collector/serve/Server.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "tests/collector/unit/intake/FormText.h"
#include "tests/collector/unit/serve/RunningServer.h"
#include "tests/collector/unit/serve/TestClient.h"

namespace pelto::collector {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::HasSubstr;
using testing::Pair;
using testing::UnorderedElementsAre;

const std::string sound_form = form(report_text(""));

std::string post(const std::string& body, const std::string& target = "/collect",
                 const std::string& fields = "") {
  return "POST " + target + " HTTP/1.1\r\nHost: test\r\nContent-Type: " + form_type +
         "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n" + fields + "\r\n" + body;
}

/// The same request with the body in chunks of `size` bytes.
std::string post_chunked(const std::string& body, std::size_t size,
                         const std::string& extension = "") {
  std::string text = "POST /collect HTTP/1.1\r\nContent-Type: " + form_type +
                     "\r\nTransfer-Encoding: chunked\r\n\r\n";
  for (std::size_t at = 0; at < body.size(); at += size) {
    const std::string piece = body.substr(at, size);
    char length[20];
    std::snprintf(length, sizeof length, "%zx", piece.size());
    text += length + extension + "\r\n" + piece + "\r\n";
  }
  return text + "0\r\n\r\n";
}

/// A sound form whose report is about this large.
std::string large_form(std::size_t size) {
  return form(report_text("<!--" + std::string(size * 3 / 4, 'x') + "-->"));
}

void expect_reply(const Reply& reply, int status, const std::string& body) {
  EXPECT_EQ(reply.status, status);
  EXPECT_EQ(reply.body, body);
}

TEST(Server, KeepsADeliveryAndSaysSo) {
  RunningServer server;
  const Reply reply = ask(server.port(), post(sound_form));
  expect_reply(reply, 200, "OK");
  EXPECT_TRUE(reply.has("Content-Type: text/plain"));
  EXPECT_TRUE(reply.has("Content-Length: 2"));
  const auto kept = server.storage().kept();
  ASSERT_EQ(kept.size(), 1U);
  EXPECT_EQ(kept[0].product, "default");
  EXPECT_EQ(kept[0].id, delivery_id);
  EXPECT_EQ(kept[0].report.installation, "the-id");
  const auto age = std::chrono::system_clock::now() - kept[0].received;
  EXPECT_LT(age, std::chrono::minutes(1));
  EXPECT_GE(age, seconds(0));
}

TEST(Server, SaysYesOnlyAfterTheStorageHasKeptIt) {
  RunningServer server;
  server.storage().hold();
  TestClient client(server.port());
  client.send(post(sound_form));
  EXPECT_FALSE(client.is_closed(milliseconds(100)));
  EXPECT_EQ(server.storage().waiting(), 1U);
  server.storage().release();
  expect_reply(client.read_reply(), 200, "OK");
}

TEST(Server, EveryOutcomeButAFailureIsAYes) {
  RunningServer server;
  for (const Outcome outcome : {Outcome::accepted, Outcome::replaced, Outcome::repeated}) {
    server.storage().set_outcome(outcome);
    expect_reply(ask(server.port(), post(sound_form)), 200, "OK");
  }
  server.storage().set_outcome(Outcome::failed);
  expect_reply(ask(server.port(), post(sound_form)), 503, "refused: busy");
  EXPECT_EQ(server.metric("pelto_collector_deliveries_total{outcome=\"repeated\"}"), "1");
  EXPECT_EQ(server.metric("pelto_collector_deliveries_total{outcome=\"failed\"}"), "1");
  EXPECT_THAT(server.storage().refusals(), UnorderedElementsAre(Pair("default busy", 1)));
}

TEST(Server, NamesTheReasonOfARefusedReport) {
  RunningServer server;
  expect_reply(ask(server.port(), post("")), 400, "refused: not-multipart");
  expect_reply(ask(server.port(), post("x")), 400, "refused: not-multipart");
  expect_reply(ask(server.port(), post(part("Id", delivery_id) + form_end)), 400,
               "refused: no-report");
  expect_reply(ask(server.port(), post(form("<x/>"))), 400, "refused: not-a-report");
  EXPECT_TRUE(server.storage().kept().empty());
  EXPECT_THAT(server.storage().refusals(),
              UnorderedElementsAre(Pair("default not-multipart", 2), Pair("default no-report", 1),
                                   Pair("default not-a-report", 1)));
}

TEST(Server, TwoContentTypesAreNoForm) {
  RunningServer server;
  expect_reply(ask(server.port(), post(sound_form, "/collect", "Content-Type: text/plain\r\n")),
               400, "refused: not-multipart");
}

TEST(Server, ChecksMethodThenPathThenLengthThenSize) {
  ServeOptions options = test_options();
  options.products = {"A", "B"};
  options.max_body = 10;
  RunningServer server(options);
  const std::uint16_t port = server.port();
  const std::string end = "HTTP/1.1\r\n\r\n";
  for (const std::string method : {"GET", "PUT", "DELETE", "OPTIONS", "PATCH", "XYZZY"}) {
    const Reply reply = ask(port, method + " /collect/A " + end);
    expect_reply(reply, 405, "refused: method");
    EXPECT_TRUE(reply.has("Allow: POST")) << method;
    expect_reply(ask(port, method + " /nothing " + end), 405, "refused: method");
  }
  expect_reply(ask(port, "OPTIONS * " + end), 405, "refused: method");
  for (const std::string target : {"/nothing", "/", "/collect", "/collect?product=C", "/metrics"}) {
    expect_reply(ask(port, "POST " + target + " " + end), 404, "refused: unknown-product");
  }
  expect_reply(ask(port, "POST /collect/A " + end), 411, "refused: length");
  expect_reply(ask(port, "POST /collect?product=B HTTP/1.0\r\n\r\n"), 411, "refused: length");
  expect_reply(ask(port, "POST /collect/A HTTP/1.1\r\nContent-Length: 11\r\n\r\n"), 413,
               "refused: too-large");
  expect_reply(ask(port, post("0123456789", "/collect/A")), 400, "refused: not-multipart");
  EXPECT_THAT(
      server.storage().refusals(),
      UnorderedElementsAre(Pair("A method", 6), Pair(" method", 7), Pair(" unknown-product", 5),
                           Pair("A length", 1), Pair("B length", 1), Pair("A too-large", 1),
                           Pair("A not-multipart", 1)));
}

TEST(Server, AHeadRequestGetsNoBody) {
  RunningServer server;
  TestClient client(server.port());
  client.send("HEAD /collect HTTP/1.1\r\n\r\nHEAD /healthz HTTP/1.1\r\nConnection: close\r\n\r\n");
  const Reply refused = client.read_reply(false);
  EXPECT_EQ(refused.status, 405);
  EXPECT_TRUE(refused.has("Content-Length: 15"));
  const Reply well = client.read_reply(false);
  EXPECT_EQ(well.status, 200);
  EXPECT_TRUE(well.has("Content-Length: 2"));
  EXPECT_EQ(client.read_rest(), "");
}

TEST(Server, SaysWhetherItLivesAndWhetherItCouldKeepAReport) {
  RunningServer server;
  const std::string health = "GET /healthz HTTP/1.1\r\n\r\n";
  const std::string readiness = "GET /readyz HTTP/1.1\r\n\r\n";
  expect_reply(ask(server.port(), health), 200, "OK");
  expect_reply(ask(server.port(), readiness), 200, "OK");
  server.storage().set_ready(false);
  expect_reply(ask(server.port(), health), 200, "OK");
  expect_reply(ask(server.port(), readiness), 503, "refused: busy");
  const Reply reply = ask(server.port(), "POST /healthz HTTP/1.1\r\n\r\n");
  expect_reply(reply, 405, "refused: method");
  EXPECT_TRUE(reply.has("Allow: GET, HEAD"));
  EXPECT_THAT(server.storage().refusals(), UnorderedElementsAre(Pair(" method", 1)));
}

TEST(Server, MakesItsProductsKnown) {
  ServeOptions options = test_options();
  options.products = {"A", "B"};
  RunningServer server(options);
  EXPECT_THAT(server.storage().products(), testing::ElementsAre("A", "B"));
  expect_reply(ask(server.port(), post(sound_form, "/collect/B")), 200, "OK");
  EXPECT_EQ(server.storage().kept().at(0).product, "B");
}

TEST(Server, EndsTheConnectionWhenABodysEndIsNotCertain) {
  RunningServer server;
  const std::string start = "POST /collect HTTP/1.1\r\nContent-Type: " + form_type + "\r\n";
  const std::string second = post(sound_form);
  const std::string length = "Content-Length: " + std::to_string(sound_form.size()) + "\r\n";
  const std::string chunked = "Transfer-Encoding: chunked\r\n";
  const std::vector<std::string> headers{
      length + chunked,
      chunked + length,
      length + length,
      length + "Content-Length: 0\r\n",
      "Content-Length: 5, 5\r\n",
      "Content-Length: +5\r\n",
      "Content-Length: 0x5\r\n",
      "Content-Length: 5 5\r\n",
      "Content-Length: -1\r\n",
      "Content-Length:\r\n",
      "Content-Length: 18446744073709551616\r\n",
      "Content-Length: 5\r\n 5\r\n",
      "Content-Length : 5\r\n",
      " Content-Length: 5\r\n",
      "Transfer-Encoding: gzip\r\n",
      "Transfer-Encoding: identity\r\n",
      "Transfer-Encoding: gzip, chunked\r\n",
      "Transfer-Encoding: chunked, chunked\r\n",
      "Transfer-Encoding: chunked, identity\r\n",
      chunked + chunked,
      chunked + "Transfer-Encoding: identity\r\n",
      "Transfer-Encoding: xchunked\r\n",
      "Transfer-Encoding: \x0b"
      "chunked\r\n",
      "Transfer-Encoding : chunked\r\n",
      "Transfer-Encoding:\r\n chunked\r\n gzip\r\n",
  };
  for (const std::string& header : headers) {
    TestClient client(server.port());
    client.send(start + header + "\r\n" + second + second);
    expect_reply(client.read_reply(), 400, "refused: not-multipart");
    EXPECT_EQ(client.read_rest(), "") << header << " let a second request through";
  }
  TestClient old(server.port());
  old.send("POST /collect HTTP/1.0\r\n" + chunked + "\r\n0\r\n\r\n" + second);
  expect_reply(old.read_reply(), 400, "refused: not-multipart");
  EXPECT_EQ(old.read_rest(), "");
  EXPECT_TRUE(server.storage().kept().empty());
}

TEST(Server, EndsTheConnectionAfterBadChunks) {
  RunningServer server;
  const std::string start = "POST /collect HTTP/1.1\r\nContent-Type: " + form_type +
                            "\r\nTransfer-Encoding: chunked\r\n\r\n";
  const std::vector<std::string> bodies{
      "x\r\nabc\r\n0\r\n\r\n",
      "-1\r\n0\r\n\r\n",
      "+3\r\nabc\r\n0\r\n\r\n",
      " 3\r\nabc\r\n0\r\n\r\n",
      "3\nabc\n0\n\n",
      "3\r\nabcd\r\n0\r\n\r\n",
      "3\r\nab\r\n0\r\n\r\n",
      "3\r\nabc0\r\n\r\n",
      "fffffffffffffffff\r\nabc\r\n0\r\n\r\n",
      "\r\n0\r\n\r\n",
      "0\r\nContent-Length: 5\r\n\r\n",
      "0\r\nno field\r\n\r\n",
      "3;" + std::string(20'000, 'x') + "\r\nabc\r\n0\r\n\r\n",
      "3;\x01\r\nabc\r\n0\r\n\r\n",
  };
  for (const std::string& body : bodies) {
    TestClient client(server.port());
    client.send(start + body + post(sound_form));
    expect_reply(client.read_reply(), 400, "refused: not-multipart");
    EXPECT_EQ(client.read_rest(), "") << body;
  }
  EXPECT_TRUE(server.storage().kept().empty());
}

TEST(Server, RefusesWhatIsNotHttp) {
  RunningServer server;
  const std::vector<std::string> inputs{
      std::string("\x16\x03\x01\x02\x00\x01\x00\x01\xfc\x03\x03", 11),
      std::string(64, '\0'),
      "GET\r\n\r\n",
      "GET /healthz\r\n\r\n",
      "GET /healthz HTTP/2.0\r\n\r\n",
      "GET /healthz HTTP/0.9\r\n\r\n",
      "GET /healthz HTTP/1.1\n\n",
      "GET /healthz HTTP/1.1\r\nno colon\r\n\r\n",
      "GET /healthz HTTP/1.1\r\na: b\x01\r\n\r\n",
      "GET /hea lthz HTTP/1.1\r\n\r\n",
      "PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n",
      std::string(3, '\xff') + "\r\n\r\n",
  };
  for (const std::string& input : inputs) {
    TestClient client(server.port());
    client.send(input + post(sound_form));
    expect_reply(client.read_reply(), 400, "refused: not-multipart");
    EXPECT_EQ(client.read_rest(), "") << input;
  }
  EXPECT_TRUE(server.storage().kept().empty());
  EXPECT_THAT(server.storage().refusals(),
              UnorderedElementsAre(Pair(" not-multipart", static_cast<int>(inputs.size()))));
}

TEST(Server, TakesAHeaderOfUpToEightKibibytes) {
  RunningServer server;
  const std::string start = "GET /healthz HTTP/1.1\r\nX: ";
  const std::string end = "\r\n\r\n";
  const std::size_t room = 8192 - start.size() - end.size();
  expect_reply(ask(server.port(), start + std::string(room, 'x') + end), 200, "OK");
  expect_reply(ask(server.port(), start + std::string(room + 1, 'x') + end), 400,
               "refused: not-multipart");
  std::string fields;
  while (fields.size() < 100'000) fields += "X: y\r\n";
  expect_reply(ask(server.port(), start + "\r\n" + fields + end), 400, "refused: not-multipart");
  expect_reply(ask(server.port(), start + std::string(100'000, 'x')), 400,
               "refused: not-multipart");
  expect_reply(ask(server.port(), "GET /" + std::string(100'000, 'x')), 400,
               "refused: not-multipart");
}

TEST(Server, TakesABodyInChunksOfAnySize) {
  RunningServer server;
  for (const std::size_t size : {1U, 2U, 7U, 100U, 1'000'000U}) {
    expect_reply(ask(server.port(), post_chunked(sound_form, size)), 200, "OK");
  }
  expect_reply(ask(server.port(), post_chunked(sound_form, 100, ";name=\"value\"")), 200, "OK");
  const std::string large = large_form(300'000);
  expect_reply(ask(server.port(), post_chunked(large, 9'999)), 200, "OK");
  EXPECT_EQ(server.storage().kept().size(), 7U);
}

TEST(Server, TakesARequestByteByByte) {
  RunningServer server;
  for (const std::string& request :
       {post(sound_form), post_chunked(sound_form, 50), post_chunked("", 1)}) {
    TestClient client(server.port());
    for (const char c : request) {
      client.send({&c, 1});
      if (c == '\n' || c == '0') std::this_thread::sleep_for(milliseconds(1));
    }
    const int status = client.read_reply().status;
    EXPECT_EQ(status, request == post_chunked("", 1) ? 400 : 200);
  }
  EXPECT_EQ(server.storage().kept().size(), 2U);
}

TEST(Server, RefusesABodyThatIsTooLargeBeforeItIsRead) {
  ServeOptions options = test_options();
  options.max_body = 10'000;
  RunningServer server(options);
  TestClient announcing(server.port());
  announcing.send("POST /collect HTTP/1.1\r\nContent-Length: 10001\r\n\r\n");
  expect_reply(announcing.read_reply(), 413, "refused: too-large");
  announcing.end_sending();
  EXPECT_EQ(announcing.read_rest(), "");

  expect_reply(ask(server.port(),
                   "POST /collect HTTP/1.1\r\nContent-Length: "
                   "18446744073709551615\r\n\r\n"),
               413, "refused: too-large");
  expect_reply(ask(server.port(), post_chunked(std::string(10'000, 'x'), 999)), 400,
               "refused: not-multipart");
  expect_reply(ask(server.port(), post_chunked(std::string(10'001, 'x'), 999)), 413,
               "refused: too-large");
}

TEST(Server, AClientThatSendsAllOfALargeBodyStillGetsTheRefusal) {
  ServeOptions options = test_options();
  options.max_body = 1000;
  options.deadlines.linger = seconds(10);
  RunningServer server(options);
  for (int i = 0; i < 5; ++i) {
    TestClient client(server.port());
    EXPECT_TRUE(client.send(post(std::string(8'000'000, 'x'))));
    expect_reply(client.read_reply(), 413, "refused: too-large");
  }
}

TEST(Server, ServesRequestsOfAConnectionOneAfterTheOther) {
  RunningServer server;
  TestClient client(server.port());
  std::string requests;
  for (int i = 0; i < 20; ++i) requests += post(sound_form) + "GET /healthz HTTP/1.1\r\n\r\n";
  client.send(requests + "\r\n" + post_chunked("x", 1) + "GET /readyz HTTP/1.1\r\n" +
              "Connection: close\r\n\r\n" + post(sound_form));
  for (int i = 0; i < 40; ++i) expect_reply(client.read_reply(), 200, "OK");
  expect_reply(client.read_reply(), 400, "refused: not-multipart");
  const Reply last = client.read_reply();
  expect_reply(last, 200, "OK");
  EXPECT_TRUE(last.has("Connection: close"));
  EXPECT_EQ(client.read_rest(), "");
  EXPECT_EQ(server.storage().kept().size(), 20U);
}

TEST(Server, KeepsAConnectionOfTheOldVersionOnRequestOnly) {
  RunningServer server;
  TestClient plain(server.port());
  plain.send("GET /healthz HTTP/1.0\r\n\r\n");
  expect_reply(plain.read_reply(), 200, "OK");
  EXPECT_EQ(plain.read_rest(), "");
  TestClient keeping(server.port());
  for (int i = 0; i < 2; ++i) {
    keeping.send("GET /healthz HTTP/1.0\r\nConnection: keep-alive\r\n\r\n");
    const Reply reply = keeping.read_reply();
    expect_reply(reply, 200, "OK");
    EXPECT_TRUE(reply.has("Connection: keep-alive"));
  }
}

TEST(Server, AsksForABodyThatWaitsForThat) {
  RunningServer server;
  const std::string expectation = "Expect: 100-Continue\r\n";
  const std::string request = post(sound_form, "/collect", expectation);
  const std::string header = request.substr(0, request.size() - sound_form.size());
  TestClient client(server.port());
  client.send(header);
  EXPECT_EQ(client.read_reply().head, "HTTP/1.1 100 Continue\r\n\r\n");
  client.send(sound_form);
  expect_reply(client.read_reply(), 200, "OK");

  client.send(request);
  expect_reply(client.read_reply(), 200, "OK");

  TestClient refused(server.port());
  refused.send("POST /collect HTTP/1.1\r\nContent-Length: 99999999\r\n" + expectation + "\r\n");
  expect_reply(refused.read_reply(), 413, "refused: too-large");

  TestClient old(server.port());
  old.send("POST /collect HTTP/1.0\r\nContent-Length: 1\r\n" + expectation + "\r\n");
  EXPECT_FALSE(old.is_closed(milliseconds(50)));
  old.send("x");
  expect_reply(old.read_reply(), 400, "refused: not-multipart");
}

TEST(Server, ADisconnectedClientLeavesNothing) {
  RunningServer server;
  const std::string request = post(sound_form);
  for (const std::size_t size : {std::size_t{1}, std::size_t{30}, request.size() - 1}) {
    TestClient closing(server.port());
    closing.send(request.substr(0, size));
    closing.end_sending();
    EXPECT_EQ(closing.read_rest(), "") << size;
    TestClient resetting(server.port());
    resetting.send(request.substr(0, size));
    resetting.reset();
  }
  EXPECT_TRUE(server.await_metric("pelto_collector_connections", "0"));
  EXPECT_EQ(server.metric("pelto_collector_in_flight_bytes"), "0");
  EXPECT_TRUE(server.storage().kept().empty());
  EXPECT_TRUE(server.storage().refusals().empty());
  EXPECT_TRUE(server.log().await("status=0 code=disconnected"));
}

TEST(Server, AClientThatGoesBeforeTheResponseIsKeptAllTheSame) {
  RunningServer server;
  server.storage().hold();
  {
    TestClient client(server.port());
    client.send(post(sound_form));
    while (server.storage().waiting() == 0) std::this_thread::sleep_for(milliseconds(1));
    client.reset();
  }
  server.storage().release();
  EXPECT_TRUE(server.await_metric("pelto_collector_deliveries_total{outcome=\"accepted\"}", "1"));
  EXPECT_TRUE(server.await_metric("pelto_collector_connections", "0"));
}

TEST(Server, ALargeReportDoesNotHoldUpOthers) {
  RunningServer server;
  TestClient large(server.port());
  large.send(post(large_form(3'000'000)));
  expect_reply(ask(server.port(), post(sound_form)), 200, "OK");
  expect_reply(large.read_reply(), 200, "OK");
  EXPECT_EQ(server.storage().kept().size(), 2U);
}

TEST(Server, WritesOneLineARequestWithoutItsContent) {
  RunningServer server;
  ask(server.port(), post(sound_form, "/collect?secret=1"));
  ask(server.port(), "POST /secret HTTP/1.1\r\nContent-Length: 3\r\n\r\nabc");
  EXPECT_TRUE(server.log().await("code=unknown-product"));
  const std::string log = server.log().read();
  EXPECT_THAT(log, HasSubstr(" listener=intake method=POST path=/collect product=default "
                             "status=200 code=accepted bytes=" +
                             std::to_string(sound_form.size()) + " ms="));
  EXPECT_THAT(log, HasSubstr(" method=POST path=- product=- status=404 code=unknown-product "
                             "bytes=0 ms="));
  EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 2);
  EXPECT_EQ(log.find("secret"), std::string::npos);
  EXPECT_EQ(log.find("127.0.0.1"), std::string::npos);
  EXPECT_EQ(log.find("the-id"), std::string::npos);
}

TEST(Server, ShowsItsMetricsOnThePagesListenerOnly) {
  RunningServer server;
  ask(server.port(), post(sound_form));
  ask(server.port(), post("x"));
  TestClient open(server.port());
  EXPECT_TRUE(server.await_metric("pelto_collector_connections", "1"));
  EXPECT_EQ(server.metric("pelto_collector_deliveries_total{outcome=\"accepted\"}"), "1");
  EXPECT_EQ(server.metric("pelto_collector_refusals_total{code=\"not-multipart\"}"), "1");
  EXPECT_EQ(server.metric("pelto_collector_storage_ready"), "1");
  EXPECT_EQ(server.metric("pelto_collector_request_duration_seconds_count"), "2");
  const Reply reply = ask(server.pages_port(), "GET /metrics HTTP/1.1\r\nHost: localhost\r\n\r\n");
  EXPECT_TRUE(reply.has("Content-Type: text/plain; version=0.0.4; charset=utf-8"));
  EXPECT_EQ(ask(server.pages_port(), "GET /metrics/ HTTP/1.1\r\n\r\n").status, 404);
  for (const std::string start : {"POST /metrics HTTP/1.1\r\nContent-Length: 0\r\n",
                                  "POST /collect HTTP/1.1\r\nContent-Length: 3\r\n"}) {
    EXPECT_EQ(ask(server.pages_port(), start + "\r\n").status, 405) << start;
  }
  EXPECT_EQ(ask(server.port(), "GET /metrics HTTP/1.1\r\n\r\n").status, 405);
}

}  // namespace
}  // namespace pelto::collector
