// The grammar of one line of a usage log. The line is bytes in the ANSI code page; all comparisons
// are byte by byte.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

#include "usage/UsageEvent.h"

/// Every line begins with this many bytes, such as a time stamp, that are never looked at. The
/// keyword of an event follows at once.
inline constexpr std::size_t LogPrefixLength = 23;

inline constexpr std::string_view CommandKeyword = "Command = ";
inline constexpr std::string_view OpenDocumentKeyword = "OnOpenDocument";
inline constexpr std::string_view SaveDocumentKeyword = "OnSaveDocument";

/// The kind of event that `line` begins, or none. The line needs only to begin with a keyword after
/// its prefix; what follows the keyword is ignored (docs/compatibility.md, 23).
inline std::optional<UsageEventKind> ClassifyLine(std::string_view line) {
  if (line.size() < LogPrefixLength) return {};
  const std::string_view content = line.substr(LogPrefixLength);
  if (content.starts_with(CommandKeyword)) return UsageEventKind::Command;
  if (content.starts_with(OpenDocumentKeyword)) return UsageEventKind::OpenDocument;
  if (content.starts_with(SaveDocumentKeyword)) return UsageEventKind::SaveDocument;
  return {};
}
