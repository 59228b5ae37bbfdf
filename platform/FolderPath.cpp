#include "platform/FolderPath.h"

#include <algorithm>

#include "platform/WindowsHeader.h"

namespace {

bool MakeFolder(const std::wstring& path) {
  if (!CreateDirectoryW(path.c_str(), nullptr /* security */) &&
      GetLastError() != ERROR_ALREADY_EXISTS) {
    return false;
  }
  const DWORD attributes = GetFileAttributesW(path.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

}  // namespace

bool CreateFolderPath(std::wstring_view path) {
  return std::ranges::all_of(ListFolderSteps(path), MakeFolder);
}
