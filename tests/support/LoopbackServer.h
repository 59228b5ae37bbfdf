// A small HTTP server in the test's process.
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

/// Keeps Winsock loaded.
class Winsock {
 public:
  Winsock();
  ~Winsock();
  Winsock(const Winsock&) = delete;
  Winsock& operator=(const Winsock&) = delete;
};

/// A port of 127.0.0.1 that the system has chosen. Nothing listens on it, so a connection to it is
/// refused.
class LoopbackPort {
 public:
  LoopbackPort();
  unsigned short GetNumber() const { return number_; }
  /// Connects it to `other`, which must listen.
  void Connect(const LoopbackPort& other) const;

 protected:
  SOCKET Socket() const { return socket_.Get(); }

 private:
  Winsock winsock_;
  SocketHandle socket_;
  unsigned short number_ = 0;
};

/// One connection to the server. Each wait ends after ten seconds.
class LoopbackClient {
 public:
  explicit LoopbackClient(SocketHandle socket);

  /// Reads until the head of the request has arrived; false when it does not.
  bool ReadHead();
  /// Reads until the request has arrived with the length that its head declares.
  bool ReadRequest();
  /// Reads the next bytes, at most 64 KiB; false when none arrive.
  bool ReadMore();
  /// Reads until `count` bytes have arrived in all; false when they do not.
  bool ReadBytes(std::size_t count);
  void ReadToEnd();
  /// All bytes that were read.
  const std::string& GetReceived() const { return received_; }

  bool Send(std::string_view bytes);
  /// Closes the connection at once, as a crash does.
  void Reset();

 private:
  SocketHandle socket_;
  std::string received_;
};

/// Serves one client after the other by a script of the test, on a thread of its own. A connection
/// is closed when its script ends.
class LoopbackServer : public LoopbackPort {
 public:
  using Script = std::function<void(LoopbackClient&)>;

  explicit LoopbackServer(Script script);
  ~LoopbackServer();

  /// "http://127.0.0.1:" with the port and `path`.
  std::wstring GetAddress(const std::wstring& path = L"/in") const;
  /// Ends the server and returns the bytes that each client has sent, in the order of arrival.
  const std::vector<std::string>& GetRequests();

 private:
  void Serve();

  Deadline deadline_;
  Script script_;
  std::vector<std::string> requests_;
  /// Its connection ends the server.
  LoopbackPort waker_;
  std::thread thread_;
};

/// A response with a length, after which the connection ends.
std::string FormatResponse(const std::string& status, const std::string& body,
                           const std::string& headers = {});
/// The same with the body in chunks of at most `size` bytes.
std::string FormatChunkedResponse(const std::string& status, const std::string& body, size_t size);

/// A script that reads a request and sends `response`.
LoopbackServer::Script RespondWith(std::string response);
