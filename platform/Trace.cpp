#include "platform/Trace.h"

#ifdef PELTO_TRACE

#include <string>

#include "platform/WindowsHeader.h"

void Trace(std::wstring_view step, std::wstring_view outcome) {
  std::wstring line = L"PELTOSender: ";
  line.append(step).append(L": ").append(outcome).append(L"\n");
  OutputDebugStringW(line.c_str());
}

#endif
