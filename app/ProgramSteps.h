#pragma once

#include "app/RunSteps.h"

/// The steps as the program takes them; tests replace them.
class CProgramSteps : public CRunSteps {
 public:
  void HarvestLogs(const std::wstring& logFolder, CommandStats& commands,
                   FileTypeStats& fileTypes) override;
  void ShowConsentDialog(CReportStore* store, int first, int fade) override;
  void CollectSystemInformation(CReportStore& store) override;
  int UploadReport(CReportStore& store, const std::wstring& address) override;
};
