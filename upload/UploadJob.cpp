#include "upload/UploadJob.h"

#include <share.h>

#include "platform/AnsiText.h"
#include "platform/GuidText.h"
#include "platform/Stream.h"
#include "upload/Base64.h"
#include "upload/MultipartSender.h"
#include "upload/ReportPayload.h"
#include "upload/UploadNotifier.h"
#include "upload/UploadRequest.h"

namespace {

constexpr wchar_t IdField[] = L"Id";
constexpr wchar_t ReportField[] = L"peltorpt";

}  // namespace

int UploadReport(CReportStore& store, const std::wstring& address) {
  CUploadRequest request;
  request.address = address;
  store.CloseReport();
  {
    const CStream report(_wfsopen(store.GetReportPath().c_str(), L"r", _SH_DENYNO));
    request.textFields[ReportField] =
        Base64Encode(ReadReportPayload(report.Get()), 0 /* one line */, '\0');
  }
  // Not the installation's identifier, which stands in the report: each upload has its own.
  std::wstring id;
  if (!NewGuidText(id)) return 0;
  request.textFields[IdField] = ToAnsi(id);

  CMultipartSender sender;
  CUploadNotifier notifier;
  // Whether the thread could be made is deliberately not looked at; without it the wait never ends.
  sender.StartSend(request, notifier);
  return notifier.AwaitResult() == CUploadNotifier::Succeeded ? 1 : 0;
}
