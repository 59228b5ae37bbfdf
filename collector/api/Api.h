// The API of the pages: from a request to its response. No socket and no clock.
#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <string_view>

#include "collector/access/AccessControl.h"
#include "collector/api/ApiRoutes.h"
#include "collector/api/Health.h"
#include "collector/api/KeepingPolicy.h"
#include "collector/figures/Figures.h"
#include "collector/http/Address.h"
#include "collector/http/Response.h"
#include "collector/http/Target.h"
#include "collector/report/Calendar.h"
#include "collector/storage/Storage.h"

namespace pelto::collector {

struct ApiRequest {
  /// With a route.
  ApiMatch match;
  std::string query;
  std::string body;
  /// Of the cookie; empty without one.
  std::string token;
  /// From where it came, for the limit of log-ins.
  Address client{};
  /// Whether the browser speaks TLS.
  bool is_secure = false;
  Time at{};
  std::chrono::steady_clock::time_point now{};
  /// For the operation that shows it; it is measured before the request is worked off.
  Health health{};
};

/// What a request works on. Everything can be used from any thread.
struct ApiContext {
  Storage& storage;
  AccessControl& access;
  KeepingPolicy keeping;
  /// For failures that the client is not to know of.
  std::function<void(std::string_view)> report_failure;
  /// False once the server may not wait any longer for its end: what takes long ends at its next
  /// step. Called from any thread.
  GoesOn goes_on = to_the_end;
};

/// The response to a request to the API. It can take long: the storage is asked, and passwords are
/// hashed. Does not throw.
Response respond_to_api(const ApiContext& context, const ApiRequest& request);

}  // namespace pelto::collector
