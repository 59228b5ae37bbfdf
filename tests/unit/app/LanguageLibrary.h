// The test libraries that choose and hold localized texts.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "platform/WindowsHeader.h"
#include "tests/support/TestProcess.h"

inline constexpr UINT LocalizedText = 1000;

/// Copies a library beside the test program to `path`; replaces a file there.
inline void CopyLibrary(const std::wstring& name, const std::wstring& path) {
  ASSERT_TRUE(CopyFileW((ProgramFolder() + L"\\" + name).c_str(), path.c_str(), FALSE))
      << GetLastError();
}

/// The string `number` of the module.
inline std::wstring LoadModuleText(HINSTANCE module, UINT number) {
  wchar_t text[100];
  const int length = LoadStringW(module, number, text, ARRAYSIZE(text));
  return {text, static_cast<size_t>(length)};
}
