// A small HTTP server in the test's process, and what goes with it.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "platform/Handles.h"
#include "tests/support/Deadline.h"

#include <winsock2.h>

struct SocketTraits {
  using Handle = SOCKET;
  static Handle GetInvalid() { return INVALID_SOCKET; }
  static void Close(Handle handle) { closesocket(handle); }
};
using SocketHandle = CUniqueHandle<SocketTraits>;

/// Holds Winsock loaded.
class Winsock {
 public:
  Winsock();
  ~Winsock();
  Winsock(const Winsock&) = delete;
  Winsock& operator=(const Winsock&) = delete;
};

/// A port of 127.0.0.1 that the system has picked. As nobody listens on it, a connection to it is
/// refused.
class LoopbackPort {
 public:
  LoopbackPort();
  unsigned short Number() const { return number_; }
  /// Connects it to `other`, which must listen.
  void Connect(const LoopbackPort& other) const;

 protected:
  SOCKET Socket() const { return socket_.Get(); }

 private:
  Winsock winsock_;
  SocketHandle socket_;
  unsigned short number_ = 0;
};

/// One connection to the server, as its script sees it. Each wait ends after ten seconds.
class LoopbackClient {
 public:
  explicit LoopbackClient(SocketHandle socket);

  /// Reads on until the head of the request is there; false when it does not come.
  bool ReadHead();
  /// Reads on until the request is there with the length that its head declares.
  bool ReadRequest();
  /// Reads what comes next, at most 64 KiB; false when nothing does.
  bool ReadMore();
  void ReadToEnd();
  /// Everything that was read, as it came.
  const std::string& Received() const { return received_; }

  bool Send(std::string_view bytes);
  /// Closes the connection as a crash would, and not as its end.
  void Reset();

 private:
  SocketHandle socket_;
  std::string received_;
};

/// Serves one client after the other on a thread of its own, by a script that each test writes. A
/// connection is closed when its script ends.
class LoopbackServer : public LoopbackPort {
 public:
  using Script = std::function<void(LoopbackClient&)>;

  explicit LoopbackServer(Script script);
  ~LoopbackServer();

  /// "http://127.0.0.1:" with the port and `path`.
  std::wstring Address(const std::wstring& path = L"/in") const;
  /// Ends the server. What each client has sent to it, to the byte, in the order of their coming.
  const std::vector<std::string>& Requests();

 private:
  void Serve();

  Deadline deadline_;
  Script script_;
  std::vector<std::string> requests_;
  /// Its connection tells the server to end.
  LoopbackPort waker_;
  std::thread thread_;
};

/// An answer with a length, after which the connection ends.
std::string HttpAnswer(const std::string& status, const std::string& body,
                       const std::string& headers = {});
/// The same, with the body in chunks of at most `size` bytes.
std::string ChunkedHttpAnswer(const std::string& status, const std::string& body, size_t size);
