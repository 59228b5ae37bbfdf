#pragma once

#include <functional>

#include "collector/serve/LogWriter.h"
#include "collector/serve/Metrics.h"
#include "collector/serve/Readiness.h"
#include "collector/serve/Site.h"

namespace pelto::collector {

/// The listener of the pages. Shows the metrics to this machine, and nothing else yet.
class MetricsSite : public Site {
 public:
  /// All references must outlive the site. `gauges` measures at the moment of the call; whether the
  /// storage is ready is added to it.
  MetricsSite(Readiness& readiness, const Metrics& metrics, std::function<Gauges()> gauges,
              LogWriter& log);

  boost::asio::awaitable<std::optional<Response>> judge(Request& request) override;
  boost::asio::awaitable<Response> respond(Request& request) override;
  void count(const Request& request, const Response& response) override;
  void finish(const Request& request, const Response& response,
              const RequestSummary& summary) override;

 private:
  Readiness& readiness_;
  const Metrics& metrics_;
  std::function<Gauges()> gauges_;
  LogWriter& log_;
};

}  // namespace pelto::collector
