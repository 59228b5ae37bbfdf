#include "app/RunController.h"

#include "platform/FolderPath.h"
#include "platform/Paths.h"
#include "platform/Trace.h"

namespace {

/// In milliseconds. The reminder must not appear while the host application is still starting.
constexpr std::uint32_t ReminderDelay = 50'000;

/// Consent states. With any other, only `RunMode::Dialog` does anything.
constexpr int TakesPart = 1;
constexpr int DoesNotTakePart = 2;

/// Whether a step is due, for the trace.
bool TraceDue(const wchar_t* step, bool isDue) {
  Trace(step, isDue ? L"due" : L"not due");
  return isDue;
}

}  // namespace

bool CRunController::Initialize(const std::wstring& uploadAddress, const std::wstring& dataFolder,
                                const std::wstring& logFolder, const std::wstring& applicationName,
                                const std::wstring& applicationVersion) {
  uploadAddress_ = uploadAddress;
  dataFolder_ = dataFolder;
  logFolder_ = logFolder;
  // The result is not checked: without the folder, the store does not open.
  CreateFolderPath(dataFolder_);
  store_.reset();
  store_ = std::make_unique<CReportStore>(commands_, fileTypes_, clock_);
  store_->SetApplication(applicationName, applicationVersion);
  if (!store_->Open(dataFolder_)) store_.reset();
  return store_ != nullptr;
}

int CRunController::Run(RunMode mode) {
  if (mode == RunMode::Dialog) return RunDialog();
  if (!store_) return 0;
  const int consentState = store_->GetConsentState();
  Trace(L"consent state", std::to_wstring(consentState));
  if (mode == RunMode::LogHandle) return consentState == TakesPart ? RunLogStep() : 0;
  return RunDuty(consentState);
}

int CRunController::RunDuty(int consentState) {
  if (consentState == DoesNotTakePart) return Remind();
  if (consentState != TakesPart) return 0;
  return TraceDue(L"transmission", store_->IsTransmissionDue()) ? Transmit() : 0;
}

/// Shows the dialog whatever the consent state: the user has asked for it.
int CRunController::RunDialog() {
  steps_.ShowConsentDialog(store_.get(), 0 /* first */, 0 /* fade */);
  if (store_) store_->StampDialog();
  return 0;
}

/// The result is 1 even when the save failed (docs/compatibility.md, 7). An exception, which only
/// memory exhaustion raises, leaves the report unchanged: losing the counts of the logs deleted so
/// far (docs/compatibility.md, 27) is better than counting part of a log.
int CRunController::RunLogStep() try {
  TraceResult(L"load the report", store_->Load());
  const bool hasLogs = PathExists(logFolder_);
  TraceResult(L"find the log folder", hasLogs);
  if (hasLogs) steps_.HarvestLogs(logFolder_, commands_, fileTypes_);
  TraceResult(L"save the report", store_->Save());
  return 1;
} catch (...) {
  return 0;
}

int CRunController::Remind() {
  if (!TraceDue(L"reminder", store_->IsDialogDue())) return 0;
  clock_.Wait(ReminderDelay);
  steps_.ShowConsentDialog(store_.get(), 1 /* first */, 1 /* fade */);
  // Also for a dialog that was closed without OK (docs/compatibility.md, 58).
  store_->StampDialog();
  return 0;
}

int CRunController::Transmit() {
  const int collected =
      TraceDue(L"survey", store_->IsSystemInformationDue()) ? CollectSystemInformation() : 0;
  // After a completed collection this load fails, because the collection's save has left the report
  // open for writing only; the upload sends what that save wrote (docs/compatibility.md, 5). After
  // a collection that threw between its load and its save, this load merges the report a second
  // time and doubles the counts of the file types (docs/compatibility.md, 6).
  TraceResult(L"load the report", store_->Load());
  TraceResult(L"save the report", store_->Save());
  const int delivered = Upload();
  TraceResult(L"upload the report", delivered != 0);
  if (delivered == 0) return 0;
  store_->StampTransmission();
  if (collected != 0) store_->StampSystemInformation();
  TraceResult(L"delete the report", store_->DeleteReport());
  return delivered;
}

/// Returns 1 unless an exception escaped, even when nothing was added (docs/compatibility.md, 8).
/// An exception leaves the report unsaved; the upload goes on.
int CRunController::CollectSystemInformation() try {
  TraceResult(L"load the report", store_->Load());
  steps_.CollectSystemInformation(*store_);
  Trace(L"describe the machine", L"done");
  TraceResult(L"save the report", store_->Save());
  return 1;
} catch (...) {
  return 0;
}

int CRunController::Upload() try {
  return steps_.UploadReport(*store_, uploadAddress_);
} catch (...) {
  return 0;
}
