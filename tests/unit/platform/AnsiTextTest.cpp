#include "platform/AnsiText.h"

#include <gtest/gtest.h>

#include "tests/support/CodePage.h"

namespace {

TEST(AnsiText, AllBytesOfASingleByteCodePageMakeTheRoundTrip) {
  std::string bytes;
  for (int byte = 0; byte <= 0xFF; ++byte) bytes += static_cast<char>(byte);
  const std::wstring text = ToWide(bytes);
  ASSERT_EQ(text.size(), bytes.size());
  EXPECT_EQ(ToAnsi(text), bytes);
}

TEST(AnsiText, KeepsNulBytes) {
  EXPECT_EQ(ToWide(std::string_view("a\0b", 3)), std::wstring(L"a\0b", 3));
  EXPECT_EQ(ToAnsi(std::wstring_view(L"a\0b", 3)), std::string("a\0b", 3));
}

TEST(AnsiText, EmptyStaysEmpty) {
  EXPECT_EQ(ToWide(""), L"");
  EXPECT_EQ(ToAnsi(L""), "");
}

TEST(AnsiTextCodePage, IsConvertedInTheCodePageInForce) {
  const CodePageText& sample = GetCodePageText();
  EXPECT_EQ(ToWide(sample.bytes), sample.text);
  EXPECT_EQ(ToAnsi(sample.text), sample.bytes);
}

TEST(AnsiTextCodePage, CharactersOutsideTheCodePageTakeTheDefaultCharacter) {
  EXPECT_EQ(ToAnsi(L"a\uD55Cb"), std::string("a") + GetCodePageText().missing + "b");
}

}  // namespace
