#include "platform/AnsiText.h"

#include "platform/WindowsHeader.h"

std::wstring ToWide(std::string_view bytes) {
  if (bytes.empty()) return {};
  // No ANSI code page makes more UTF-16 units than it has bytes, so one call is enough.
  std::wstring text(bytes.size(), L'\0');
  const int length = MultiByteToWideChar(CP_ACP, 0, bytes.data(), static_cast<int>(bytes.size()),
                                         text.data(), static_cast<int>(text.size()));
  text.resize(static_cast<size_t>(length));
  return text;
}

std::string ToAnsi(std::wstring_view text) {
  std::string bytes;
  const int size = static_cast<int>(text.size());
  const int length = WideCharToMultiByte(CP_ACP, 0, text.data(), size, nullptr, 0,
                                         nullptr /* default character */, nullptr);
  if (length <= 0) return bytes;
  bytes.resize(static_cast<size_t>(length));
  WideCharToMultiByte(CP_ACP, 0, text.data(), size, bytes.data(), length, nullptr, nullptr);
  return bytes;
}
