#include "collector/fleet/Load.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <nlohmann/json.hpp>
#include <thread>

namespace pelto::collector {
namespace {

/// Answers one connection after the other with the given texts, and keeps what it received. An
/// empty text closes the connection without an answer.
class Server {
 public:
  explicit Server(std::vector<std::string> answers) {
    listener_ = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    bind(listener_, reinterpret_cast<sockaddr*>(&address), size);
    listen(listener_, 16);
    getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size);
    port_ = ntohs(address.sin_port);
    thread_ = std::jthread([this, answers = std::move(answers)] {
      for (const std::string& answer : answers) serve(answer);
      close(listener_);
    });
  }

  CollectorAddress address() const { return {"127.0.0.1", std::to_string(port_), "/collect"}; }

  /// The bytes of each connection. Waits until all have been served.
  const std::vector<std::string>& received() {
    if (thread_.joinable()) thread_.join();
    return received_;
  }

 private:
  void serve(const std::string& answer) {
    const int connection = accept(listener_, nullptr, nullptr);
    std::string text;
    char buffer[4096];
    while (!text.ends_with("END")) {
      const ssize_t count = recv(connection, buffer, sizeof buffer, 0);
      if (count <= 0) break;
      text.append(buffer, static_cast<std::size_t>(count));
    }
    received_.push_back(text);
    send(connection, answer.data(), answer.size(), MSG_NOSIGNAL);
    close(connection);
  }

  int listener_ = -1;
  int port_ = 0;
  std::vector<std::string> received_;
  std::jthread thread_;
};

std::string answer_of(int status, const std::string& body) {
  return "HTTP/1.1 " + std::to_string(status) +
         " Text\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

LoadSummary send(Server& server, const std::vector<PreparedRequest>& requests,
                 std::chrono::seconds patience = std::chrono::seconds(20)) {
  LoadOptions options;
  options.address = server.address();
  options.connections = 3;
  options.patience = patience;
  return send_requests(requests, options);
}

TEST(Load, CountsWhatIsConfirmed) {
  Server server({answer_of(200, "OK"), answer_of(200, "OK")});
  const LoadSummary summary = send(server, {{0, "A END"}, {1, "B END"}});
  EXPECT_EQ(summary.confirmed, 2);
  EXPECT_EQ(summary.failed, 0);
  EXPECT_EQ(summary.retries, 0);
  EXPECT_EQ(summary.latencies.size(), 2U);
  EXPECT_EQ(summary.bytes, 10);
  EXPECT_EQ(server.received().size(), 2U);
}

TEST(Load, SendsTheSameBytesAgainUntilThereIsAnAnswer) {
  Server server(
      {"", answer_of(503, "refused: busy"), "HTTP/1.1 200 OK\r\nContent-Le", answer_of(200, "OK")});
  const LoadSummary summary = send(server, {{0, "A END"}});
  EXPECT_EQ(summary.confirmed, 1);
  EXPECT_EQ(summary.retries, 3);
  EXPECT_EQ(server.received(), std::vector<std::string>(4, "A END"));
}

TEST(Load, SendsTheRequestsOfAnInstallationOneAfterTheOther) {
  Server server({"", answer_of(200, "OK"), answer_of(200, "OK")});
  EXPECT_EQ(send(server, {{4, "A END"}, {4, "B END"}}).confirmed, 2);
  EXPECT_EQ(server.received(), (std::vector<std::string>{"A END", "A END", "B END"}));
}

TEST(Load, DoesNotRepeatWhatIsRefused) {
  Server server({answer_of(400, "refused: no-id")});
  const LoadSummary summary = send(server, {{0, "A END"}});
  EXPECT_EQ(summary.confirmed, 0);
  EXPECT_EQ(summary.failed, 1);
  EXPECT_EQ(summary.retries, 0);
}

TEST(Load, GoesByTheNumberAtTheBodysBeginningAsASenderDoes) {
  Server server({answer_of(200, "500")});
  EXPECT_EQ(send(server, {{0, "A END"}}).failed, 1);
}

TEST(Load, GivesUpWhenItsPatienceEnds) {
  Server server({""});
  const LoadSummary summary = send(server, {{0, "A END"}}, std::chrono::seconds(0));
  EXPECT_EQ(summary.failed, 1);
}

TEST(Load, KeepsToItsRate) {
  Server server(std::vector<std::string>(6, answer_of(200, "OK")));
  LoadOptions options;
  options.address = server.address();
  options.rate = 20;
  std::vector<PreparedRequest> requests;
  for (std::int64_t i = 0; i < 6; ++i) requests.push_back({i, "A END"});
  const LoadSummary summary = send_requests(requests, options);
  EXPECT_EQ(summary.confirmed, 6);
  // The last is due a quarter of a second after the first.
  EXPECT_GE(summary.seconds, 0.25);
}

TEST(Load, TellsItsSummaryInOneLineOfJson) {
  LoadSummary summary;
  summary.confirmed = 100;
  summary.failed = 2;
  summary.retries = 3;
  summary.seconds = 4;
  summary.bytes = 7;
  for (int i = 1; i <= 101; ++i) summary.latencies.emplace_back(i * 1000);
  const std::string text = format_summary(summary);
  EXPECT_EQ(text.find('\n'), std::string::npos);
  EXPECT_EQ(nlohmann::json::parse(text),
            nlohmann::json::parse(
                R"({"confirmed": 100, "failed": 2, "retries": 3, "bytes": 7, "seconds": 4.0,
      "per_second": 25.0, "latency_ms": {"p50": 51.0, "p99": 100.0, "max": 101.0}})"));
}

}  // namespace
}  // namespace pelto::collector
