#include "collector/intake/TextDecoder.h"

#include <unicode/ucnv.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <stdexcept>

#include "collector/intake/CodePage.h"

namespace pelto::collector {

namespace {

constexpr int western_code_page = 1252;
constexpr char16_t replacement = 0xFFFD;
constexpr std::string_view replacement_bytes = "\xEF\xBF\xBD";

bool is_control(char32_t c) {
  return c < 0x20 || (c >= 0x7F && c <= 0x9F);
}

bool is_ascii(char c) {
  return static_cast<unsigned char>(c) < 0x80;
}

bool is_kept(char32_t c, Lines lines) {
  return !is_control(c) || (lines == Lines::kept && (c == '\t' || c == '\n'));
}

/// ASCII is the same in every code page.
std::string decode_ascii(std::string_view bytes, Lines lines) {
  const auto is_replaced = [lines](char c) {
    return !is_kept(static_cast<unsigned char>(c), lines);
  };
  if (std::ranges::none_of(bytes, is_replaced)) return std::string(bytes);
  std::string text;
  for (const char c : bytes) {
    if (is_replaced(c)) {
      text += replacement_bytes;
    } else {
      text += c;
    }
  }
  return text;
}

}  // namespace

void TextDecoder::Close::operator()(UConverter* converter) const {
  ucnv_close(converter);
}

TextDecoder::TextDecoder(int code_page) {
  if (!is_code_page(code_page)) code_page = western_code_page;
  const std::string name =
      code_page == utf8_code_page ? "UTF-8" : "windows-" + std::to_string(code_page);
  UErrorCode error = U_ZERO_ERROR;
  converter_.reset(ucnv_open(name.c_str(), &error));
  // Each of them is part of the library.
  if (U_FAILURE(error)) throw std::runtime_error("ICU has no converter " + name);
}

std::string TextDecoder::decode(std::string_view bytes, Lines lines) const {
  if (lines == Lines::removed) return decode_piece(bytes, lines);
  // A line feed is no part of another character, and most lines are ASCII.
  std::string text;
  text.reserve(bytes.size());
  while (!bytes.empty()) {
    const std::size_t line_end = std::min(bytes.find('\n'), bytes.size() - 1);
    text += decode_piece(bytes.substr(0, line_end + 1), lines);
    bytes.remove_prefix(line_end + 1);
  }
  return text;
}

std::string TextDecoder::decode_piece(std::string_view bytes, Lines lines) const {
  if (std::ranges::all_of(bytes, is_ascii)) return decode_ascii(bytes, lines);

  UErrorCode error = U_ZERO_ERROR;
  icu::UnicodeString wide(bytes.data(), static_cast<std::int32_t>(bytes.size()), converter_.get(),
                          error);
  for (std::int32_t i = 0; i < wide.length(); ++i) {
    if (!is_kept(wide[i], lines)) wide.setCharAt(i, replacement);
  }
  std::string text;
  wide.toUTF8String(text);
  return text;
}

}  // namespace pelto::collector
