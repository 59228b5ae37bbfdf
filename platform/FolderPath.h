#pragma once

#include <string>
#include <string_view>
#include <vector>

/// The folders to make, outermost first, so that `path` exists: each text before a backslash that
/// stands behind the drive's own, and the whole path. A path without a colon is one folder: of a
/// network path, server and share cannot be made.
std::vector<std::wstring> ListFolderSteps(std::wstring_view path);

/// Makes `path` with all missing parents. Answers false when one of them cannot be made or is no
/// folder.
bool CreateFolderPath(std::wstring_view path);
