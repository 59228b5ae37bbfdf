#include "collector/intake/Base64Text.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "upload/Base64.h"

namespace pelto::collector {

namespace {

// RFC 4648, section 10.
TEST(Base64Text, DecodesTheStandardsExamples) {
  EXPECT_EQ(decode_base64(""), "");
  EXPECT_EQ(decode_base64("Zg=="), "f");
  EXPECT_EQ(decode_base64("Zm8="), "fo");
  EXPECT_EQ(decode_base64("Zm9v"), "foo");
  EXPECT_EQ(decode_base64("Zm9vYg=="), "foob");
  EXPECT_EQ(decode_base64("Zm9vYmE="), "fooba");
  EXPECT_EQ(decode_base64("Zm9vYmFy"), "foobar");
}

TEST(Base64Text, DecodesWhatTheSenderEncodes) {
  std::mt19937 random(1);
  for (std::size_t length = 0; length < 300; ++length) {
    std::string bytes;
    for (std::size_t i = 0; i < length; ++i) bytes += static_cast<char>(random() & 0xFFU);
    EXPECT_EQ(decode_base64(Base64Encode(bytes, 0, '\0')), bytes) << length;
  }
}

TEST(Base64Text, TakesEachCharacterOfTheAlphabetAndNoOther) {
  const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  for (int byte = 0; byte < 256; ++byte) {
    const char c = static_cast<char>(byte);
    const bool is_in_alphabet = alphabet.find(c) != std::string::npos;
    for (std::size_t at = 0; at < 8; ++at) {
      std::string text = "AAAAAAAA";
      text[at] = c;
      // Padding is a matter of the last character.
      const bool is_padding = c == '=' && at == 7;
      EXPECT_EQ(decode_base64(text).has_value(), is_in_alphabet || is_padding)
          << byte << " at " << at;
    }
  }
}

TEST(Base64Text, NeedsItsPadding) {
  for (const char* text : {"Zg", "Zg=", "Zm8", "Zm9vY", "Z", "=", "==", "===", "====", "Z===",
                           "Zm9v=", "Zm9v====", "Zg==Zg==", "Zg=A", "Zm8=Zm8="}) {
    EXPECT_FALSE(decode_base64(text)) << text;
  }
}

TEST(Base64Text, TakesNoLineBreakAndNoSpace) {
  for (const char* text :
       {"Zm9v\r\nYmFy", "Zm9v\n", " Zm9v", "Zm9v ", "Zm 9v", "Zm9vYm\nFy\n\n\n"}) {
    EXPECT_FALSE(decode_base64(text)) << text;
  }
}

TEST(Base64Text, BitsThatAreLeftOverAreZero) {
  const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  int one_byte = 0;
  int two_bytes = 0;
  for (const char c : alphabet) {
    if (decode_base64(std::string("A") + c + "==")) ++one_byte;
    if (decode_base64(std::string("AA") + c + "=")) ++two_bytes;
  }
  EXPECT_EQ(one_byte, 4);
  EXPECT_EQ(two_bytes, 16);
}

}  // namespace

}  // namespace pelto::collector
