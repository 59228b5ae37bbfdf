#include "usage/LogHarvester.h"

#include "platform/Handles.h"
#include "platform/Paths.h"
#include "platform/Trace.h"
#include "usage/EventCounter.h"
#include "usage/LogFile.h"
#include "usage/LogLineReader.h"

namespace {

/// Whether nobody has the file open for writing. The host application keeps the log of its current
/// session open, and such a log is not complete yet.
bool IsFree(const std::wstring& path) {
  const CFileHandle file(CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ,
                                     nullptr /* security */, OPEN_EXISTING, 0 /* no flags */,
                                     nullptr /* template */));
  return static_cast<bool>(file);
}

void ReadLog(const std::wstring& path, CEventCounter& counter) {
  CLogFile file(path);
  LogLineReader reader(file);
  while (const std::optional<LogEvent> event = reader.ReadNext()) counter.Count(*event);
}

}  // namespace

int LogHarvester::Harvest(const std::wstring& folder, bool deletesLogs) {
  WIN32_FIND_DATAW entry;
  const CFindHandle search(FindFirstFileW(CombinePath(folder, L"*.log").c_str(), &entry));
  if (!search) return 1;
  CEventCounter counter(commands_, fileTypes_);
  do {
    const std::wstring path = CombinePath(folder, entry.cFileName);
    if (!IsFree(path)) {
      Trace(L"skip a log that is in use", path);
      continue;
    }
    Trace(L"count a log", path);
    ReadLog(path, counter);
    // The log is deleted whatever it held, even when reading it failed halfway. One that cannot be
    // deleted is counted again by the next run (docs/compatibility.md, 24).
    if (deletesLogs) TraceResult(L"delete the log", DeleteFileW(path.c_str()) != 0);
  } while (FindNextFileW(search.Get(), &entry));
  return 1;
}
