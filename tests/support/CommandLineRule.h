#pragma once

#include <string>
#include <string_view>
#include <vector>

/// The arguments of a command line whose arguments are all quoted, as CommandLineToArgvW splits it:
/// a backslash counts as itself unless a quotation mark follows its row, of which two give one, and
/// the last of an odd number takes the mark with it. The first argument has no escapes.
std::vector<std::wstring> SplitQuotedCommandLine(std::wstring_view line);
