#pragma once

#include <string>

#include "platform/WindowsHeader.h"

/// A process, `holder.exe` beside the test program, that holds a file open from the end of the
/// constructor until the destructor.
class FileHolder {
 public:
  /// `mode` is "write" (opened for writing, all sharing allowed), "read" (for reading, all sharing
  /// allowed) or "unshared" (for both, no sharing).
  FileHolder(const std::wstring& mode, const std::wstring& path);
  ~FileHolder();
  FileHolder(const FileHolder&) = delete;
  FileHolder& operator=(const FileHolder&) = delete;

 private:
  HANDLE process_ = nullptr;
  HANDLE input_ = nullptr;
};

/// The folder of the running test program.
std::wstring ProgramFolder();
