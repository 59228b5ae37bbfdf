#include "app/ProgramSteps.h"

#include "survey/SurveyJob.h"
#include "ui/PeltoDialog.h"
#include "upload/UploadJob.h"
#include "usage/LogHarvester.h"

void CProgramSteps::HarvestLogs(const std::wstring& logFolder, CommandStats& commands,
                                FileTypeStats& fileTypes) {
  LogHarvester(commands, fileTypes).Harvest(logFolder, true /* deletes the logs */);
}

void CProgramSteps::ShowConsentDialog(CReportStore* store, int first, int fade) {
  PeltoDialog(store, first, fade).DoModal();
}

void CProgramSteps::CollectSystemInformation(CReportStore& store) {
  ::CollectSystemInformation(store);
}

int CProgramSteps::UploadReport(CReportStore& store, const std::wstring& address) {
  return ::UploadReport(store, address);
}
