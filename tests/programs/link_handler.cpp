// Used instead of a web browser: appends its argument as a line of UTF-8 to the file "opened.txt"
// in its own folder.
#include <cstdio>
#include <cwchar>
#include <string>

#include "platform/Handles.h"

int wmain(int count, wchar_t** arguments) {
  if (count != 2) return 2;
  wchar_t path[MAX_PATH];
  GetModuleFileNameW(nullptr /* the program */, path, MAX_PATH);
  std::wstring target = path;
  target.replace(target.rfind(L'\\') + 1, std::wstring::npos, L"opened.txt");
  char line[4096];
  const int length =
      WideCharToMultiByte(CP_UTF8, 0, arguments[1], -1, line, sizeof line - 1, nullptr, nullptr);
  if (length <= 0) return 3;
  line[length - 1] = '\n';
  const CFileHandle file(CreateFileW(target.c_str(), FILE_APPEND_DATA, FILE_SHARE_READ, nullptr,
                                     OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
  DWORD written = 0;
  return WriteFile(file.Get(), line, static_cast<DWORD>(length), &written, nullptr) ? 0 : 1;
}
