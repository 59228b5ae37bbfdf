#pragma once

#include <string>

#include "store/ReportStore.h"

/// Sends the report file to the collection server at `address` and waits for the outcome, without
/// a time-out of its own. 1 when the server has confirmed the delivery, else 0.
///
/// Lets go of the store's hold on the report file, for good. A file that cannot be opened is sent
/// as an empty field.
int UploadReport(CReportStore& store, const std::wstring& address);
