// The conversions of Windows in code page 1252, for the tests of rules that run on another system.
#include <array>

#include "platform/AnsiText.h"

namespace {

/// The characters of the bytes 80 to 9F. Five of them are not assigned and become control
/// characters.
constexpr std::array<wchar_t, 32> Upper = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

wchar_t WideFromByte(unsigned char byte) {
  return byte >= 0x80 && byte <= 0x9F ? Upper.at(byte - 0x80U) : static_cast<wchar_t>(byte);
}

char ByteFromWide(wchar_t character) {
  for (unsigned byte = 0; byte <= 0xFF; ++byte) {
    if (WideFromByte(static_cast<unsigned char>(byte)) == character) {
      return static_cast<char>(byte);
    }
  }
  return '?';
}

}  // namespace

std::wstring ToWide(std::string_view bytes) {
  std::wstring text;
  for (const char byte : bytes) text += WideFromByte(static_cast<unsigned char>(byte));
  return text;
}

std::string ToAnsi(std::wstring_view text) {
  std::string bytes;
  for (const wchar_t character : text) bytes += ByteFromWide(character);
  return bytes;
}
