#pragma once

#include <string>

#include "usage/CommandStats.h"
#include "usage/FileTypeStats.h"

/// Reads the host application's logs into the statistics.
class LogHarvester {
 public:
  /// The statistics must outlive the harvester.
  LogHarvester(CommandStats& commands, FileTypeStats& fileTypes)
      : commands_(commands), fileTypes_(fileTypes) {}

  /// Reads every file of `folder` that "*.log" finds, in the order in which the file system
  /// returns them, and deletes each one after reading when `deletesLogs` is set. A file that
  /// another program has open for writing is left for a later run. Always returns 1: an empty or
  /// missing folder is not an error. An exception leaves the log that is being read, and those
  /// after it, in place.
  int Harvest(const std::wstring& folder, bool deletesLogs);

 private:
  CommandStats& commands_;
  FileTypeStats& fileTypes_;
};
