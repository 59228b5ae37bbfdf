#include "upload/AnsiConverter.h"

#include <gtest/gtest.h>

#include <vector>

#include "tests/support/CodePage.h"
#include "tests/unit/upload/SystemCalls.h"

namespace {

TEST(AnsiConverter, NullGivesNull) {
  CAnsiConverter converter;
  EXPECT_EQ(converter.ToAnsi(nullptr), nullptr);
}

TEST(AnsiConverter, FailedConversionGivesNull) {
  SystemCalls calls;
  calls.failedConversion = L"a";
  CAnsiConverter converter;
  EXPECT_EQ(converter.ToAnsi(L"a"), nullptr);
  EXPECT_STREQ(converter.ToAnsi(L"b"), "b");
}

TEST(AnsiConverter, GivesTheBytesOfTheCodePageAndItsDefaultForOtherCharacters) {
  CAnsiConverter converter;
  EXPECT_STREQ(converter.ToAnsi(L""), "");
  EXPECT_STREQ(converter.ToAnsi(L"a\u00C4\u00E9\u20AC\r\n\u0101"), "a\xC4\xE9\x80\r\na");
  EXPECT_STREQ(converter.ToAnsi(L"[\u4E2D]"), "[?]");
}

TEST(AnsiConverterCodePage, GivesTheBytesOfTheCodePageInForce) {
  const CodePageText& sample = GetCodePageText();
  CAnsiConverter converter;
  EXPECT_STREQ(converter.ToAnsi(sample.text), sample.bytes);
  EXPECT_STREQ(converter.ToAnsi(L"\uD55C"), sample.missing);
}

TEST(AnsiConverter, ResultsStayValidAsLongAsTheConverter) {
  CAnsiConverter converter;
  std::vector<const char*> texts;
  for (std::size_t i = 0; i < 1000; ++i) {
    // Short texts are stored in the string object, long ones outside.
    texts.push_back(converter.ToAnsi((std::to_wstring(i) + std::wstring(i % 40, L'x')).c_str()));
  }
  for (std::size_t i = 0; i < 1000; ++i) {
    EXPECT_EQ(texts[i], std::to_string(i) + std::string(i % 40, 'x'));
  }
}

TEST(AnsiConverter, SameTextIsConvertedToAnotherBufferEachTime) {
  CAnsiConverter converter;
  EXPECT_NE(converter.ToAnsi(L"a"), converter.ToAnsi(L"a"));
}

}  // namespace
