#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "collector/api/KeepingPolicy.h"
#include "collector/http/Address.h"
#include "collector/http/Deadlines.h"
#include "collector/http/Endpoint.h"
#include "collector/http/Routes.h"
#include "collector/http/Tls.h"
#include "collector/intake/Intake.h"

namespace pelto::collector {

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
