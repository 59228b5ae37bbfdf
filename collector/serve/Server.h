#pragma once

#include <memory>

#include "collector/access/AccessControl.h"
#include "collector/http/Endpoint.h"
#include "collector/http/ServeError.h"
#include "collector/serve/ServeOptions.h"
#include "collector/storage/Storage.h"

namespace pelto::collector {

class LogWriter;

/// The HTTP server: the listeners of the intake and of the pages, on one thread.
///
/// A delivery is answered with 200 only after the storage has kept it. A request that is garbage as
/// HTTP, or whose body's end is not certain, gets 400 with the code "not-multipart" and ends the
/// connection.
class Server {
 public:
  /// Makes the products known to the storage, reads the certificate, listens, and catches the
  /// signals that `run` obeys; SIGPIPE is ignored from then on. `storage`, `access` and `log` must
  /// outlive the server. Throws `ServeError` and `StorageError`.
  Server(const ServeOptions& options, Storage& storage, AccessControl& access, LogWriter& log);
  ~Server();
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  /// Where it listens, with the ports that the system picked.
  Endpoint intake() const;
  Endpoint pages() const;

  /// Serves until SIGTERM, SIGINT or `stop`; then takes no new connections, lets the open requests
  /// end within `Deadlines::stop`, and returns. A delivery that the storage is about to keep is
  /// waited for in any case. SIGHUP reads the certificate again. To be called once.
  void run();

  /// Lets `run` return. Can be called from any thread.
  void stop();

 private:
  class Core;
  std::unique_ptr<Core> core_;
};

}  // namespace pelto::collector
