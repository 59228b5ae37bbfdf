#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "usage/CommandStats.h"
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
  void Count(const LogEvent& event);

 private:
  struct BytesHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view bytes) const {
      return std::hash<std::string_view>()(bytes);
    }
  };
  template <typename Entry>
  using EntriesByBytes = std::unordered_map<std::string, Entry*, BytesHash, std::equal_to<>>;

  void CountCommand(const LogEvent& event);
  void CountDocument(const LogEvent& event);

  CommandStats& commands_;
  FileTypeStats& fileTypes_;
  /// Null for a command that is not counted.
  EntriesByBytes<CommandStat> knownCommands_;
  EntriesByBytes<FileTypeStat> knownFileTypes_;
};
