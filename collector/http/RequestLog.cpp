#include "collector/http/RequestLog.h"

#include "collector/http/RequestLine.h"

namespace pelto::collector {

void log_request(LogWriter& log, std::string_view listener, const Request& request,
                 const Response& response, const RequestSummary& summary) {
  const Route& route = request.route;
  const Time now = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
  log.write(format_record({now, listener, request.method, route.path, route.product,
                           response.status, response.code, summary.bytes, summary.duration}));
}

}  // namespace pelto::collector
