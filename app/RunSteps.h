#pragma once

#include <string>

#include "store/ReportStore.h"
#include "usage/CommandStats.h"
#include "usage/FileTypeStats.h"

/// The steps of a run, as an interface, so that tests can replace them. The run controller decides
/// which steps are taken and in which order.
class CRunSteps {
 public:
  virtual ~CRunSteps() = default;
  /// Counts the logs of `logFolder` into the statistics and deletes them.
  virtual void HarvestLogs(const std::wstring& logFolder, CommandStats& commands,
                           FileTypeStats& fileTypes) = 0;
  /// Shows the consent dialog and waits until it closes. `store` is null when the controller has
  /// none; the dialog then shows its defaults and stores nothing.
  virtual void ShowConsentDialog(CReportStore* store, int first, int fade) = 0;
  /// Puts the machine's description into the store.
  virtual void CollectSystemInformation(CReportStore& store) = 0;
  /// Sends the report and closes the store's handle on it. Returns 1 when the server has confirmed
  /// the delivery, else 0.
  virtual int UploadReport(CReportStore& store, const std::wstring& address) = 0;
};
