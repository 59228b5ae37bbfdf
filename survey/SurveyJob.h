#pragma once

#include "store/ReportStore.h"

/// Puts the machine's description into `store`, unless it holds one already. Initialises COM for
/// its own duration; where there is none, nothing is described. 1 when the survey was made,
/// whatever it brought, 0 when there was a description.
///
/// Waits for Windows Management Instrumentation without a time-out.
int CollectSystemInformation(CReportStore& store);
