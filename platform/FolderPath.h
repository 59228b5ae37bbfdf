#pragma once

#include <string>
#include <string_view>
#include <vector>

/// The folders to make, outermost first, so that `path` exists: each text before a backslash after
/// the drive's own, and the whole path. A path without a colon is one step, because the server and
/// the share that begin a network path are not folders.
std::vector<std::wstring> ListFolderSteps(std::wstring_view path);

/// Makes `path` with all missing parents. Returns false when one of them cannot be made or is not a
/// folder.
bool CreateFolderPath(std::wstring_view path);
