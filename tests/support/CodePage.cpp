#include "tests/support/CodePage.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <iterator>

#include "platform/WindowsHeader.h"

namespace {

// Some characters of the double-byte code pages have an ASCII byte as their second half: a
// backslash, a bracket or an at sign.
constexpr CodePageText Texts[] = {
    {1252, L"\u00C4nderung \u20AC \u0178", "\xC4nderung \x80 \x9F", "?"},
    {932, L"\u8868\u793A \u30BD\u30FC", "\x95\x5C\x8E\xA6 \x83\x5C\x81\x5B", "?"},
    {936, L"\u4E02\u6587 \u8A0E \u20AC", "\x81\x40\xCE\xC4 \xD3\x91 \x80", "?"},
    {1251, L"\u0424\u0430\u0439\u043B \u20AC", "\xD4\xE0\xE9\xEB \x88", "?"},
    {65001, L"\u00C4\u20AC\u65E5\U0001F600", "\xC3\x84\xE2\x82\xAC\xE6\x97\xA5\xF0\x9F\x98\x80",
     "\xED\x95\x9C"},
};

}  // namespace

const CodePageText& GetCodePageText() {
  const char* const expected = std::getenv("PELTO_TEST_CODE_PAGE");
  EXPECT_EQ(std::to_string(GetACP()), expected == nullptr ? "1252" : expected);
  const auto* const found = std::ranges::find(Texts, GetACP(), &CodePageText::codePage);
  if (found == std::end(Texts)) {
    ADD_FAILURE() << "no text for code page " << GetACP();
    return Texts[0];
  }
  return *found;
}

bool IsDoubleByteCodePage() {
  const unsigned codePage = GetCodePageText().codePage;
  return codePage == 932 || codePage == 936;
}
