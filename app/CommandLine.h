#pragma once

#include <optional>
#include <string>
#include <vector>

enum class RunMode { LogHandle = 1, Duty = 2, Dialog = 3 };

/// A parsed command line. A text that the mode does not take is empty.
struct CommandLine {
  RunMode mode;
  /// The collection server's address; `duty` only.
  std::wstring uploadAddress;
  std::wstring dataFolder;
  /// The host application's logs; `log_handle` only.
  std::wstring logFolder;
  /// The host application's name and the path of its executable; `duty` only, may be empty.
  std::wstring applicationName;
  std::wstring applicationPath;
};

/// Parses the arguments, the first of which is the program's path:
///
///     log_handle  data-folder  log-folder
///     duty        upload-address  data-folder  application-name  application-path
///     dlg         data-folder
///
/// Mode words are compared exactly; further arguments are ignored. Returns none when the mode word
/// is unknown, an argument is missing, or a folder or the upload address is empty.
std::optional<CommandLine> ParseCommandLine(const std::vector<std::wstring>& arguments);
