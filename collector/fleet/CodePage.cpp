#include "collector/fleet/CodePage.h"

#include <unicode/ucnv.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <stdexcept>

namespace pelto::collector {

namespace {

icu::LocalUConverterPointer open_converter(int code_page) {
  UErrorCode error = U_ZERO_ERROR;
  const std::string name = "windows-" + std::to_string(code_page);
  icu::LocalUConverterPointer converter(ucnv_open(name.c_str(), &error));
  if (U_FAILURE(error) != 0) throw std::runtime_error("unknown code page " + name);
  return converter;
}

bool is_ascii(std::string_view text) {
  return std::ranges::all_of(text, [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

}  // namespace

std::string encode_in_code_page(std::string_view text, int code_page) {
  if (is_ascii(text)) return std::string(text);
  const icu::LocalUConverterPointer converter = open_converter(code_page);
  UErrorCode error = U_ZERO_ERROR;
  ucnv_setSubstChars(converter.getAlias(), "?", 1, &error);
  const auto wide = icu::UnicodeString::fromUTF8(
      icu::StringPiece(text.data(), static_cast<std::int32_t>(text.size())));
  // No character of these code pages has more than two bytes for a UTF-16 unit.
  std::string bytes(static_cast<std::size_t>(wide.length()) * 2 + 1, '\0');
  const std::int32_t length =
      ucnv_fromUChars(converter.getAlias(), bytes.data(), static_cast<std::int32_t>(bytes.size()),
                      wide.getBuffer(), wide.length(), &error);
  if (U_FAILURE(error) != 0) throw std::runtime_error("a text could not be converted");
  bytes.resize(static_cast<std::size_t>(length));
  return bytes;
}

std::string decode_from_code_page(std::string_view bytes, int code_page) {
  if (is_ascii(bytes)) return std::string(bytes);
  const icu::LocalUConverterPointer converter = open_converter(code_page);
  UErrorCode error = U_ZERO_ERROR;
  icu::UnicodeString wide(bytes.data(), static_cast<std::int32_t>(bytes.size()),
                          converter.getAlias(), error);
  if (U_FAILURE(error) != 0) throw std::runtime_error("a text could not be converted");
  for (std::int32_t i = 0; i < wide.length(); ++i) {
    if (wide[i] >= 0x7F && wide[i] <= 0x9F) wide.setCharAt(i, 0xFFFD);
  }
  std::string text;
  wide.toUTF8String(text);
  return text;
}

}  // namespace pelto::collector
