// What a library costs at start-up: bench_load_libraries [LIBRARY...] loads them and ends.
#include <cstdlib>

#include "platform/WindowsHeader.h"

int WINAPI wWinMain(HINSTANCE /*instance*/, HINSTANCE /*previous*/, LPWSTR /*arguments*/,
                    int /*show*/) {
  for (int i = 1; i < __argc; ++i) {
    if (LoadLibraryW(__wargv[i]) == nullptr) return 2;
  }
  return 0;
}
