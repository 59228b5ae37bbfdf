#include "platform/Paths.h"

#include "platform/WindowsHeader.h"

#include <shlwapi.h>

std::wstring CombinePath(const std::wstring& folder, const wchar_t* name) {
  wchar_t buffer[1040];
  if (PathCombineW(buffer, folder.c_str(), name) == nullptr) return {};
  return buffer;
}

bool PathExists(const std::wstring& path) {
  return PathFileExistsW(path.c_str()) != 0;
}
