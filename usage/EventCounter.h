#pragma once

#include <string>
#include <string_view>

#include "usage/CommandStats.h"
#include "usage/EntryTable.h"
#include "usage/FileTypeStats.h"
#include "usage/LogLineReader.h"

/// Counts the events of logs into the statistics.
///
/// A log names few commands many times. The counter remembers the entries by their bytes, so that
/// each name is converted to wide text and looked up in the ordered statistics only once.
class CEventCounter {
 public:
  /// The statistics must outlive the counter.
  CEventCounter(CommandStats& commands, FileTypeStats& fileTypes)
      : commands_(commands), fileTypes_(fileTypes) {}

  /// Counts `event`, unless the `EventTextFilter` contains its text.
  void Count(const LogEvent& event) {
    if (event.kind != UsageEventKind::Command) {
      CountDocument(event);
    } else if (CommandStat* const known = knownCommands_.Find(event.text)) {
      CommandStats::CountPlaced(*known);
    } else {
      CountNewCommand(event);
    }
  }

 private:
  void CountNewCommand(const LogEvent& event);
  void CountDocument(const LogEvent& event);

  CommandStats& commands_;
  FileTypeStats& fileTypes_;
  /// Commands that are counted and have their place.
  CEntryTable<CommandStat> knownCommands_;
  CEntryTable<FileTypeStat> knownFileTypes_;
  /// The text of the last document event of each kind, which the filter does not contain.
  std::string openText_;
  std::string saveText_;
};
