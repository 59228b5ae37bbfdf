// Holds a file open until its standard input ends: holder.exe MODE PATH.
//
//   write        opens it for writing and shares everything, as a host does with its log
//   read         opens it for reading and shares everything
//   unwritable   opens it for reading and shares reading only
//   unshared     opens it for both and shares nothing
#include <fcntl.h>
#include <io.h>

#include <cstdio>
#include <cwchar>

#include "platform/Handles.h"

int wmain(int count, wchar_t** arguments) {
  if (count != 3) return 2;
  const auto isMode = [&](const wchar_t* mode) { return std::wcscmp(arguments[1], mode) == 0; };
  DWORD access = GENERIC_READ | GENERIC_WRITE;
  DWORD sharing = 0;
  if (isMode(L"write") || isMode(L"read")) {
    access = isMode(L"write") ? GENERIC_WRITE : GENERIC_READ;
    sharing = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
  } else if (isMode(L"unwritable")) {
    access = GENERIC_READ;
    sharing = FILE_SHARE_READ;
  } else if (!isMode(L"unshared")) {
    return 2;
  }
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
