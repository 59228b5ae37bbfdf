#include "tests/collector/unit/serve/TestClient.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <charconv>
#include <utility>

namespace pelto::collector {

namespace {

constexpr int patience = 20'000;

std::size_t content_length(std::string_view head) {
  constexpr std::string_view name = "\r\nContent-Length: ";
  const std::size_t at = head.find(name);
  if (at == std::string_view::npos) return 0;
  std::size_t length = 0;
  std::from_chars(head.data() + at + name.size(), head.data() + head.size(), length);
  return length;
}

}  // namespace

bool Reply::has(std::string_view line) const {
  return ("\r\n" + head).find("\r\n" + std::string(line) + "\r\n") != std::string::npos;
}

TestClient::TestClient(std::uint16_t port) : socket_(::socket(AF_INET, SOCK_STREAM, 0)) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  EXPECT_EQ(connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
}

TestClient::TestClient(TestClient&& other) noexcept
    : socket_(std::exchange(other.socket_, -1)), received_(std::move(other.received_)) {}

TestClient::~TestClient() {
  if (socket_ >= 0) close(socket_);
}

bool TestClient::send(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t sent = ::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(sent));
  }
  return true;
}

Reply TestClient::read_reply(bool has_body) {
  constexpr std::string_view end_of_head = "\r\n\r\n";
  Reply reply;
  std::size_t end = 0;
  while ((end = received_.find(end_of_head)) == std::string::npos) {
    if (!receive()) return reply;
  }
  end += end_of_head.size();
  const std::size_t length = has_body ? content_length(received_.substr(0, end)) : 0;
  while (received_.size() < end + length) {
    if (!receive()) return reply;
  }
  reply.head = received_.substr(0, end);
  reply.body = received_.substr(end, length);
  received_.erase(0, end + length);
  const std::size_t space = reply.head.find(' ');
  std::from_chars(reply.head.data() + space + 1, reply.head.data() + reply.head.size(),
                  reply.status);
  return reply;
}

std::string TestClient::read_rest() {
  while (receive()) {
  }
  return std::exchange(received_, {});
}

bool TestClient::is_closed(std::chrono::milliseconds wait) {
  pollfd state{socket_, POLLIN, 0};
  if (poll(&state, 1, static_cast<int>(wait.count())) <= 0) return false;
  return !receive() && received_.empty();
}

void TestClient::end_sending() {
  shutdown(socket_, SHUT_WR);
}

void TestClient::reset() {
  const linger at_once{1, 0};
  setsockopt(socket_, SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
  close(std::exchange(socket_, -1));
}

bool TestClient::receive() {
  pollfd state{socket_, POLLIN, 0};
  if (poll(&state, 1, patience) <= 0) {
    ADD_FAILURE() << "nothing arrived in time";
    return false;
  }
  std::array<char, 65536> buffer;
  const ssize_t count = recv(socket_, buffer.data(), buffer.size(), 0);
  if (count <= 0) return false;
  received_.append(buffer.data(), static_cast<std::size_t>(count));
  return true;
}

Reply ask(std::uint16_t port, std::string_view bytes) {
  TestClient client(port);
  client.send(bytes);
  return client.read_reply();
}

}  // namespace pelto::collector
