// A library that lacks the export "LoadResExtDLL". The one that it has differs from it in letter
// case alone; calling it ends the process.
#include "platform/WindowsHeader.h"

extern "C" __declspec(dllexport) HINSTANCE __cdecl LoadResExtDll(HINSTANCE, DWORD_PTR) {
  ExitProcess(99);
}
