#include "tests/collector/unit/serve/RunningServer.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <utility>

#include "tests/collector/unit/serve/TestClient.h"

namespace pelto::collector {

namespace {

constexpr std::chrono::seconds patience{20};

}  // namespace

LogPipe::LogPipe() {
  EXPECT_EQ(pipe2(ends_, O_CLOEXEC), 0);
}

LogPipe::~LogPipe() {
  close_reading_end();
  close(ends_[1]);
}

void LogPipe::close_reading_end() {
  if (ends_[0] >= 0) close(std::exchange(ends_[0], -1));
}

std::string LogPipe::read() {
  pollfd state{ends_[0], POLLIN, 0};
  std::array<char, 65536> buffer;
  while (poll(&state, 1, 0) > 0) {
    const ssize_t count = ::read(ends_[0], buffer.data(), buffer.size());
    if (count <= 0) break;
    received_.append(buffer.data(), static_cast<std::size_t>(count));
  }
  return received_;
}

bool LogPipe::await(std::string_view text) {
  const auto end = std::chrono::steady_clock::now() + patience;
  while (read().find(text) == std::string::npos) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return true;
}

ServeOptions test_options() {
  ServeOptions options;
  options.intake.port = 0;
  options.pages.port = 0;
  options.deadlines.linger = std::chrono::milliseconds(500);
  return options;
}

RunningServer::RunningServer(const ServeOptions& options)
    : server_(options, storage_, access_, log_), thread_([this] { server_.run(); }) {}

RunningServer::~RunningServer() {
  storage_.release();
  if (!thread_.joinable()) return;
  stop();
  join();
}

std::string RunningServer::metric(std::string_view name) const {
  const Reply reply =
      ask(pages_port(), "GET /metrics HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n");
  const std::string key = "\n" + std::string(name) + " ";
  const std::size_t at = reply.body.find(key);
  if (at == std::string::npos) return {};
  const std::size_t start = at + key.size();
  return reply.body.substr(start, reply.body.find('\n', start) - start);
}

bool RunningServer::await_metric(std::string_view name, std::string_view value) const {
  const auto end = std::chrono::steady_clock::now() + patience;
  while (metric(name) != value) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

std::chrono::milliseconds RunningServer::join() {
  const auto start = std::chrono::steady_clock::now();
  thread_.join();
  return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() -
                                                               start);
}

}  // namespace pelto::collector
