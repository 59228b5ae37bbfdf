#pragma once

#include <memory>
#include <string>

#include "app/CommandLine.h"
#include "app/RunSteps.h"
#include "platform/Clock.h"
#include "store/ReportStore.h"
#include "usage/CommandStats.h"
#include "usage/FileTypeStats.h"

/// Sequences one run: decides from the user's consent and the date gates which steps are due, and
/// in which order. Constructed, initialized once, run once.
class CRunController {
 public:
  /// Both must outlive the controller.
  CRunController(CRunSteps& steps, CClock& clock) : steps_(steps), clock_(clock) {}

  /// Makes the data folder and opens the store on it. Returns false when the store cannot be opened
  /// (see `CReportStore::Open`); the controller has no store then.
  bool Initialize(const std::wstring& uploadAddress, const std::wstring& dataFolder,
                  const std::wstring& logFolder, const std::wstring& applicationName,
                  const std::wstring& applicationVersion);

  /// Runs once. Returns 1 for a completed log step or a delivered report, otherwise 0. Failures are
  /// silent. Without a store, only `RunMode::Dialog` does anything: it shows the dialog with its
  /// defaults and stores nothing.
  int Run(RunMode mode);

 private:
  int RunDuty(int consentState);
  int RunDialog();
  int RunLogStep();
  int Remind();
  int Transmit();
  int CollectSystemInformation();
  int Upload();

  CRunSteps& steps_;
  CClock& clock_;
  std::wstring uploadAddress_;
  std::wstring dataFolder_;
  std::wstring logFolder_;
  CommandStats commands_;
  FileTypeStats fileTypes_;
  /// Refers to the statistics: declared after them, so that it is destroyed first.
  std::unique_ptr<CReportStore> store_;
};
