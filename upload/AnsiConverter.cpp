#include "upload/AnsiConverter.h"

#include "platform/WindowsHeader.h"

const char* CAnsiConverter::ToAnsi(const wchar_t* text) {
  if (text == nullptr) return nullptr;
  constexpr int whole = -1;  // with its terminator
  const int size =
      WideCharToMultiByte(CP_ACP, 0, text, whole, nullptr, 0, nullptr /* default */, nullptr);
  if (size <= 0) return nullptr;
  std::string& bytes = texts_.emplace_back(static_cast<std::size_t>(size), '\0');
  WideCharToMultiByte(CP_ACP, 0, text, whole, bytes.data(), size, nullptr, nullptr);
  return bytes.c_str();
}
