#include "platform/AnsiText.h"

#include <gtest/gtest.h>

namespace {

TEST(AnsiText, AllBytesMakeTheRoundTrip) {
  std::string bytes;
  for (int byte = 0; byte <= 0xFF; ++byte) bytes += static_cast<char>(byte);
  const std::wstring text = ToWide(bytes);
  ASSERT_EQ(text.size(), bytes.size());
  EXPECT_EQ(ToAnsi(text), bytes);
}

TEST(AnsiText, IsReadInTheCodePage) {
  EXPECT_EQ(ToWide("\x80 \xE4 \x9F"), L"\u20AC \u00E4 \u0178");
  EXPECT_EQ(ToAnsi(L"\u20AC \u00E4 \u0178"), "\x80 \xE4 \x9F");
}

TEST(AnsiText, KeepsNulBytes) {
  EXPECT_EQ(ToWide(std::string_view("a\0b", 3)), std::wstring(L"a\0b", 3));
  EXPECT_EQ(ToAnsi(std::wstring_view(L"a\0b", 3)), std::string("a\0b", 3));
}

TEST(AnsiText, EmptyStaysEmpty) {
  EXPECT_EQ(ToWide(""), L"");
  EXPECT_EQ(ToAnsi(L""), "");
}

TEST(AnsiText, CharactersOutsideTheCodePageTakeTheDefaultCharacter) {
  EXPECT_EQ(ToAnsi(L"a\u65E5b"), "a?b");
}

}  // namespace
