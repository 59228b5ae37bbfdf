#include "collector/api/ApiCall.h"
#include "collector/http/Problem.h"

namespace pelto::collector {

Response show_health(const ApiCall& call) {
  const Health& health = call.request.health;
  return json_response(200, {{"ready", health.is_ready},
                             {"version", health.version},
                             {"connections", health.connections},
                             {"bytes_in_flight", health.bytes_in_flight}});
}

}  // namespace pelto::collector
