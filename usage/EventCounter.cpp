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

void CEventCounter::Count(const LogEvent& event) {
  if (event.kind == UsageEventKind::Command) {
    CountCommand(event);
  } else {
    CountDocument(event);
  }
}

void CEventCounter::CountCommand(const LogEvent& event) {
  if (const auto known = knownCommands_.find(event.text); known != knownCommands_.end()) {
    if (known->second != nullptr) commands_.CountAgain(*known->second);
    return;
  }
  const UsageEvent usage = MakeUsageEvent(event);
  const bool isCounted = !EventTextFilter::GetInstance().Contains(usage.text);
  knownCommands_.emplace(event.text, isCounted ? commands_.Count(usage) : nullptr);
}

void CEventCounter::CountDocument(const LogEvent& event) {
  if (EventTextFilter::GetInstance().Contains(ToWide(event.text))) return;
  if (const auto known = knownFileTypes_.find(event.fileType); known != knownFileTypes_.end()) {
    FileTypeStats::CountAgain(*known->second, event.kind);
    return;
  }
  knownFileTypes_.emplace(event.fileType, fileTypes_.Count(MakeUsageEvent(event)));
}
