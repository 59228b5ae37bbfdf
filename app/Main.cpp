#include "app/PeltoApp.h"

int WINAPI wWinMain(HINSTANCE instance, HINSTANCE /*previous*/, LPWSTR /*arguments*/,
                    int /*show*/) {
  CPeltoApp application;
  return AfxWinMain(instance);
}
