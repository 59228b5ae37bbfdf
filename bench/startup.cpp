#include "platform/WindowsHeader.h"

#include <commctrl.h>
#include <shellapi.h>

int WINAPI WinMain(HINSTANCE /*instance*/, HINSTANCE /*previous*/, LPSTR /*arguments*/,
                   int /*show*/) {
  const INITCOMMONCONTROLSEX controls = {sizeof controls, 0xFF};
  InitCommonControlsEx(&controls);
  int count = 0;
  LocalFree(CommandLineToArgvW(GetCommandLineW(), &count));
  return 0;
}
