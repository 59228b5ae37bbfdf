#include "collector/http/Tls.h"

#include <openssl/err.h>
#include <openssl/ssl.h>

#include <string>
#include <system_error>

#include "collector/http/ServeError.h"

namespace pelto::collector {

namespace {

[[noreturn]] void fail(const std::string& what, const std::string& file) {
  const unsigned long error = ERR_get_error();
  ERR_clear_error();
  std::string reason = "unknown error";
  if (ERR_SYSTEM_ERROR(error)) {
    reason = std::generic_category().message(ERR_GET_REASON(error));
  } else if (const char* const text = ERR_reason_error_string(error); text != nullptr) {
    reason = text;
  }
  throw ServeError(what + " " + file + ": " + reason);
}

}  // namespace

void TlsDelete::operator()(ssl_ctx_st* context) const {
  SSL_CTX_free(context);
}

void TlsDelete::operator()(ssl_st* session) const {
  SSL_free(session);
}

TlsContext open_tls(const TlsFiles& files) {
  ERR_clear_error();
  TlsContext context(SSL_CTX_new(TLS_server_method()));
  if (!context) throw ServeError("TLS cannot be initialized");
  SSL_CTX_set_min_proto_version(context.get(), TLS1_2_VERSION);
  // A peer that closes without a goodbye is an end like any other: every body's length is known.
  SSL_CTX_set_options(context.get(), SSL_OP_NO_RENEGOTIATION | SSL_OP_IGNORE_UNEXPECTED_EOF);
  SSL_CTX_set_mode(context.get(), SSL_MODE_RELEASE_BUFFERS | SSL_MODE_ENABLE_PARTIAL_WRITE |
                                      SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER);
  // Tickets resume sessions without memory of the server's.
  SSL_CTX_set_session_cache_mode(context.get(), SSL_SESS_CACHE_OFF);
  if (SSL_CTX_use_certificate_chain_file(context.get(), files.certificate.c_str()) != 1) {
    fail("cannot use the TLS certificate", files.certificate);
  }
  if (SSL_CTX_use_PrivateKey_file(context.get(), files.key.c_str(), SSL_FILETYPE_PEM) != 1) {
    fail("cannot use the TLS key", files.key);
  }
  return context;
}

TlsSession start_tls(ssl_ctx_st& context, int socket) {
  TlsSession session(SSL_new(&context));
  if (!session || SSL_set_fd(session.get(), socket) != 1) return nullptr;
  SSL_set_accept_state(session.get());
  return session;
}

}  // namespace pelto::collector
