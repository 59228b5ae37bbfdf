#include "upload/AnsiConverter.h"

#include "platform/AnsiText.h"

const char* CAnsiConverter::ToAnsi(const wchar_t* text) {
  if (text == nullptr) return nullptr;
  return texts_.emplace_back(AnsiFromWide(text)).c_str();
}
