#pragma once

#include <boost/asio/thread_pool.hpp>
#include <functional>

#include "collector/api/Api.h"
#include "collector/http/LimitedPool.h"
#include "collector/http/LogWriter.h"
#include "collector/http/Site.h"
#include "collector/serve/Metrics.h"
#include "collector/serve/PageFiles.h"
#include "collector/serve/Readiness.h"
#include "collector/serve/ServeOptions.h"

namespace pelto::collector {

/// The threads on which the pages' requests are worked off, apart from those of the intake.
struct PagePools {
  boost::asio::thread_pool& questions;
  /// Each thread hashes one password at a time, for which it needs 64 MiB.
  LimitedPool& passwords;
};

/// The listener of the pages: their files, the API, and the metrics for this machine alone.
class PagesSite : public Site {
 public:
  /// All references must outlive the site. `measure` measures at the moment of the call; whether
  /// the storage is ready is added to that.
  PagesSite(const ServeOptions& options, ApiContext context, PagePools pools, Readiness& readiness,
            const Metrics& metrics, std::function<Health()> measure, LogWriter& log);

  boost::asio::awaitable<std::optional<Response>> judge(Request& request) override;
  boost::asio::awaitable<Response> respond(Request& request) override;
  void count(const Request& request, const Response& response) override;
  void finish(const Request& request, const Response& response,
              const RequestSummary& summary) override;

 private:
  std::optional<Response> judge_plainly(Request& request) const;
  boost::asio::awaitable<Response> respond_plainly(Request& request);
  boost::asio::awaitable<Response> respond_to_api_call(Request& request);
  boost::asio::awaitable<Response> show_metrics();
  boost::asio::awaitable<Health> measure();
  Response show_file(const Request& request, std::string_view path) const;
  bool is_secure(const Request& request) const;
  void secure(const Request& request, Response& response) const;

  const ServeOptions& options_;
  ApiContext context_;
  PagePools pools_;
  Readiness& readiness_;
  const Metrics& metrics_;
  std::function<Health()> measure_;
  LogWriter& log_;
  PageFiles files_{embedded_pages()};
};

}  // namespace pelto::collector
