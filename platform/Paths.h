#pragma once

#include <string>

/// `folder` and `name` joined as `PathCombineW` does it, or an empty text when the result would be
/// longer than Windows allows (260 characters).
std::wstring CombinePath(const std::wstring& folder, const wchar_t* name);

/// Whether there is a file or folder at `path`.
bool PathExists(const std::wstring& path);
