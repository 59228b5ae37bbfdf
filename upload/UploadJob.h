#pragma once

#include <string>

#include "store/ReportStore.h"

/// Sends the report file to the collection server at `address` and waits for the outcome without a
/// timeout. Returns 1 when the server has confirmed the delivery, else 0. Nothing is sent when no
/// GUID can be made for the upload.
///
/// Closes the store's handle on the report file for good (docs/compatibility.md, 38). A file that
/// cannot be opened is sent as an empty field.
int UploadReport(CReportStore& store, const std::wstring& address);
