#pragma once

#include <cstddef>

#include "collector/access/Audit.h"
#include "collector/http/LimitedPool.h"
#include "collector/http/LogWriter.h"
#include "collector/http/RateCounter.h"
#include "collector/http/Site.h"
#include "collector/serve/PageFiles.h"
#include "collector/serve/ServeOptions.h"
#include "collector/storage/Storage.h"

namespace pelto::collector {

/// The part of the intake's listener that is for people who take part: whoever enters an
/// installation's identifier sees what is kept under it, and can have it erased. All else is for
/// the site of the intake.
class ParticipantsSite : public Site {
 public:
  /// Questions and erasures a minute from one address, so that identifiers cannot be guessed.
  static constexpr int rate = 20;
  /// Of a body. The longest identifier fits whatever of it is escaped.
  static constexpr std::size_t largest_body = 1024;

  /// All references must outlive the site. `goes_on` can be called from any thread.
  ParticipantsSite(const ServeOptions& options, Storage& storage, Audit& audit, LimitedPool& pool,
                   LogWriter& log, Site& intake, GoesOn goes_on);

  boost::asio::awaitable<std::optional<Response>> judge(Request& request) override;
  boost::asio::awaitable<Response> respond(Request& request) override;
  void count(const Request& request, const Response& response) override;
  void finish(const Request& request, const Response& response,
              const RequestSummary& summary) override;

 private:
  std::optional<Response> judge_plainly(Request& request, std::string_view path);

  const ServeOptions& options_;
  Storage& storage_;
  Audit& audit_;
  LimitedPool& pool_;
  LogWriter& log_;
  Site& intake_;
  GoesOn goes_on_;
  PageFiles files_{embedded_pages()};
  RateCounter rates_{rate, RateUse::secrets};
};

}  // namespace pelto::collector
