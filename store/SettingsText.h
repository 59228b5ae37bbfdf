#pragma once

#include <string>

/// `text` with a line feed in the place of every backslash that the letter n follows: the form in
/// which the settings file keeps a text of several lines.
std::wstring UnescapeLineBreaks(std::wstring text);
