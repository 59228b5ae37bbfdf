// The upload step alone: bench_upload_job ADDRESS DATA-FOLDER sends the report there.
#include "platform/SystemClock.h"
#include "store/ReportStore.h"
#include "upload/UploadJob.h"

int wmain(int count, wchar_t** arguments) {
  if (count != 3) return 2;
  CommandStats commands;
  FileTypeStats fileTypes;
  CSystemClock clock;
  CReportStore store(commands, fileTypes, clock);
  if (!store.Open(arguments[2])) return 3;
  return UploadReport(store, arguments[1]) == 1 ? 0 : 1;
}
