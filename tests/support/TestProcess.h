#pragma once

#include <string>

#include "platform/WindowsHeader.h"

/// A process that holds a file open, so that this one meets it in use: the program `holder.exe`
/// beside the test. It holds the file from the constructor's end until the destructor.
class FileHolder {
 public:
  /// `mode` is "write" (for writing, shared with everybody), "read" (for reading, shared with
  /// everybody) or "unshared" (for both, shared with nobody).
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
