#pragma once

#include <string>

/// Makes a new GUID (RFC 4122) and puts its text into `text`: 36 characters, lower-case
/// hexadecimal digits and four hyphens, no braces. Returns false, with `text` empty, when the
/// system makes none.
bool NewGuidText(std::wstring& text);
