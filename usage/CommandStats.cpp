#include "usage/CommandStats.h"

#include <algorithm>

CommandStat* CommandStats::Count(const UsageEvent& event) {
  if (event.kind != UsageEventKind::Command) return nullptr;
  const auto [position, isNew] = entries_.try_emplace(event.text);
  CommandStat& entry = position->second;
  if (isNew) entry.event = event;
  CountAgain(entry);
  return &entry;
}

void CommandStats::Merge(const CommandStat& loaded) {
  const bool isNew = entries_.try_emplace(loaded.event.text, loaded).second;
  if (isNew) lastOrder_ = std::max(lastOrder_, loaded.order);
}
