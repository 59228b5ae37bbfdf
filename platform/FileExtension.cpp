#include "platform/FileExtension.h"

#include "platform/WindowsHeader.h"

#include <shlwapi.h>

#include <cstring>
#include <string>

std::string_view FindExtension(std::string_view path) {
  const std::string text(path);
  return path.substr(path.size() - std::strlen(PathFindExtensionA(text.c_str())));
}
