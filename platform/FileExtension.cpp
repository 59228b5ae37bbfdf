#include "platform/FileExtension.h"

#include "platform/WindowsHeader.h"

#include <shlwapi.h>

#include <string>

std::string_view FindExtension(std::string_view path) {
  // The answer depends on the text from the last dot on alone, so the system, which looks at each
  // character in turn, need not see more. A dot is never half of a character in a code page of
  // two-byte characters, so the text begins with a whole one there too.
  const std::size_t dot = path.rfind('.');
  if (dot == std::string_view::npos) return {};
  const std::string ending(path.substr(dot));
  const char* const extension = PathFindExtensionA(ending.c_str());
  return *extension == '\0' ? std::string_view() : path.substr(dot);
}
