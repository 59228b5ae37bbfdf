#include "collector/intake/TextDecoder.h"

#include <gtest/gtest.h>

#include <string>

namespace pelto::collector {

namespace {

std::string decode(int code_page, const std::string& bytes) {
  return TextDecoder(code_page).decode(bytes);
}

TEST(TextDecoder, ReadsWordsInTheirCodePages) {
  EXPECT_EQ(decode(1252,
                   "\xD6"
                   "ffnen \x80 \x9C"),
            "Öffnen € œ");
  EXPECT_EQ(decode(1250, "\xA3\xF3\x64\x9F"), "Łódź");
  EXPECT_EQ(decode(1251, "\xCB\xE8\xED\xE8\xFF"), "Линия");
  EXPECT_EQ(decode(1253, "\xC3\xF1\xE1\xEC\xEC\xDE"), "Γραμμή");
  EXPECT_EQ(decode(1254, "\xC7izgi \xDD\xFE"), "Çizgi İş");
  EXPECT_EQ(decode(1255, "\xF7\xE5"), "קו");
  EXPECT_EQ(decode(1256, "\xCE\xD8"), "خط");
  EXPECT_EQ(decode(1257, "L\xEEnija"), "Līnija");
  EXPECT_EQ(decode(1258,
                   "\xD0\xFD"
                   "\xF5"
                   "ng"),
            "Đương");
  EXPECT_EQ(decode(874, "\xE0\xCA\xE9\xB9"), "เส้น");
  EXPECT_EQ(decode(932, "\x93\xFA\x96{\x8C\xEA \xC1\xDB"), "日本語 ﾁﾛ");
  EXPECT_EQ(decode(936, "\xD6\xB1\xCF\xDF \x80"), "直线 €");
  EXPECT_EQ(decode(949, "\xBC\xB1 \x8C\x63"), "선 똠");
  EXPECT_EQ(decode(950, "\xAA\xBD\xBDu"), "直線");
  EXPECT_EQ(decode(65001, "Öffnen 日本"), "Öffnen 日本");
}

TEST(TextDecoder, AsciiIsTheSameInEveryCodePage) {
  std::string ascii;
  for (char c = ' '; c < '\x7F'; ++c) ascii += c;
  for (const int code_page :
       {874, 932, 936, 949, 950, 1250, 1251, 1252, 1253, 1254, 1255, 1256, 1257, 1258, 65001}) {
    EXPECT_EQ(decode(code_page, ascii), ascii) << code_page;
    // Beside another character, where the converter reads it.
    const std::string other = code_page == 65001 ? "\xC3\xA4" : "\xB1\xB1";
    const std::string mixed = decode(code_page, ascii + other);
    EXPECT_EQ(mixed.substr(0, ascii.size()), ascii) << code_page;
  }
}

// The second byte of a character can be that of a backslash.
TEST(TextDecoder, ABackslashInsideOfACharacterIsNone) {
  EXPECT_EQ(decode(932, "\x95\x5C\x8E\xA6"), "表示");
  EXPECT_EQ(decode(950, "\xB3\x5C"), "許");
}

TEST(TextDecoder, WhatIsNoTextBecomesAReplacementCharacter) {
  EXPECT_EQ(decode(1253,
                   "a\xFF"
                   "b"),
            "a\uFFFDb");
  EXPECT_EQ(decode(65001,
                   "a\xFF"
                   "b\xC3"),
            "a\uFFFDb\uFFFD");
  EXPECT_EQ(decode(65001, "\xC0\xAF"), "\uFFFD\uFFFD");
  EXPECT_EQ(decode(936, "a\xFE"), "a\uFFFD");
  EXPECT_EQ(decode(932, "\x81"), "\uFFFD");
}

TEST(TextDecoder, AControlCharacterBecomesAReplacementCharacter) {
  EXPECT_EQ(decode(1252, std::string("a\0b", 3)), "a\uFFFDb");
  EXPECT_EQ(decode(1252, std::string("\xE4\0b", 3)), "ä\uFFFDb");
  EXPECT_EQ(decode(1252, "\t\n\r\x1B[2J\x7F"), "\uFFFD\uFFFD\uFFFD\uFFFD[2J\uFFFD");
  EXPECT_EQ(decode(1252, "\xE4\t\x1B\x7F"), "ä\uFFFD\uFFFD\uFFFD");
  // Not assigned in the code page, and controls of their own in UTF-8.
  EXPECT_EQ(decode(1252, "\x81\x8D\x8F\x90\x9D"), "\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD");
  EXPECT_EQ(decode(65001, "\u009B\u0080"), "\uFFFD\uFFFD");
  // In this code page, some of them come out as others.
  EXPECT_EQ(decode(932, "\x93\xFA\x1A\x1C\x7F"), "日\uFFFD\uFFFD\uFFFD");
}

TEST(TextDecoder, LinesCanBeKept) {
  const TextDecoder decoder(1252);
  EXPECT_EQ(decoder.decode("a\n\tb\r\x01", Lines::kept), "a\n\tb\uFFFD\uFFFD");
  EXPECT_EQ(decoder.decode("\xE4\n\tb\r\x01", Lines::kept), "ä\n\tb\uFFFD\uFFFD");
  EXPECT_EQ(decoder.decode("\n\xE4\nb\n\n", Lines::kept), "\nä\nb\n\n");
  EXPECT_EQ(decoder.decode("", Lines::kept), "");
  // A line end does not complete a character that is cut.
  EXPECT_EQ(TextDecoder(932).decode("\x95\n\x95\x5C\n", Lines::kept), "\uFFFD\n表\n");
}

TEST(TextDecoder, EachTextIsReadAnew) {
  const TextDecoder decoder(932);
  EXPECT_EQ(decoder.decode("\x93"), "\uFFFD");
  EXPECT_EQ(decoder.decode("\xFA\x96"), "坙");
}

TEST(TextDecoder, ANumberThatIsNoCodePageIsTheWesternOne) {
  EXPECT_EQ(decode(0, "\xD6"), "Ö");
  EXPECT_EQ(decode(437, "\xD6"), "Ö");
}

}  // namespace

}  // namespace pelto::collector
