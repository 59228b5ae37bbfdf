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
  const std::size_t known = entries_.size();
  // A report lists the commands in this order, so nearly every place is at the end.
  entries_.try_emplace(entries_.end(), loaded.event.text, loaded);
  if (entries_.size() > known) lastOrder_ = std::max(lastOrder_, loaded.order);
}
