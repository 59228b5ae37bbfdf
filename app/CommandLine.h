#pragma once

#include <optional>
#include <string>
#include <vector>

enum class RunMode { LogHandle = 1, Duty = 2, Dialog = 3 };

/// What the command line asks for. A text that the mode does not take is empty.
struct CommandLine {
  RunMode mode;
  /// Where the report goes; `duty` only.
  std::wstring uploadAddress;
  std::wstring dataFolder;
  /// The host application's logs; `log_handle` only.
  std::wstring logFolder;
  /// The host application's name and its executable; `duty` only, and may be empty there too.
  std::wstring applicationName;
  std::wstring applicationPath;
};

/// Reads the arguments, of which the first is the program's path:
///
///     log_handle  data-folder  log-folder
///     duty        upload-address  data-folder  application-name  application-path
///     dlg         data-folder
///
/// Mode words are whole and lower-case; further arguments are ignored. None, when the mode word is
/// not one of these, an argument is missing, or a folder or the upload address is empty.
std::optional<CommandLine> ParseCommandLine(const std::vector<std::wstring>& arguments);
