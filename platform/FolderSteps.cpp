#include "platform/FolderPath.h"

std::vector<std::wstring> ListFolderSteps(std::wstring_view path) {
  std::vector<std::wstring> steps;
  if (const size_t colon = path.find(L':'); colon != std::wstring_view::npos) {
    for (size_t at = path.find(L'\\', colon + 2); at != std::wstring_view::npos;
         at = path.find(L'\\', at + 1)) {
      steps.emplace_back(path.substr(0, at));
    }
  }
  steps.emplace_back(path);
  return steps;
}
