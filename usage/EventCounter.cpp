#include "usage/EventCounter.h"

#include "platform/AnsiText.h"
#include "usage/EventTextFilter.h"

namespace {

UsageEvent ToUsageEvent(const LogEvent& event) {
  UsageEvent result{event.kind, WideFromAnsi(event.text), {}};
  if (event.kind != UsageEventKind::Command) {
    result.attributes.emplace(FileTypeAttribute, WideFromAnsi(event.fileType));
  }
  return result;
}

}  // namespace

void EventCounter::Count(const LogEvent& event) {
  if (event.kind == UsageEventKind::Command) {
    CountCommand(event);
  } else {
    CountDocument(event);
  }
}

void EventCounter::CountCommand(const LogEvent& event) {
  if (const auto known = knownCommands_.find(event.text); known != knownCommands_.end()) {
    if (known->second != nullptr) commands_.CountAgain(*known->second);
    return;
  }
  const UsageEvent usage = ToUsageEvent(event);
  const bool isCounted = !EventTextFilter::Instance().Holds(usage.text);
  knownCommands_.emplace(event.text, isCounted ? commands_.Count(usage) : nullptr);
}

void EventCounter::CountDocument(const LogEvent& event) {
  if (EventTextFilter::Instance().Holds(WideFromAnsi(event.text))) return;
  if (const auto known = knownFileTypes_.find(event.fileType); known != knownFileTypes_.end()) {
    FileTypeStats::CountAgain(*known->second, event.kind);
    return;
  }
  knownFileTypes_.emplace(event.fileType, fileTypes_.Count(ToUsageEvent(event)));
}
