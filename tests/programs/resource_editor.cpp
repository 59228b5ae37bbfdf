// Changes a resource of a program: resource_editor.exe PROGRAM TYPE NUMBER [FILE]. The file's bytes
// replace it, or it goes away.
#include <cstdlib>
#include <cwchar>
#include <fstream>
#include <iterator>
#include <string>

#include "platform/WindowsHeader.h"

int wmain(int count, wchar_t** arguments) {
  if (count != 4 && count != 5) return 2;
  std::string bytes;
  if (count == 5) {
    std::ifstream file(arguments[4], std::ios::binary);
    if (!file) return 3;
    bytes.assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
  }
  const HANDLE update = BeginUpdateResourceW(arguments[1], FALSE /* keeps the others */);
  const auto number = static_cast<WORD>(std::wcstol(arguments[3], nullptr, 10));
  if (!UpdateResourceW(update, arguments[2], MAKEINTRESOURCEW(number),
                       MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US),
                       bytes.empty() ? nullptr : bytes.data(), static_cast<DWORD>(bytes.size()))) {
    return 4;
  }
  return EndUpdateResourceW(update, FALSE /* writes */) ? 0 : 5;
}
