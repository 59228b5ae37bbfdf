#pragma once

#include <cstdint>

#include "platform/WindowsHeader.h"

/// Calls `use` with each handle that this process has open.
template <typename Use>
void ForEachHandle(const Use& use) {
  // Windows gives out the lowest free number.
  for (std::uintptr_t number = 4, last = 0; number < last + 0x1000; number += 4) {
    const auto handle = reinterpret_cast<HANDLE>(number);
    DWORD flags;
    if (!GetHandleInformation(handle, &flags)) continue;
    last = number;
    use(handle);
  }
}

/// How many handles this process has open. The system's own count is always 0 under Wine.
inline int CountHandles() {
  int count = 0;
  ForEachHandle([&count](HANDLE) { ++count; });
  return count;
}
