#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "usage/UsageEvent.h"

/// The use of one command.
struct CommandStat {
  std::uint64_t count = 0;
  /// The event that created this entry; its text is the command's name.
  UsageEvent event;
  /// The command's place in the order of first use, from 1. 0 means that it has no place yet.
  std::uint32_t order = 0;
};

/// How often each command was used, and in which order the commands were first seen.
class CommandStats {
 public:
  /// Entries by command name, compared code unit by code unit.
  using Entries = std::map<std::wstring, CommandStat>;

  /// Counts one use. Events of other kinds are ignored.
  /// Returns the entry that counted it, or null. The pointer stays valid as long as the statistics,
  /// so a caller can count the same command again with `CountAgain`.
  CommandStat* Count(const UsageEvent& event);

  /// Counts one more use of an entry that `Count` has returned.
  void CountAgain(CommandStat& entry) {
    ++entry.count;
    // The run tools of older reports are loaded without a place (docs/compatibility.md, 16).
    if (entry.order == 0) entry.order = ++lastOrder_;
  }

  /// The same for an entry that has its place. It does not look for that, because the place is in
  /// another line of the processor's cache than the count.
  static void CountPlaced(CommandStat& entry) { ++entry.count; }

  /// Takes over an entry of a loaded report. An entry whose name is known already is dropped and
  /// its count is not added, unlike a file type's: a report that is loaded twice in one run leaves
  /// the commands as they were (docs/compatibility.md, 17).
  void Merge(const CommandStat& loaded);

  const Entries& GetEntries() const { return entries_; }
  /// The highest order number given or loaded so far.
  std::uint32_t GetLastOrder() const { return lastOrder_; }

 private:
  Entries entries_;
  std::uint32_t lastOrder_ = 0;
};
