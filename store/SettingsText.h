#pragma once

#include <string>

/// `text` with a line feed in place of every backslash followed by the letter n
/// (docs/compatibility.md, 11).
std::wstring UnescapeLineBreaks(std::wstring text);
