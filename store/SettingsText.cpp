#include "store/SettingsText.h"

std::wstring UnescapeLineBreaks(std::wstring text) {
  for (size_t at = text.find(L"\\n"); at != std::wstring::npos; at = text.find(L"\\n", at + 1)) {
    text.replace(at, 2, 1, L'\n');
  }
  return text;
}
