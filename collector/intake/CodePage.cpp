#include "collector/intake/CodePage.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <system_error>

namespace pelto::collector {

namespace {

struct LanguageCodePage {
  std::uint16_t language;
  int code_page;
};

/// By primary language, the lower ten bits of the identifier.
constexpr std::array primary_languages{
    LanguageCodePage{0x01, 1256},  // Arabic
    LanguageCodePage{0x02, 1251},  // Bulgarian
    LanguageCodePage{0x03, 1252},  // Catalan
    LanguageCodePage{0x04, 936},   // Chinese
    LanguageCodePage{0x05, 1250},  // Czech
    LanguageCodePage{0x06, 1252},  // Danish
    LanguageCodePage{0x07, 1252},  // German
    LanguageCodePage{0x08, 1253},  // Greek
    LanguageCodePage{0x09, 1252},  // English
    LanguageCodePage{0x0A, 1252},  // Spanish
    LanguageCodePage{0x0B, 1252},  // Finnish
    LanguageCodePage{0x0C, 1252},  // French
    LanguageCodePage{0x0D, 1255},  // Hebrew
    LanguageCodePage{0x0E, 1250},  // Hungarian
    LanguageCodePage{0x0F, 1252},  // Icelandic
    LanguageCodePage{0x10, 1252},  // Italian
    LanguageCodePage{0x11, 932},   // Japanese
    LanguageCodePage{0x12, 949},   // Korean
    LanguageCodePage{0x13, 1252},  // Dutch
    LanguageCodePage{0x14, 1252},  // Norwegian
    LanguageCodePage{0x15, 1250},  // Polish
    LanguageCodePage{0x16, 1252},  // Portuguese
    LanguageCodePage{0x17, 1252},  // Romansh
    LanguageCodePage{0x18, 1250},  // Romanian
    LanguageCodePage{0x19, 1251},  // Russian
    LanguageCodePage{0x1A, 1250},  // Croatian, Serbian, Bosnian
    LanguageCodePage{0x1B, 1250},  // Slovak
    LanguageCodePage{0x1C, 1250},  // Albanian
    LanguageCodePage{0x1D, 1252},  // Swedish
    LanguageCodePage{0x1E, 874},   // Thai
    LanguageCodePage{0x1F, 1254},  // Turkish
    LanguageCodePage{0x20, 1256},  // Urdu
    LanguageCodePage{0x21, 1252},  // Indonesian
    LanguageCodePage{0x22, 1251},  // Ukrainian
    LanguageCodePage{0x23, 1251},  // Belarusian
    LanguageCodePage{0x24, 1250},  // Slovenian
    LanguageCodePage{0x25, 1257},  // Estonian
    LanguageCodePage{0x26, 1257},  // Latvian
    LanguageCodePage{0x27, 1257},  // Lithuanian
    LanguageCodePage{0x28, 1251},  // Tajik
    LanguageCodePage{0x29, 1256},  // Persian
    LanguageCodePage{0x2A, 1258},  // Vietnamese
    LanguageCodePage{0x2C, 1254},  // Azerbaijani
    LanguageCodePage{0x2D, 1252},  // Basque
    LanguageCodePage{0x2E, 1252},  // Sorbian
    LanguageCodePage{0x2F, 1251},  // Macedonian
    LanguageCodePage{0x32, 1252},  // Setswana
    LanguageCodePage{0x34, 1252},  // isiXhosa
    LanguageCodePage{0x35, 1252},  // isiZulu
    LanguageCodePage{0x36, 1252},  // Afrikaans
    LanguageCodePage{0x38, 1252},  // Faroese
    LanguageCodePage{0x3B, 1252},  // Sami
    LanguageCodePage{0x3C, 1252},  // Irish
    LanguageCodePage{0x3E, 1252},  // Malay
    LanguageCodePage{0x3F, 1251},  // Kazakh
    LanguageCodePage{0x40, 1251},  // Kyrgyz
    LanguageCodePage{0x41, 1252},  // Kiswahili
    LanguageCodePage{0x42, 1250},  // Turkmen
    LanguageCodePage{0x43, 1254},  // Uzbek
    LanguageCodePage{0x44, 1251},  // Tatar
    LanguageCodePage{0x50, 1251},  // Mongolian
    LanguageCodePage{0x52, 1252},  // Welsh
    LanguageCodePage{0x56, 1252},  // Galician
    LanguageCodePage{0x5D, 1252},  // Inuktitut
    LanguageCodePage{0x5F, 1252},  // Tamazight
    LanguageCodePage{0x62, 1252},  // Frisian
    LanguageCodePage{0x64, 1252},  // Filipino
    LanguageCodePage{0x68, 1252},  // Hausa
    LanguageCodePage{0x6A, 1252},  // Yoruba
    LanguageCodePage{0x6B, 1252},  // Quechua
    LanguageCodePage{0x6C, 1252},  // Sesotho sa Leboa
    LanguageCodePage{0x6D, 1251},  // Bashkir
    LanguageCodePage{0x6E, 1252},  // Luxembourgish
    LanguageCodePage{0x6F, 1252},  // Greenlandic
    LanguageCodePage{0x70, 1252},  // Igbo
    LanguageCodePage{0x7A, 1252},  // Mapudungun
    LanguageCodePage{0x7C, 1252},  // Mohawk
    LanguageCodePage{0x7E, 1252},  // Breton
    LanguageCodePage{0x80, 1256},  // Uyghur
    LanguageCodePage{0x82, 1252},  // Occitan
    LanguageCodePage{0x83, 1252},  // Corsican
    LanguageCodePage{0x84, 1252},  // Alsatian
    LanguageCodePage{0x85, 1251},  // Yakut
    LanguageCodePage{0x86, 1252},  // K'iche'
    LanguageCodePage{0x87, 1252},  // Kinyarwanda
    LanguageCodePage{0x88, 1252},  // Wolof
    LanguageCodePage{0x8C, 1256},  // Dari
    LanguageCodePage{0x91, 1252},  // Scottish Gaelic
    LanguageCodePage{0x92, 1256},  // Central Kurdish
};

/// No ANSI code page.
constexpr int unicode_only = 0;

/// Languages whose code page differs from that of their primary language, because of the script.
constexpr std::array whole_languages{
    LanguageCodePage{0x0404, 950},           // Chinese, Taiwan
    LanguageCodePage{0x0C04, 950},           // Chinese, Hong Kong
    LanguageCodePage{0x1404, 950},           // Chinese, Macao
    LanguageCodePage{0x7C04, 950},           // Chinese, traditional
    LanguageCodePage{0x0C1A, 1251},          // Serbian, Cyrillic, Serbia and Montenegro
    LanguageCodePage{0x1C1A, 1251},          // Serbian, Cyrillic, Bosnia and Herzegovina
    LanguageCodePage{0x201A, 1251},          // Bosnian, Cyrillic
    LanguageCodePage{0x281A, 1251},          // Serbian, Cyrillic, Serbia
    LanguageCodePage{0x301A, 1251},          // Serbian, Cyrillic, Montenegro
    LanguageCodePage{0x641A, 1251},          // Bosnian, Cyrillic
    LanguageCodePage{0x6C1A, 1251},          // Serbian, Cyrillic
    LanguageCodePage{0x082C, 1251},          // Azerbaijani, Cyrillic
    LanguageCodePage{0x742C, 1251},          // Azerbaijani, Cyrillic
    LanguageCodePage{0x0843, 1251},          // Uzbek, Cyrillic
    LanguageCodePage{0x7843, 1251},          // Uzbek, Cyrillic
    LanguageCodePage{0x0846, 1256},          // Punjabi, Arabic
    LanguageCodePage{0x0859, 1256},          // Sindhi, Arabic
    LanguageCodePage{0x0850, unicode_only},  // Mongolian, traditional
    LanguageCodePage{0x0C50, unicode_only},  // Mongolian, traditional
    LanguageCodePage{0x7C50, unicode_only},  // Mongolian, traditional
    LanguageCodePage{0x045D, unicode_only},  // Inuktitut, syllabics
    LanguageCodePage{0x785D, unicode_only},  // Inuktitut, syllabics
    LanguageCodePage{0x105F, unicode_only},  // Tamazight, Tifinagh
    LanguageCodePage{0x785F, unicode_only},  // Tamazight, Tifinagh
};

constexpr std::uint32_t primary_language = 0x3FF;
constexpr std::uint32_t largest_language = 0xFFFF;

template <typename Table>
std::optional<int> look_up(const Table& table, std::uint32_t language) {
  const auto found = std::ranges::find(table, language, &LanguageCodePage::language);
  if (found == table.end()) return std::nullopt;
  return found->code_page;
}

}  // namespace

bool is_code_page(int code_page) {
  constexpr std::array code_pages{874,  932,  936,  949,  950,  1250, 1251,          1252,
                                  1253, 1254, 1255, 1256, 1257, 1258, utf8_code_page};
  return std::ranges::find(code_pages, code_page) != code_pages.end();
}

std::optional<int> code_page_of_locale(std::string_view locale) {
  std::uint32_t identifier = 0;
  const char* const end = locale.data() + locale.size();
  const auto [stop, error] = std::from_chars(locale.data(), end, identifier, 16);
  if (error != std::errc{} || stop != end) return std::nullopt;
  // A sort order may be above the language.
  const std::uint32_t language = identifier & largest_language;
  std::optional<int> code_page = look_up(whole_languages, language);
  if (!code_page) code_page = look_up(primary_languages, language & primary_language);
  if (code_page == unicode_only) return std::nullopt;
  return code_page;
}

}  // namespace pelto::collector
