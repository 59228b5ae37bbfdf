#include "platform/FileExtension.h"

#include "platform/WindowsHeader.h"

#include <shlwapi.h>

#include <cstring>
#include <string>

std::string_view FindExtension(std::string_view path) {
  const std::size_t dot = path.rfind('.');
  if (dot == std::string_view::npos) return {};
  // The search goes through every character, so it is given no more than it needs. Lead bytes are
  // never below 0x80: a last dot that follows such a byte begins a character, and what is before it
  // does not matter. Any other dot may be a second half, which only the whole path shows.
  const bool isCharacter = dot == 0 || static_cast<unsigned char>(path[dot - 1]) < 0x80;
  const std::string text(isCharacter ? path.substr(dot) : path);
  return path.substr(path.size() - std::strlen(PathFindExtensionA(text.c_str())));
}
