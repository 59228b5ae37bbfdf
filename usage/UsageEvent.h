#pragma once

#include <cstdint>
#include <map>
#include <string>

enum class UsageEventKind : std::uint32_t { OpenDocument = 1, SaveDocument = 2, Command = 3 };

/// The attribute of a document event that holds its file type.
inline constexpr wchar_t FileTypeAttribute[] = L"FileType";

/// One thing that the user did, cut out of a log or loaded from a report.
struct UsageEvent {
  UsageEventKind kind = UsageEventKind::Command;
  /// The command's name; of a document event the log line from its keyword on.
  std::wstring text;
  /// Only "FileType" is ever set, and only on the two document kinds.
  std::map<std::wstring, std::wstring> attributes;
};
