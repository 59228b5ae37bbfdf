// Holds a file open until its standard input ends: holder.exe MODE PATH. See FileHolder.
#include <fcntl.h>
#include <io.h>

#include <cstdio>
#include <cwchar>

#include "platform/Handles.h"

int wmain(int count, wchar_t** arguments) {
  if (count != 3) return 2;
  const bool isRead = std::wcscmp(arguments[1], L"read") == 0;
  const bool isWrite = std::wcscmp(arguments[1], L"write") == 0;
  const DWORD access = isRead    ? GENERIC_READ
                       : isWrite ? GENERIC_WRITE
                                 : GENERIC_READ | GENERIC_WRITE;
  const DWORD sharing =
      isRead || isWrite ? FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE : 0;
  _setmode(_fileno(stdout), _O_BINARY);
  const CFileHandle file(CreateFileW(arguments[2], access, sharing, nullptr, OPEN_ALWAYS,
                                     FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!file) {
    std::printf("failed %lu\n", GetLastError());
    return 1;
  }
  std::puts("holding");
  std::fflush(stdout);
  while (std::getchar() != EOF) {
  }
  return 0;
}
