#pragma once

#include <new>

#include "platform/WindowsHeader.h"
#include "tests/support/ReplacedImport.h"

extern "C" void* __imp_ReadFile;

/// Lets the program's own calls of `ReadFile` read as usual, but throw `std::bad_alloc` from one of
/// them on, as if memory ran out there.
class ThrowingRead {
 public:
  /// `calls` is how many succeed.
  explicit ThrowingRead(int calls) {
    remaining = calls;
    original = reinterpret_cast<decltype(original)>(readFile_.GetOriginal());
  }

 private:
  static BOOL WINAPI Read(HANDLE file, LPVOID buffer, DWORD size, LPDWORD count,
                          LPOVERLAPPED overlapped) {
    if (remaining-- <= 0) throw std::bad_alloc();
    return original(file, buffer, size, count, overlapped);
  }

  inline static int remaining = 0;
  inline static decltype(&ReadFile) original = nullptr;
  ReplacedImport readFile_{__imp_ReadFile, reinterpret_cast<void*>(&Read)};
};
