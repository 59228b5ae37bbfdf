#include "tests/support/LoopbackServer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <charconv>
#include <iterator>

namespace {

constexpr DWORD TimeOut = 10'000;
constexpr char HeadEnd[] = "\r\n\r\n";

sockaddr_in Loopback(unsigned short port) {
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(port);
  return address;
}

sockaddr* Generic(sockaddr_in& address) {
  return reinterpret_cast<sockaddr*>(&address);
}

template <typename Value>
void SetOption(SOCKET socket, int name, const Value& value) {
  EXPECT_EQ(setsockopt(socket, SOL_SOCKET, name, reinterpret_cast<const char*>(&value),
                       static_cast<int>(sizeof value)),
            0)
      << WSAGetLastError();
}

/// The length that the head declares; 0 without one.
size_t DeclaredLength(std::string_view head) {
  constexpr std::string_view Name = "\r\nContent-Length: ";
  const size_t found = head.find(Name);
  size_t length = 0;
  if (found != std::string_view::npos) {
    std::from_chars(head.data() + found + Name.size(), head.data() + head.size(), length);
  }
  return length;
}

}  // namespace

Winsock::Winsock() {
  WSADATA data;
  EXPECT_EQ(WSAStartup(MAKEWORD(2, 2), &data), 0);
}

Winsock::~Winsock() {
  WSACleanup();
}

LoopbackPort::LoopbackPort() : socket_(socket(AF_INET, SOCK_STREAM, IPPROTO_TCP)) {
  sockaddr_in address = Loopback(0);
  int size = sizeof address;
  EXPECT_EQ(bind(Socket(), Generic(address), size), 0) << WSAGetLastError();
  EXPECT_EQ(getsockname(Socket(), Generic(address), &size), 0) << WSAGetLastError();
  number_ = ntohs(address.sin_port);
}

void LoopbackPort::Connect(const LoopbackPort& other) const {
  sockaddr_in address = Loopback(other.GetNumber());
  EXPECT_EQ(connect(Socket(), Generic(address), sizeof address), 0) << WSAGetLastError();
}

LoopbackClient::LoopbackClient(SocketHandle socket) : socket_(std::move(socket)) {
  SetOption(socket_.Get(), SO_RCVTIMEO, TimeOut);
  SetOption(socket_.Get(), SO_SNDTIMEO, TimeOut);
}

bool LoopbackClient::ReadHead() {
  while (received_.find(HeadEnd) == std::string::npos) {
    if (!ReadMore()) return false;
  }
  return true;
}

bool LoopbackClient::ReadRequest() {
  if (!ReadHead()) return false;
  const size_t headLength = received_.find(HeadEnd) + std::size(HeadEnd) - 1;
  const size_t length = headLength + DeclaredLength(received_.substr(0, headLength));
  return ReadBytes(length);
}

bool LoopbackClient::ReadMore() {
  char buffer[64 * 1024];
  const int count = recv(socket_.Get(), buffer, sizeof buffer, 0);
  if (count <= 0) return false;
  received_.append(buffer, static_cast<size_t>(count));
  return true;
}

bool LoopbackClient::ReadBytes(size_t count) {
  while (received_.size() < count) {
    if (!ReadMore()) return false;
  }
  return true;
}

void LoopbackClient::ReadToEnd() {
  while (ReadMore()) {
  }
}

bool LoopbackClient::Send(std::string_view bytes) {
  while (!bytes.empty()) {
    const int count = send(socket_.Get(), bytes.data(), static_cast<int>(bytes.size()), 0);
    if (count <= 0) return false;
    bytes.remove_prefix(static_cast<size_t>(count));
  }
  return true;
}

void LoopbackClient::Reset() {
  const linger atOnce = {1, 0};
  SetOption(socket_.Get(), SO_LINGER, atOnce);
  socket_.Reset();
}

LoopbackServer::LoopbackServer(Script script) : script_(std::move(script)) {
  // Small, so that a client that sends much must wait for the server's script.
  const int bufferSize = 64 * 1024;
  SetOption(Socket(), SO_RCVBUF, bufferSize);
  EXPECT_EQ(listen(Socket(), SOMAXCONN), 0) << WSAGetLastError();
  thread_ = std::thread([this] { Serve(); });
}

LoopbackServer::~LoopbackServer() {
  GetRequests();
}

std::wstring LoopbackServer::GetAddress(const std::wstring& path) const {
  return L"http://127.0.0.1:" + std::to_wstring(GetNumber()) + path;
}

const std::vector<std::string>& LoopbackServer::GetRequests() {
  if (thread_.joinable()) {
    waker_.Connect(*this);
    thread_.join();
  }
  return requests_;
}

void LoopbackServer::Serve() {
  for (;;) {
    sockaddr_in peer = {};
    int size = sizeof peer;
    SocketHandle socket(accept(Socket(), Generic(peer), &size));
    if (!socket || ntohs(peer.sin_port) == waker_.GetNumber()) return;
    LoopbackClient client(std::move(socket));
    script_(client);
    requests_.push_back(client.GetReceived());
  }
}

std::string FormatResponse(const std::string& status, const std::string& body,
                           const std::string& headers) {
  return "HTTP/1.1 " + status + "\r\nConnection: close\r\n" + headers +
         "Content-Length: " + std::to_string(body.size()) + HeadEnd + body;
}

std::string FormatChunkedResponse(const std::string& status, const std::string& body, size_t size) {
  std::string response =
      "HTTP/1.1 " + status + "\r\nConnection: close\r\nTransfer-Encoding: chunked" + HeadEnd;
  for (size_t position = 0; position < body.size(); position += size) {
    const std::string chunk = body.substr(position, size);
    char length[16];
    std::snprintf(length, sizeof length, "%zx\r\n", chunk.size());
    response += length + chunk + "\r\n";
  }
  return response + "0\r\n\r\n";
}

LoopbackServer::Script RespondWith(std::string response) {
  return [response = std::move(response)](LoopbackClient& client) {
    client.ReadRequest();
    client.Send(response);
  };
}
