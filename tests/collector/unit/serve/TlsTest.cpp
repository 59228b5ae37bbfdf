#include "collector/http/Tls.h"

#include <gtest/gtest.h>
#include <openssl/ssl.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <array>
#include <chrono>
#include <fstream>
#include <string>

#include "collector/http/ServeError.h"
#include "collector/serve/PageRules.h"
#include "tests/collector/support/TemporaryFolder.h"
#include "tests/collector/unit/intake/FormText.h"
#include "tests/collector/unit/serve/RunningServer.h"
#include "tests/collector/unit/serve/TestCertificate.h"
#include "tests/collector/unit/serve/TestClient.h"

namespace pelto::collector {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

/// A connection that speaks TLS.
class TlsClient {
 public:
  TlsClient(std::uint16_t port, int version) : client_(port) {
    const timeval patience{20, 0};
    setsockopt(client_.socket(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    context_.reset(SSL_CTX_new(TLS_client_method()));
    SSL_CTX_set_min_proto_version(context_.get(), TLS1_VERSION);
    SSL_CTX_set_max_proto_version(context_.get(), version);
    // Without it OpenSSL itself refuses the old versions.
    SSL_CTX_set_security_level(context_.get(), 0);
    session_.reset(SSL_new(context_.get()));
    SSL_set_fd(session_.get(), client_.socket());
    is_connected_ = SSL_connect(session_.get()) == 1;
  }

  bool is_connected() const { return is_connected_; }
  void send(const std::string& bytes) {
    EXPECT_EQ(SSL_write(session_.get(), bytes.data(), static_cast<int>(bytes.size())),
              static_cast<int>(bytes.size()));
  }
  std::string read() {
    std::array<char, 4096> buffer;
    const int count = SSL_read(session_.get(), buffer.data(), static_cast<int>(buffer.size()));
    return {buffer.data(), static_cast<std::size_t>(count > 0 ? count : 0)};
  }

 private:
  TestClient client_;
  TlsContext context_;
  TlsSession session_;
  bool is_connected_ = false;
};

class TlsTest : public testing::Test {
 protected:
  ServeOptions options() const {
    ServeOptions options = test_options();
    options.tls = files_;
    return options;
  }

  static std::string error_of(const TlsFiles& files) {
    try {
      open_tls(files);
    } catch (const ServeError& error) {
      return error.what();
    }
    return "no error";
  }

  const test::TemporaryFolder folder_;
  const TlsFiles files_ = make_certificate(folder_.path());
};

TEST_F(TlsTest, BothListenersSpeakIt) {
  RunningServer server(options());
  const std::string body = form(report_text("<!--" + std::string(100'000, 'x') + "-->"));
  for (const int version : {TLS1_2_VERSION, TLS1_3_VERSION}) {
    TlsClient client(server.port(), version);
    ASSERT_TRUE(client.is_connected());
    for (int i = 0; i < 2; ++i) {
      client.send("POST /collect HTTP/1.1\r\nContent-Type: " + form_type +
                  "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body);
      EXPECT_TRUE(client.read().starts_with("HTTP/1.1 200 OK\r\n"));
    }
    TlsClient pages(server.pages_port(), version);
    pages.send("GET /metrics HTTP/1.1\r\nHost: localhost\r\n\r\n");
    const std::string metrics = pages.read();
    EXPECT_TRUE(metrics.starts_with("HTTP/1.1 200 OK\r\n"));
    EXPECT_NE(metrics.find(only_tls_field), std::string::npos);
  }
  EXPECT_EQ(server.storage().kept().size(), 4U);
}

TEST_F(TlsTest, OldVersionsAreRefused) {
  RunningServer server(options());
  EXPECT_FALSE(TlsClient(server.port(), TLS1_1_VERSION).is_connected());
}

TEST_F(TlsTest, AClientWithoutItIsClosed) {
  RunningServer server(options());
  TestClient client(server.port());
  client.send("GET /healthz HTTP/1.1\r\n\r\n");
  EXPECT_EQ(client.read_reply().status, 0);
}

TEST_F(TlsTest, AnUnfinishedHandshakeEndsWithTheHeadersDeadline) {
  ServeOptions slow = options();
  slow.deadlines.header = milliseconds(200);
  RunningServer server(slow);
  const auto start = std::chrono::steady_clock::now();
  TestClient client(server.port());
  client.send("\x16\x03\x01");
  EXPECT_EQ(client.read_rest(), "");
  EXPECT_LT(std::chrono::steady_clock::now() - start, seconds(5));
}

TEST_F(TlsTest, TheEndDoesNotWaitForAHandshake) {
  RunningServer server(options());
  TestClient silent(server.port());
  TestClient halting(server.port());
  halting.send("\x16\x03\x01");
  // Connections are taken in order: the others have been taken when this one is served.
  ASSERT_TRUE(TlsClient(server.port(), TLS1_3_VERSION).is_connected());
  server.stop();
  EXPECT_LT(server.join(), seconds(5));
  EXPECT_EQ(silent.read_rest(), "");
  EXPECT_EQ(halting.read_rest(), "");
}

TEST_F(TlsTest, BadFilesAreNamed) {
  const TlsFiles other = make_certificate(folder_.path(), "other");
  const std::string missing = folder_ / "missing.pem";
  const std::string garbage = folder_ / "garbage.pem";
  std::ofstream(garbage) << "no certificate";
  EXPECT_EQ(error_of(files_), "no error");
  EXPECT_EQ(error_of({missing, files_.key}),
            "cannot use the TLS certificate " + missing + ": No such file or directory");
  EXPECT_TRUE(error_of({garbage, files_.key})
                  .starts_with("cannot use the TLS certificate " + garbage + ": "));
  EXPECT_TRUE(error_of({files_.certificate, garbage})
                  .starts_with("cannot use the TLS key " + garbage + ": "));
  EXPECT_EQ(error_of({files_.certificate, other.key}),
            "cannot use the TLS key " + other.key + ": key values mismatch");
}

TEST_F(TlsTest, ABadFileKeepsTheServerFromStarting) {
  ServeOptions bad = options();
  bad.tls->key = folder_ / "missing.key";
  LogPipe pipe;
  LogWriter log(pipe.writing_end());
  SlowStorage storage;
  const test::TemporaryFolder data;
  AccessControl access(data / "reports.sqlite");
  EXPECT_THROW(Server(bad, storage, access, log), ServeError);
}

}  // namespace
}  // namespace pelto::collector
