#pragma once

#include <cstdint>
#include <map>
#include <string>

enum class UsageEventKind : std::uint32_t { OpenDocument = 1, SaveDocument = 2, Command = 3 };

/// The attribute of a document event that holds its file type.
inline constexpr wchar_t FileTypeAttribute[] = L"FileType";

/// One action of the user, read from a log or loaded from a report.
struct UsageEvent {
  UsageEventKind kind = UsageEventKind::Command;
  /// The command's name, or of a document event the log line from its keyword on.
  std::wstring text;
  /// Only "FileType" is ever set, and only on the two document kinds.
  std::map<std::wstring, std::wstring> attributes;
};
