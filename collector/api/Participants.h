// What a participant sees and can do. No socket and no clock.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "collector/access/Audit.h"
#include "collector/http/Response.h"
#include "collector/report/Calendar.h"
#include "collector/storage/Storage.h"

namespace pelto::collector {

struct ParticipantsContext {
  Storage& storage;
  Audit& audit;
  /// For failures that the client is not to know of.
  std::function<void(std::string_view)> report_failure;
  /// False once the server may not wait any longer for its end: what takes long ends at its next
  /// step. Called from any thread.
  GoesOn goes_on = to_the_end;
};

/// The response to a body {"installation":"..."}: the latest of what is kept under the identifier,
/// and how much it is in total. Of an unknown one it is what it is of one that was erased. Does not
/// throw.
Response show_kept(const ParticipantsContext& context, const std::string& body);
/// The same, and erases it: the receipt. An erasure that found nothing is not in the audit.
Response erase_kept(const ParticipantsContext& context, const std::string& body, Time now);

}  // namespace pelto::collector
