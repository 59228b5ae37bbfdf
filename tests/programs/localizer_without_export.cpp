// A library without the export "LoadResExtDLL". Its export differs from that name in letter case
// only; calling it ends the process.
#include "platform/WindowsHeader.h"

extern "C" __declspec(dllexport) HINSTANCE __cdecl LoadResExtDll(HINSTANCE, DWORD_PTR) {
  ExitProcess(99);
}
