// The rule of PathFindExtensionA in code pages of one byte per character, for the tests of rules
// that run on another system.
#include "platform/FileExtension.h"

std::string_view FindExtension(std::string_view path) {
  const std::size_t last = path.find_last_of(".\\ ");
  if (last == std::string_view::npos || path[last] != '.') return {};
  return path.substr(last);
}
