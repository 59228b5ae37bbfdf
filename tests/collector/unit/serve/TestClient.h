#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace pelto::collector {

struct Reply {
  /// 0: the connection ended before a whole response.
  int status = 0;
  std::string head;
  std::string body;

  /// Whether the head has this line.
  bool has(std::string_view line) const;
};

/// A connection to a server on loopback. A failure of the system fails the test.
class TestClient {
 public:
  explicit TestClient(std::uint16_t port);
  ~TestClient();
  TestClient(TestClient&& other) noexcept;
  TestClient(const TestClient&) = delete;
  TestClient& operator=(const TestClient&) = delete;

  /// Sends all bytes. Returns false if the server has closed the connection.
  bool send(std::string_view bytes);
  /// Reads the next response; without its body after a request of the method HEAD.
  Reply read_reply(bool has_body = true);
  /// Reads to the end of the connection.
  std::string read_rest();
  /// Whether the server closes the connection within `patience`, without another byte.
  bool is_closed(std::chrono::milliseconds patience);
  /// Says that nothing more will be sent.
  void end_sending();
  /// Ends the connection with a reset, as a machine that has crashed.
  void reset();

  int socket() const { return socket_; }

 private:
  /// Returns false at the end of the connection.
  bool receive();

  int socket_;
  std::string received_;
};

/// One request on a connection of its own.
Reply ask(std::uint16_t port, std::string_view bytes);

}  // namespace pelto::collector
