#include "platform/WindowsHeader.h"

int WINAPI WinMain(HINSTANCE /*instance*/, HINSTANCE /*previous*/, LPSTR /*arguments*/,
                   int /*show*/) {
  return 0;
}
