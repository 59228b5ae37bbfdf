#include "usage/EventCounter.h"

#include "platform/AnsiText.h"
#include "usage/EventTextFilter.h"

namespace {

UsageEvent MakeUsageEvent(const LogEvent& event) {
  UsageEvent result{event.kind, ToWide(event.text), {}};
  if (event.kind != UsageEventKind::Command) {
    result.attributes.emplace(FileTypeAttribute, ToWide(event.fileType));
  }
  return result;
}

}  // namespace

void CEventCounter::CountNewCommand(const LogEvent& event) {
  const UsageEvent usage = MakeUsageEvent(event);
  if (EventTextFilter::GetInstance().Contains(usage.text)) return;
  CommandStat& entry = *commands_.Count(usage);
  // A report may hold the highest place there is. The one after it is 0, which means none.
  if (entry.order != 0) knownCommands_.Add(event.text, entry);
}

void CEventCounter::CountDocument(const LogEvent& event) {
  // The text is nearly always the keyword alone, so it is not converted again each time.
  std::string& passed = event.kind == UsageEventKind::OpenDocument ? openText_ : saveText_;
  if (passed.empty() || event.text != passed) {
    if (EventTextFilter::GetInstance().Contains(ToWide(event.text))) return;
    passed = event.text;
  }
  if (FileTypeStat* const known = knownFileTypes_.Find(event.fileType)) {
    FileTypeStats::CountAgain(*known, event.kind);
    return;
  }
  knownFileTypes_.Add(event.fileType, *fileTypes_.Count(MakeUsageEvent(event)));
}
