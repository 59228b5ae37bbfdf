#pragma once

#include <string_view>

#include "collector/http/LogWriter.h"
#include "collector/http/Site.h"

namespace pelto::collector {

/// Writes the line of the log about a request to a listener, "intake" or "pages", whose response
/// has been written, or could not be.
void log_request(LogWriter& log, std::string_view listener, const Request& request,
                 const Response& response, const RequestSummary& summary);

}  // namespace pelto::collector
