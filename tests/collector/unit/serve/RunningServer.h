#pragma once

#include <chrono>
#include <string>
#include <thread>

#include "collector/http/LogWriter.h"
#include "collector/serve/Server.h"
#include "tests/collector/support/TemporaryFolder.h"
#include "tests/collector/unit/serve/SlowStorage.h"

namespace pelto::collector {

/// A pipe whose other end the test reads.
class LogPipe {
 public:
  LogPipe();
  ~LogPipe();
  LogPipe(const LogPipe&) = delete;
  LogPipe& operator=(const LogPipe&) = delete;

  int writing_end() const { return ends_[1]; }
  void close_reading_end();
  /// What has arrived so far, from the first byte on.
  std::string read();
  /// Reads until `text` has arrived. Returns false if that takes too long.
  bool await(std::string_view text);

 private:
  int ends_[2];
  std::string received_;
};

/// Options for a test: free ports on loopback, and deadlines that no test reaches by accident.
ServeOptions test_options();

/// A server on a thread of its own, with a storage in memory.
class RunningServer {
 public:
  explicit RunningServer(const ServeOptions& options = test_options());
  /// Ends the server as a signal does.
  ~RunningServer();
  RunningServer(const RunningServer&) = delete;
  RunningServer& operator=(const RunningServer&) = delete;

  std::uint16_t port() const { return server_.intake().port; }
  std::uint16_t pages_port() const { return server_.pages().port; }
  SlowStorage& storage() { return storage_; }
  AccessControl& access() { return access_; }
  LogPipe& log() { return pipe_; }
  /// The value of a metric, as its line has it; empty if it is missing.
  std::string metric(std::string_view name) const;
  /// Waits until the metric has the value. Returns false if that takes too long.
  bool await_metric(std::string_view name, std::string_view value) const;

  void stop() { server_.stop(); }
  /// Waits for the end after `stop`. Returns how long that took.
  std::chrono::milliseconds join();

 private:
  LogPipe pipe_;
  LogWriter log_{pipe_.writing_end()};
  SlowStorage storage_;
  test::TemporaryFolder folder_;
  AccessControl access_{folder_ / "reports.sqlite"};
  Server server_;
  std::thread thread_;
};

}  // namespace pelto::collector
