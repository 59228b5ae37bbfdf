#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "collector/intake/Intake.h"
#include "collector/serve/Address.h"
#include "collector/serve/Deadlines.h"
#include "collector/serve/Endpoint.h"
#include "collector/serve/KeepingPolicy.h"
#include "collector/serve/Routes.h"

namespace pelto::collector {

struct TlsFiles {
  /// A PEM file with the certificate and the chain after it.
  std::string certificate;
  /// A PEM file with the key.
  std::string key;
};

struct ServeOptions {
  Endpoint intake{"127.0.0.1", 8480};
  Endpoint pages{"127.0.0.1", 8481};
  /// The paths that take deliveries, each with `is_intake_path`.
  std::vector<std::string> paths{default_path};
  /// At least one, none twice.
  std::vector<std::string> products{default_product};
  /// For both listeners; none: without TLS.
  std::optional<TlsFiles> tls;
  IntakeOptions intake_options;
  /// The most bytes of a request's body.
  std::size_t max_body = std::size_t{4} * 1024 * 1024;
  /// The most open connections of the intake listener.
  std::size_t max_connections = 10'000;
  /// The most bytes of all bodies that are in memory at a time. The last eighth is for small ones.
  std::size_t max_in_flight = std::size_t{64} * 1024 * 1024;
  /// Deliveries a minute from one address; 0: no limit.
  int rate = 3000;
  std::vector<Address> trusted_proxies;
  Deadlines deadlines;
  /// What the pages say of it.
  KeepingPolicy keeping;
};

}  // namespace pelto::collector
