#pragma once

#include <string_view>

/// The extension of a document's path by the rules of `PathFindExtensionA`, with its leading dot
/// and in its own letter case: what stands from the last dot on, unless a backslash or a blank
/// follows that dot. Empty when there is none. `path` is bytes in the ANSI code page.
std::string_view FindExtension(std::string_view path);
