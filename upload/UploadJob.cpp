#include "upload/UploadJob.h"

#include <share.h>

#include "platform/GuidText.h"
#include "platform/Stream.h"
#include "platform/Trace.h"
#include "upload/AnsiConverter.h"
#include "upload/Base64.h"
#include "upload/MultipartSender.h"
#include "upload/ReportForm.h"
#include "upload/ReportPayload.h"
#include "upload/UploadNotifier.h"
#include "upload/UploadRequest.h"

int UploadReport(CReportStore& store, const std::wstring& address) {
  CAnsiConverter converter;
  CMultipartSender sender;
  CUploadNotifier notifier;
  CUploadRequest request;
  request.address = address;

  const std::wstring path = store.GetReportPath();
  store.CloseReport();
  {
    const CStream report(_wfsopen(path.c_str(), L"r", _SH_DENYNO));
    TraceResult(L"read the report", static_cast<bool>(report));
    request.textFields[ReportField] =
        Base64Encode(ReadReportPayload(report.Get()), 0 /* one line */, '\0');
  }
  // A new identifier for each upload, not the installation's (docs/compatibility.md, 36).
  std::wstring id;
  const bool hasId = NewGuidText(id);
  TraceResult(L"make the upload's identifier", hasId);
  if (!hasId) return 0;
  const char* const idBytes = converter.ToAnsi(id.c_str());
  if (idBytes == nullptr) return 0;
  request.textFields[IdField] = idBytes;

  // The result is ignored: without the thread the wait never ends (docs/compatibility.md, 37).
  sender.StartSend(request, notifier);
  return notifier.AwaitResult() == CUploadNotifier::Succeeded ? 1 : 0;
}
