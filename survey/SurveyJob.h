#pragma once

#include "store/ReportStore.h"

/// Puts the machine's description into `store`. Returns 1 when the survey was made, even if it
/// found nothing (docs/compatibility.md, 8), and 0 when the store already holds a description;
/// nothing is done then.
///
/// COM is initialized on the calling thread from the first query to the end of the survey. Without
/// COM, nothing is described. Waits for Windows Management Instrumentation without a timeout.
int CollectSystemInformation(CReportStore& store);
