// What the server does with clients that are slow, many or greedy, and when it ends.
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <chrono>
#include <csignal>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "collector/http/Cookie.h"
#include "collector/serve/Server.h"
#include "tests/collector/unit/intake/FormText.h"
#include "tests/collector/unit/serve/RunningServer.h"
#include "tests/collector/unit/serve/TestClient.h"

namespace pelto::collector {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;
using std::chrono::seconds;

const std::string sound_form = form(report_text(""));
const std::string health = "GET /healthz HTTP/1.1\r\n\r\n";

std::string post_header(std::size_t length) {
  return "POST /collect HTTP/1.1\r\nContent-Type: " + form_type +
         "\r\nContent-Length: " + std::to_string(length) + "\r\n\r\n";
}

const std::string sound_request = post_header(sound_form.size()) + sound_form;

milliseconds since(Clock::time_point start) {
  return std::chrono::duration_cast<milliseconds>(Clock::now() - start);
}

/// Sends one byte after the other until the server says something or closes.
void trickle(TestClient& client, const std::string& bytes, milliseconds pause) {
  for (const char c : bytes) {
    if (!client.send({&c, 1})) return;
    pollfd state{client.socket(), POLLIN, 0};
    if (poll(&state, 1, static_cast<int>(pause.count())) > 0) return;
  }
}

TEST(ServerDeadlines, ATrickleDoesNotStretchTheHeaders) {
  ServeOptions options = test_options();
  options.deadlines.header = milliseconds(300);
  RunningServer server(options);
  const auto start = Clock::now();
  TestClient client(server.port());
  trickle(client, "GET /healthz HTTP/1.1\r\nX: " + std::string(4000, 'x'), milliseconds(10));
  const Reply reply = client.read_reply();
  EXPECT_EQ(reply.status, 408);
  EXPECT_EQ(reply.body, "refused: timeout");
  EXPECT_TRUE(reply.has("Connection: close"));
  EXPECT_EQ(client.read_rest(), "");
  EXPECT_GE(since(start), milliseconds(290));
  EXPECT_LT(since(start), seconds(5));
  EXPECT_EQ(server.storage().refusals()[" timeout"], 1);
}

TEST(ServerDeadlines, ASilentNewConnectionIsJustClosed) {
  ServeOptions options = test_options();
  options.deadlines.header = milliseconds(200);
  RunningServer server(options);
  TestClient client(server.port());
  EXPECT_EQ(client.read_rest(), "");
  EXPECT_TRUE(server.storage().refusals().empty());
}

TEST(ServerDeadlines, ATrickleDoesNotStretchTheBodys) {
  ServeOptions options = test_options();
  options.deadlines.body_start = milliseconds(300);
  RunningServer server(options);
  const auto start = Clock::now();
  TestClient client(server.port());
  client.send(post_header(100'000));
  trickle(client, std::string(100'000, 'x'), milliseconds(10));
  EXPECT_EQ(client.read_reply().status, 408);
  EXPECT_GE(since(start), milliseconds(290));
  EXPECT_LT(since(start), seconds(5));
  EXPECT_EQ(server.storage().refusals()["default timeout"], 1);
  EXPECT_TRUE(server.await_metric("pelto_collector_in_flight_bytes", "0"));
}

TEST(ServerDeadlines, ChunksDoNotStretchItEither) {
  ServeOptions options = test_options();
  options.deadlines.body_start = milliseconds(300);
  options.deadlines.body_rate = 1'000'000;
  RunningServer server(options);
  TestClient client(server.port());
  client.send("POST /collect HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n");
  std::string chunks;
  for (int i = 0; i < 2000; ++i) chunks += "1;extension=of-many-bytes\r\nx\r\n";
  trickle(client, chunks, milliseconds(2));
  EXPECT_EQ(client.read_reply().status, 408);
}

TEST(ServerDeadlines, ABodyThatIsFastEnoughMayTakeLonger) {
  ServeOptions options = test_options();
  options.deadlines.body_start = milliseconds(200);
  options.deadlines.body_rate = 100;
  RunningServer server(options);
  const auto start = Clock::now();
  TestClient client(server.port());
  client.send(post_header(sound_form.size()) + sound_form.substr(0, 200));
  EXPECT_FALSE(client.is_closed(milliseconds(700)));
  client.send(sound_form.substr(200));
  EXPECT_EQ(client.read_reply().status, 200);
  EXPECT_GE(since(start), milliseconds(690));
}

TEST(ServerDeadlines, NoBodyMayTakeLongerThanTheLimitInAll) {
  ServeOptions options = test_options();
  options.deadlines.body_start = milliseconds(100);
  options.deadlines.body_rate = 1;
  options.deadlines.body = milliseconds(400);
  RunningServer server(options);
  const auto start = Clock::now();
  TestClient client(server.port());
  client.send(post_header(100'000) + std::string(50'000, 'x'));
  EXPECT_EQ(client.read_reply().status, 408);
  EXPECT_GE(since(start), milliseconds(390));
}

TEST(ServerDeadlines, AnIdleConnectionIsClosedWithoutAWord) {
  ServeOptions options = test_options();
  options.deadlines.idle = milliseconds(200);
  RunningServer server(options);
  TestClient client(server.port());
  for (int i = 0; i < 3; ++i) {
    client.send(health);
    EXPECT_EQ(client.read_reply().status, 200);
    EXPECT_FALSE(client.is_closed(milliseconds(50)));
  }
  EXPECT_EQ(client.read_rest(), "");
}

TEST(ServerDeadlines, ALateRequestHasItsOwnDeadline) {
  ServeOptions options = test_options();
  options.deadlines.idle = seconds(20);
  options.deadlines.header = milliseconds(200);
  RunningServer server(options);
  TestClient client(server.port());
  client.send(health);
  EXPECT_EQ(client.read_reply().status, 200);
  EXPECT_FALSE(client.is_closed(milliseconds(300)));
  const auto start = Clock::now();
  client.send("G");
  EXPECT_EQ(client.read_reply().status, 408);
  EXPECT_LT(since(start), seconds(5));
}

TEST(ServerDeadlines, AStorageThatTakesLongIsWaitedFor) {
  ServeOptions options = test_options();
  options.deadlines.header = milliseconds(100);
  options.deadlines.idle = milliseconds(100);
  options.deadlines.body_start = milliseconds(100);
  options.deadlines.body = milliseconds(100);
  RunningServer server(options);
  server.storage().hold();
  TestClient client(server.port());
  client.send(sound_request);
  EXPECT_FALSE(client.is_closed(milliseconds(400)));
  server.storage().release();
  EXPECT_EQ(client.read_reply().status, 200);
}

/// A server with a response of many MiB, more than the buffers of both ends take.
class LargeResponse {
 public:
  explicit LargeResponse(const ServeOptions& options) : server_(options) {
    for (int i = 0; i < 2000; ++i) {
      server_.storage().add_product(std::to_string(i) + std::string(10'000, 'x'));
    }
    AccessControl& access = server_.access();
    access.accounts.add({"ann", Role::viewer}, "0123456789", {});
    token_ = access.sessions.begin({"ann", access.accounts.find("ann")->stamp}, Clock::now());
  }

  RunningServer& server() { return server_; }
  /// Asks for the response, and waits until it has begun to arrive.
  TestClient ask() const {
    TestClient client(server_.pages_port());
    client.send("GET /api/v1/products HTTP/1.1\r\nConnection: close\r\nCookie: " +
                std::string(session_cookie(false)) + "=" + token_ + "\r\n\r\n");
    pollfd begun{client.socket(), POLLIN, 0};
    EXPECT_EQ(poll(&begun, 1, 20'000), 1);
    return client;
  }

 private:
  RunningServer server_;
  std::string token_;
};

TEST(ServerDeadlines, ALargeResponseMayBeTakenSlowly) {
  ServeOptions options = test_options();
  options.deadlines.header = milliseconds(200);
  options.deadlines.body_start = milliseconds(200);
  options.deadlines.body_rate = 1'000'000;
  LargeResponse large(options);
  TestClient client = large.ask();
  // What the buffers take at once counts, too.
  std::this_thread::sleep_for(milliseconds(800));
  const std::string response = client.read_rest();
  EXPECT_GT(response.size(), 20'000'000U);
  EXPECT_TRUE(response.ends_with("]}\n"));
}

TEST(ServerDeadlines, ALargeResponseIsNotWaitedForLongerThanABody) {
  for (const auto& [rate, most] : {std::pair(std::size_t{1'000'000'000}, seconds(300)),
                                   std::pair(std::size_t{1}, seconds(1))}) {
    ServeOptions options = test_options();
    options.deadlines.body_start = milliseconds(200);
    options.deadlines.body_rate = rate;
    options.deadlines.body = most;
    LargeResponse large(options);
    const TestClient client = large.ask();
    const auto start = Clock::now();
    EXPECT_TRUE(large.server().log().await("code=not-sent")) << rate;
    EXPECT_LT(since(start), seconds(8)) << rate;
  }
}

TEST(ServerDeadlines, AClientThatDoesNotReadIsLeft) {
  ServeOptions options = test_options();
  options.deadlines.body_start = milliseconds(200);
  RunningServer server(options);
  TestClient client(server.port());
  std::string requests;
  for (int i = 0; i < 1000; ++i) requests += health;
  const auto end = Clock::now() + seconds(20);
  // The server's responses fill the buffers of both ends; then it neither writes nor reads.
  timeval patience{0, 300'000};
  setsockopt(client.socket(), SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
  while (client.send(requests)) ASSERT_LT(Clock::now(), end);
  EXPECT_TRUE(server.await_metric("pelto_collector_connections", "0"));
}

TEST(ServerLimits, OneConnectionTooManyIsToldAndClosed) {
  ServeOptions options = test_options();
  options.max_connections = 3;
  RunningServer server(options);
  std::vector<TestClient> clients;
  for (int i = 0; i < 3; ++i) clients.emplace_back(server.port());
  ASSERT_TRUE(server.await_metric("pelto_collector_connections", "3"));
  TestClient surplus(server.port());
  const Reply reply = surplus.read_reply();
  EXPECT_EQ(reply.status, 503);
  EXPECT_EQ(reply.body, "refused: busy");
  EXPECT_EQ(surplus.read_rest(), "");
  EXPECT_EQ(server.metric("pelto_collector_refused_connections_total"), "1");
  for (TestClient& client : clients) {
    client.send(health);
    EXPECT_EQ(client.read_reply().status, 200);
  }
  clients.pop_back();
  ASSERT_TRUE(server.await_metric("pelto_collector_connections", "2"));
  EXPECT_EQ(ask(server.port(), health).status, 200);
}

TEST(ServerLimits, ARefusedConnectionToThePagesIsNoneOfTheIntake) {
  RunningServer server;
  {
    std::vector<TestClient> clients;
    for (int i = 0; i < 256; ++i) clients.emplace_back(server.pages_port());
    // Connections are taken in order.
    TestClient surplus(server.pages_port());
    EXPECT_EQ(surplus.read_reply().status, 503);
  }
  EXPECT_TRUE(server.await_metric("pelto_collector_refused_connections_total", "0"));
  const std::string count = server.metric("pelto_collector_refusals_total{code=\"busy\"}");
  EXPECT_EQ(count, "0");
}

TEST(ServerLimits, BodiesInFlightAreLimitedByWhatHasArrived) {
  ServeOptions options = test_options();
  options.max_in_flight = 100'000;
  RunningServer server(options);
  // What is only announced does not count.
  std::vector<TestClient> announcing;
  for (int i = 0; i < 20; ++i) {
    announcing.emplace_back(server.port());
    announcing.back().send(post_header(90'000));
  }
  TestClient large(server.port());
  large.send(post_header(70'000) + std::string(60'000, 'x'));
  EXPECT_EQ(ask(server.port(), sound_request).status, 200);
  TestClient second(server.port());
  second.send(post_header(70'000) + std::string(69'000, 'x'));
  const Reply reply = second.read_reply();
  EXPECT_EQ(reply.status, 503);
  EXPECT_EQ(reply.body, "refused: busy");
  EXPECT_EQ(ask(server.port(), sound_request).status, 200);
  large.send(std::string(10'000, 'x'));
  EXPECT_EQ(large.read_reply().status, 400);
  announcing.clear();
  EXPECT_TRUE(server.await_metric("pelto_collector_in_flight_bytes", "0"));
}

TEST(ServerLimits, SlowLargeBodiesDoNotKeepSmallOnesOut) {
  ServeOptions options = test_options();
  options.max_body = 700'000;
  options.max_in_flight = 800'000;
  RunningServer server(options);
  TestClient slow(server.port());
  slow.send(post_header(700'000) + std::string(699'999, 'x'));
  ASSERT_TRUE(server.await_metric("pelto_collector_in_flight_bytes", "700000"));
  TestClient surplus(server.port());
  surplus.send(post_header(70'000) + std::string(70'000, 'x'));
  EXPECT_EQ(surplus.read_reply().status, 503);
  EXPECT_EQ(ask(server.port(), sound_request).status, 200);
}

TEST(ServerLimits, DeliveriesThatWaitForTheStorageCount) {
  ServeOptions options = test_options();
  options.max_in_flight = 3 * sound_form.size();
  RunningServer server(options);
  server.storage().hold();
  std::vector<TestClient> clients;
  for (int i = 0; i < 3; ++i) {
    clients.emplace_back(server.port());
    clients.back().send(sound_request);
  }
  while (server.storage().waiting() < 3) std::this_thread::sleep_for(milliseconds(1));
  EXPECT_EQ(ask(server.port(), sound_request).status, 503);
  server.storage().release();
  for (TestClient& client : clients) EXPECT_EQ(client.read_reply().status, 200);
  EXPECT_EQ(ask(server.port(), sound_request).status, 200);
}

TEST(ServerLimits, RatesAreCountedByTheAddressThatATrustedProxyNames) {
  ServeOptions options = test_options();
  options.rate = 2;
  options.trusted_proxies = {*parse_ip_address("127.0.0.1")};
  RunningServer server(options);
  const auto deliver_for = [&](const std::string& address) {
    return ask(server.port(), "POST /collect HTTP/1.1\r\nContent-Type: " + form_type +
                                  "\r\nX-Forwarded-For: " + address + "\r\nContent-Length: " +
                                  std::to_string(sound_form.size()) + "\r\n\r\n" + sound_form);
  };
  EXPECT_EQ(deliver_for("192.0.2.1").status, 200);
  EXPECT_EQ(deliver_for("203.0.113.1, 192.0.2.1").status, 200);
  const Reply reply = deliver_for("192.0.2.1");
  EXPECT_EQ(reply.status, 429);
  EXPECT_EQ(reply.body, "refused: busy");
  EXPECT_EQ(deliver_for("192.0.2.2").status, 200);
  for (int i = 0; i < 5; ++i) EXPECT_EQ(ask(server.port(), sound_request).status, 200);
}

TEST(ServerLimits, WithoutATrustedProxyTheFieldMeansNothing) {
  ServeOptions options = test_options();
  options.rate = 1;
  RunningServer server(options);
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(ask(server.port(),
                  "POST /collect HTTP/1.1\r\nX-Forwarded-For: 192.0.2.1\r\n"
                  "Content-Length: 1\r\n\r\nx")
                  .status,
              400);
  }
}

TEST(ServerLimits, ManyIdleConnectionsDoNotMatter) {
  RunningServer server;
  std::vector<TestClient> clients;
  for (int i = 0; i < 500; ++i) {
    clients.emplace_back(server.port());
    if (i % 2 == 0) clients.back().send("POST /collect HTTP/1.1\r\nX: ");
  }
  ASSERT_TRUE(server.await_metric("pelto_collector_connections", "500"));
  for (int i = 0; i < 20; ++i) EXPECT_EQ(ask(server.port(), sound_request).status, 200);
}

TEST(ServerEnd, OpenRequestsEndAndIdleConnectionsAreClosed) {
  RunningServer server;
  server.storage().hold();
  TestClient idle(server.port());
  idle.send(health);
  EXPECT_EQ(idle.read_reply().status, 200);
  TestClient fresh(server.port());
  TestClient waiting(server.port());
  waiting.send(sound_request + health);
  TestClient sending(server.port());
  sending.send(post_header(sound_form.size()) + sound_form.substr(0, 50));
  while (server.storage().waiting() == 0) std::this_thread::sleep_for(milliseconds(1));
  ASSERT_TRUE(server.await_metric("pelto_collector_connections", "4"));

  server.stop();
  EXPECT_EQ(idle.read_rest(), "");
  EXPECT_EQ(fresh.read_rest(), "");
  server.storage().release();
  const Reply reply = waiting.read_reply();
  EXPECT_EQ(reply.status, 200);
  EXPECT_TRUE(reply.has("Connection: close"));
  sending.send(sound_form.substr(50));
  EXPECT_EQ(sending.read_reply().status, 200);
  EXPECT_LT(server.join(), seconds(5));
  EXPECT_EQ(server.storage().kept().size(), 2U);
}

TEST(ServerEnd, DoesNotWaitForATrickle) {
  ServeOptions options = test_options();
  options.deadlines.stop = milliseconds(300);
  RunningServer server(options);
  TestClient client(server.port());
  client.send(post_header(1000) + std::string(100, 'x'));
  ASSERT_TRUE(server.await_metric("pelto_collector_in_flight_bytes", "100"));
  server.stop();
  const milliseconds duration = server.join();
  EXPECT_GE(duration, milliseconds(250));
  EXPECT_LT(duration, seconds(5));
  EXPECT_EQ(client.read_rest(), "");
}

TEST(ServerEnd, WaitsForTheStorageWhateverItTakes) {
  ServeOptions options = test_options();
  options.deadlines.stop = milliseconds(50);
  RunningServer server(options);
  server.storage().hold();
  TestClient client(server.port());
  client.send(sound_request);
  while (server.storage().waiting() == 0) std::this_thread::sleep_for(milliseconds(1));
  server.stop();
  std::thread releasing([&] {
    std::this_thread::sleep_for(milliseconds(300));
    server.storage().release();
  });
  EXPECT_GE(server.join(), milliseconds(250));
  releasing.join();
  EXPECT_EQ(server.storage().kept().size(), 1U);
}

TEST(ServerEnd, EndsAtOnceWithoutConnections) {
  RunningServer server;
  server.stop();
  server.stop();
  EXPECT_LT(server.join(), seconds(5));
}

TEST(ServerEnd, ASignalEndsItWithAndWithoutConnections) {
  for (const bool has_connection : {false, true}) {
    RunningServer server;
    std::optional<TestClient> client;
    if (has_connection) {
      client.emplace(server.port());
      ASSERT_TRUE(server.await_metric("pelto_collector_connections", "1"));
    }
    std::raise(SIGTERM);
    EXPECT_LT(server.join(), seconds(5));
  }
}

TEST(ServerStart, SaysWhyItCannotListen) {
  RunningServer server;
  ServeOptions options = test_options();
  options.intake.port = server.port();
  LogPipe pipe;
  LogWriter log(pipe.writing_end());
  SlowStorage storage;
  const test::TemporaryFolder data;
  AccessControl access(data / "reports.sqlite");
  try {
    const Server second(options, storage, access, log);
    FAIL() << "it listens where another one does";
  } catch (const ServeError& error) {
    EXPECT_EQ(error.what(), "cannot listen at 127.0.0.1:" + std::to_string(server.port()) +
                                ": Address already in use");
  }
  options.intake = {"host.invalid", 0};
  EXPECT_THROW(Server(options, storage, access, log), ServeError);
}

TEST(ServerStart, ListensAtAnAddressOfTheNewFamily) {
  ServeOptions options = test_options();
  options.intake.host = "::1";
  options.pages.host = "::1";
  LogPipe pipe;
  LogWriter log(pipe.writing_end());
  SlowStorage storage;
  const test::TemporaryFolder data;
  AccessControl access(data / "reports.sqlite");
  const Server server(options, storage, access, log);
  EXPECT_EQ(server.intake().host, "::1");
  EXPECT_NE(server.intake().port, 0);
  EXPECT_NE(server.pages().port, server.intake().port);
}

}  // namespace
}  // namespace pelto::collector
