#include "upload/AnsiConverter.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

TEST(AnsiConverter, OfNullIsNull) {
  CAnsiConverter converter;
  EXPECT_EQ(converter.ToAnsi(nullptr), nullptr);
}

TEST(AnsiConverter, OfAnEmptyTextIsAnEmptyText) {
  CAnsiConverter converter;
  EXPECT_STREQ(converter.ToAnsi(L""), "");
}

TEST(AnsiConverter, GivesTheBytesOfTheCodePage) {
  CAnsiConverter converter;
  EXPECT_STREQ(converter.ToAnsi(L"a\u00C4\u00E9\u20AC\r\n\u0101"), "a\xC4\xE9\x80\r\na");
}

TEST(AnsiConverter, PutsItsDefaultForWhatTheCodePageDoesNotHold) {
  CAnsiConverter converter;
  EXPECT_STREQ(converter.ToAnsi(L"[\u4E2D]"), "[?]");
}

TEST(AnsiConverter, WhatItHandedOutStaysValidAsLongAsItLives) {
  CAnsiConverter converter;
  std::vector<const char*> texts;
  for (std::size_t i = 0; i < 1000; ++i) {
    // From texts that fit into a string object to those that do not.
    texts.push_back(converter.ToAnsi((std::to_wstring(i) + std::wstring(i % 40, L'x')).c_str()));
  }
  for (std::size_t i = 0; i < 1000; ++i) {
    EXPECT_EQ(texts[i], std::to_string(i) + std::string(i % 40, 'x'));
  }
}

TEST(AnsiConverter, ConvertsTheSameTextToAnotherPlaceEachTime) {
  CAnsiConverter converter;
  EXPECT_NE(converter.ToAnsi(L"a"), converter.ToAnsi(L"a"));
}

}  // namespace
