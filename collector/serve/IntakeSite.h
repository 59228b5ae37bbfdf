#pragma once

#include <boost/asio/thread_pool.hpp>

#include "collector/http/LogWriter.h"
#include "collector/http/RateCounter.h"
#include "collector/http/Site.h"
#include "collector/serve/Metrics.h"
#include "collector/serve/Readiness.h"
#include "collector/serve/ServeOptions.h"
#include "collector/storage/Storage.h"

namespace pelto::collector {

/// Takes deliveries, and says whether the server is well.
class IntakeSite : public Site {
 public:
  /// Bodies larger than this are read on the pool, so that one does not hold up all others.
  static constexpr std::size_t largest_quick_body = std::size_t{64} * 1024;

  /// All references must outlive the site.
  IntakeSite(const ServeOptions& options, Storage& storage, boost::asio::thread_pool& pool,
             Readiness& readiness, Metrics& metrics, LogWriter& log);

  boost::asio::awaitable<std::optional<Response>> judge(Request& request) override;
  boost::asio::awaitable<Response> respond(Request& request) override;
  void count(const Request& request, const Response& response) override;
  void finish(const Request& request, const Response& response,
              const RequestSummary& summary) override;

 private:
  boost::asio::awaitable<std::variant<Received, Refusal>> read(std::string_view content_type,
                                                               const std::string& body);
  std::optional<Response> judge_delivery(const Request& request);

  const ServeOptions& options_;
  Storage& storage_;
  boost::asio::thread_pool& pool_;
  Readiness& readiness_;
  Metrics& metrics_;
  LogWriter& log_;
  IntakeRoutes routes_;
  RateCounter rates_;
};

}  // namespace pelto::collector
