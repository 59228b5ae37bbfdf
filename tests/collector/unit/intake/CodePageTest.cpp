#include "collector/intake/CodePage.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

namespace pelto::collector {

namespace {

struct LocaleCase {
  const char* locale;
  int code_page;
};

TEST(CodePage, GoesWithTheMachinesLanguage) {
  for (const LocaleCase& test : {
           LocaleCase{"0409", 1252},
           {"0809", 1252},
           {"4009", 1252},
           {"0407", 1252},
           {"0807", 1252},
           {"040c", 1252},
           {"040C", 1252},
           {"0c0c", 1252},
           {"040a", 1252},
           {"0c0a", 1252},
           {"080a", 1252},
           {"0410", 1252},
           {"0413", 1252},
           {"0416", 1252},
           {"0816", 1252},
           {"0406", 1252},
           {"0414", 1252},
           {"0814", 1252},
           {"041d", 1252},
           {"040b", 1252},
           {"0403", 1252},
           {"042d", 1252},
           {"0436", 1252},
           {"0421", 1252},
           // Central Europe.
           {"0405", 1250},
           {"040e", 1250},
           {"0415", 1250},
           {"0418", 1250},
           {"041a", 1250},
           {"101a", 1250},
           {"041b", 1250},
           {"041c", 1250},
           {"0424", 1250},
           {"0442", 1250},
           // Serbian and Bosnian in both scripts.
           {"081a", 1250},
           {"0c1a", 1251},
           {"141a", 1250},
           {"181a", 1250},
           {"1c1a", 1251},
           {"201a", 1251},
           {"241a", 1250},
           {"281a", 1251},
           {"2c1a", 1250},
           {"301a", 1251},
           // Cyrillic.
           {"0402", 1251},
           {"0419", 1251},
           {"0422", 1251},
           {"0423", 1251},
           {"042f", 1251},
           {"043f", 1251},
           {"0440", 1251},
           {"0444", 1251},
           {"0450", 1251},
           // Azerbaijani and Uzbek in both scripts.
           {"042c", 1254},
           {"082c", 1251},
           {"0443", 1254},
           {"0843", 1251},
           {"0408", 1253},
           {"041f", 1254},
           {"040d", 1255},
           {"0401", 1256},
           {"0c01", 1256},
           {"0429", 1256},
           {"0420", 1256},
           {"0425", 1257},
           {"0426", 1257},
           {"0427", 1257},
           {"042a", 1258},
           {"041e", 874},
           {"0411", 932},
           {"0412", 949},
           // Chinese, simplified and traditional.
           {"0804", 936},
           {"1004", 936},
           {"0004", 936},
           {"0404", 950},
           {"0c04", 950},
           {"1404", 950},
           {"7c04", 950},
           // Both scripts of Punjabi and Sindhi, of which one has no code page.
           {"0846", 1256},
           {"0859", 1256},
       }) {
    EXPECT_EQ(code_page_of_locale(test.locale), test.code_page) << test.locale;
  }
}

TEST(CodePage, IgnoresTheSortOrder) {
  EXPECT_EQ(code_page_of_locale("10407"), 1252);
  EXPECT_EQ(code_page_of_locale("00000407"), 1252);
  EXPECT_EQ(code_page_of_locale("407"), 1252);
}

TEST(CodePage, SomeLanguagesHaveNone) {
  for (const char* locale : {"0439", "0445", "0446", "0447", "0449", "044a", "044d", "0437", "042b",
                             "045e", "0463", "0850", "045d"}) {
    EXPECT_EQ(code_page_of_locale(locale), std::nullopt) << locale;
  }
}

TEST(CodePage, AnyOtherTextHasNone) {
  for (const char* locale : {"", "0000", "german", "0407 ", " 0407", "0x0407", "-0407", "+0407",
                             "de-DE", "100000000", "FFFF"}) {
    EXPECT_EQ(code_page_of_locale(locale), std::nullopt) << locale;
  }
}

TEST(CodePage, EachThatGoesWithALanguageIsOne) {
  for (unsigned language = 0; language <= 0xFFFF; ++language) {
    char locale[8];
    std::snprintf(locale, sizeof locale, "%04x", language);
    const auto code_page = code_page_of_locale(locale);
    EXPECT_TRUE(!code_page || is_code_page(*code_page)) << locale;
  }
}

TEST(CodePage, IsAnAnsiCodePageOrUtf8) {
  EXPECT_TRUE(is_code_page(1252));
  EXPECT_TRUE(is_code_page(65001));
  for (const int other : {0, -1, 437, 850, 1200, 1249, 1259, 54936}) {
    EXPECT_FALSE(is_code_page(other)) << other;
  }
}

}  // namespace

}  // namespace pelto::collector
