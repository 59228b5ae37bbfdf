#pragma once

#include <string_view>

/// The extension of a document's path by the rules of `PathFindExtensionA`, with its leading dot
/// and in its own letter case: the text from the last dot on, unless a backslash or a space follows
/// that dot. Empty when there is none. `path` is bytes in the ANSI code page, without a NUL byte.
///
/// In a double-byte code page a lead byte takes the next byte with it, even a dot that cannot be
/// its second half, and a slash or a colon does not separate (docs/compatibility.md, 25).
std::string_view FindExtension(std::string_view path);
