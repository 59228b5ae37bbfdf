#pragma once

#include <string>

#include "store/ReportStore.h"
#include "usage/CommandStats.h"
#include "usage/FileTypeStats.h"

/// The work of a run, as the run controller sees it. The controller decides what is done and in
/// which order; a test records it.
class CRunSteps {
 public:
  virtual ~CRunSteps() = default;
  /// Counts the logs of `logFolder` into the statistics and deletes them.
  virtual void HarvestLogs(const std::wstring& logFolder, CommandStats& commands,
                           FileTypeStats& fileTypes) = 0;
  /// Shows the consent dialog and waits for the user.
  virtual void ShowConsentDialog(CReportStore& store, int first, int fade) = 0;
  /// Puts the machine's description into the store.
  virtual void CollectSystemInformation(CReportStore& store) = 0;
  /// Sends the report; closes the store's hold on it. 1 when the server has confirmed it, else 0.
  virtual int UploadReport(CReportStore& store, const std::wstring& address) = 0;
};
