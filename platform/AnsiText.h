// Conversion between the program's wide text (UTF-16) and the bytes of files and of the upload,
// which are in the system's ANSI code page.
#pragma once

#include <string>
#include <string_view>

/// The wide text of `bytes`, read in the ANSI code page. NUL bytes are kept.
std::wstring ToWide(std::string_view bytes);

/// The bytes of `text` in the ANSI code page. A character that the code page does not hold
/// becomes the conversion's closest match or its default character ("?").
std::string ToAnsi(std::wstring_view text);
