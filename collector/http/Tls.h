// TLS as OpenSSL has it. Connections read and write it through their socket's descriptor, so that
// one that waits has no buffers.
#pragma once

#include <memory>
#include <string>

struct ssl_ctx_st;
struct ssl_st;

namespace pelto::collector {

struct TlsFiles {
  /// A PEM file with the certificate and the chain after it.
  std::string certificate;
  /// A PEM file with the key.
  std::string key;
};

struct TlsDelete {
  void operator()(ssl_ctx_st* context) const;
  void operator()(ssl_st* session) const;
};

using TlsContext = std::unique_ptr<ssl_ctx_st, TlsDelete>;
using TlsSession = std::unique_ptr<ssl_st, TlsDelete>;

/// A server's context of TLS 1.2 or later with this certificate and key. Throws `ServeError` if a
/// file cannot be read or the key is not the certificate's.
TlsContext open_tls(const TlsFiles& files);

/// A session on a connected socket, which must not block; null if there is no memory.
TlsSession start_tls(ssl_ctx_st& context, int socket);

}  // namespace pelto::collector
