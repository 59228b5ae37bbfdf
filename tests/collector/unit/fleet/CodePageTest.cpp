#include "collector/fleet/CodePage.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace pelto::collector {
namespace {

TEST(CodePage, HasTheBytesThatWindowsHas) {
  EXPECT_EQ(encode_in_code_page("Öffnen", 1252),
            "\xD6"
            "ffnen");
  EXPECT_EQ(encode_in_code_page("Čára", 1250), "\xC8\xE1ra");
  EXPECT_EQ(encode_in_code_page("Линия", 1251), "\xCB\xE8\xED\xE8\xFF");
  EXPECT_EQ(encode_in_code_page("線", 932), "\x90\xFC");
  EXPECT_EQ(encode_in_code_page("线", 936), "\xCF\xDF");
}

TEST(CodePage, LeavesAsciiAsItIs) {
  EXPECT_EQ(encode_in_code_page("Line\n\"\\~", 932), "Line\n\"\\~");
  EXPECT_EQ(decode_from_code_page("Line\n\"\\~", 932), "Line\n\"\\~");
}

TEST(CodePage, WritesAQuestionMarkForACharacterThatItDoesNotHave) {
  EXPECT_EQ(encode_in_code_page("線 Ö", 1252), "? \xD6");
}

TEST(CodePage, ReadsBytesOfAnotherCodePageAsOtherLetters) {
  EXPECT_EQ(decode_from_code_page("\xCB\xE8\xED\xE8\xFF", 1252), "Ëèíèÿ");
}

TEST(CodePage, ReadsBytesThatAreNoCharacterAsTheReplacement) {
  // 1252 has no character 0x90, which Windows reads as a control character.
  EXPECT_EQ(decode_from_code_page("\x90\xFC", 1252), "\uFFFDü");
  EXPECT_EQ(decode_from_code_page("x\x81", 936), "x\uFFFD");
}

TEST(CodePage, MustBeKnown) {
  EXPECT_THROW(encode_in_code_page("Ö", 99), std::runtime_error);
  EXPECT_THROW(decode_from_code_page("\xD6", 99), std::runtime_error);
}

}  // namespace
}  // namespace pelto::collector
