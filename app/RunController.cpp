#include "app/RunController.h"

#include "platform/FolderPath.h"
#include "platform/Paths.h"

namespace {

/// The reminder must not come up while the host application is still starting.
constexpr std::uint32_t ReminderDelay = 50'000;

/// Consent states. Any other is treated like "remind me later": nothing happens by itself.
constexpr int TakesPart = 1;
constexpr int DoesNotTakePart = 2;

}  // namespace

bool CRunController::Initialize(const std::wstring& uploadAddress, const std::wstring& dataFolder,
                                const std::wstring& logFolder, const std::wstring& applicationName,
                                const std::wstring& applicationVersion) {
  uploadAddress_ = uploadAddress;
  dataFolder_ = dataFolder;
  logFolder_ = logFolder;
  // A folder that cannot be made shows when the store is opened on it.
  CreateFolderPath(dataFolder_);
  store_.reset();
  store_ = std::make_unique<CReportStore>(commands_, fileTypes_, clock_);
  store_->SetApplication(applicationName, applicationVersion);
  return store_->Open(dataFolder_);
}

int CRunController::Run(RunMode mode) {
  if (!store_) return 0;
  switch (mode) {
    case RunMode::LogHandle:
      return RunLogHandle();
    case RunMode::Duty:
      return RunDuty();
    case RunMode::Dialog:
      return RunDialog();
  }
  return 0;
}

int CRunController::RunLogHandle() {
  return store_->GetConsentState() == TakesPart ? RunLogStep() : 0;
}

int CRunController::RunDuty() {
  if (store_->GetConsentState() == DoesNotTakePart) return Remind();
  if (store_->GetConsentState() == TakesPart && store_->IsTransmissionDue()) return Transmit();
  return 0;
}

/// Shows the dialog whatever the consent state: the user has asked for it.
int CRunController::RunDialog() {
  steps_.ShowConsentDialog(*store_, 0 /* first */, 0 /* fade */);
  store_->StampDialog();
  return 0;
}

/// An exception, which only memory exhaustion raises, leaves the report as it was: better without
/// the logs deleted so far than with a part of a log.
int CRunController::RunLogStep() try {
  store_->Load();
  if (PathExists(logFolder_)) steps_.HarvestLogs(logFolder_, commands_, fileTypes_);
  store_->Save();
  return 1;
} catch (...) {
  return 0;
}

int CRunController::Remind() {
  if (!store_->IsDialogDue()) return 0;
  clock_.Wait(ReminderDelay);
  steps_.ShowConsentDialog(*store_, 1 /* first */, 1 /* fade */);
  // Whatever the outcome: a dialog that was closed without an answer has been shown all the same.
  store_->StampDialog();
  return 0;
}

int CRunController::Transmit() {
  const int isCollected = store_->IsSystemInformationDue() ? CollectSystemInformation() : 0;
  // After a completed collection this load fails, because its save has left the report open for
  // writing only, and the report that goes out is the one it saved. After a collection that ended
  // between its load and its save the report is merged a second time, and the counts of the file
  // types double. Both are accepted.
  store_->Load();
  store_->Save();
  const int isDelivered = Upload();
  if (isDelivered == 0) return 0;
  store_->StampTransmission();
  if (isCollected != 0) store_->StampSystemInformation();
  store_->DeleteReport();
  return isDelivered;
}

/// 1 when the report was saved, also when it described the machine already and nothing was added.
/// An exception leaves the report unsaved; the upload goes on without.
int CRunController::CollectSystemInformation() try {
  store_->Load();
  steps_.CollectSystemInformation(*store_);
  store_->Save();
  return 1;
} catch (...) {
  return 0;
}

int CRunController::Upload() try {
  return steps_.UploadReport(*store_, uploadAddress_);
} catch (...) {
  return 0;
}
