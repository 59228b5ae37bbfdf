// The grammar of one line of a usage log. A log is bytes in the ANSI code page; all comparisons
// are byte by byte.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

#include "usage/UsageEvent.h"

/// Every line begins with this many characters (a time stamp, say) that are never looked at; the
/// keyword of an event stands right behind them.
inline constexpr std::size_t LogPrefixLength = 23;

inline constexpr std::string_view CommandKeyword = "Command = ";
inline constexpr std::string_view OpenDocumentKeyword = "OnOpenDocument";
inline constexpr std::string_view SaveDocumentKeyword = "OnSaveDocument";

/// The kind of event that `line` begins, or none. A keyword only has to stand behind the prefix:
/// what follows it does not matter here.
std::optional<UsageEventKind> ClassifyLine(std::string_view line);
