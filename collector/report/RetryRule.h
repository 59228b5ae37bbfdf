// Which reports are one report that was sent again.
//
// A sender that got no confirmation keeps its report, goes on counting into it and sends it again.
// After a confirmation it deletes the report, and sends the next one 28 days later at the earliest.
#pragma once

#include "collector/report/Report.h"

namespace pelto::collector {

/// A report older than this cannot be the same one, sent again. At exactly this age it still can.
inline constexpr std::chrono::days retry_limit{27};

/// Whether `later`, received at `later_time`, is `earlier` again, as it was or grown: it came
/// within `retry_limit` and holds every command of `earlier` with the same place and no smaller
/// count, and every file type with no smaller counts. Both are of one installation and product, and
/// no other report of theirs was received in between.
bool is_sent_again(const Report& earlier, Time earlier_time, const Report& later, Time later_time);

}  // namespace pelto::collector
