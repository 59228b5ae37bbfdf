#pragma once

#include "store/ReportStore.h"

/// Puts the machine's description into `store`. Returns 1 when the survey was made, even if it
/// found nothing (docs/compatibility.md, 8), and 0 when the store already holds a description;
/// nothing is done then.
///
/// Initializes COM on the calling thread for the duration of the survey; without COM, nothing is
/// described. Waits for Windows Management Instrumentation without a time-out.
int CollectSystemInformation(CReportStore& store);
