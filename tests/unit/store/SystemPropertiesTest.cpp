#include "store/SystemProperties.h"

#include <gtest/gtest.h>

namespace {

TEST(SystemProperties, AreOrderedByNameFollowedByCategory) {
  SystemProperties properties;
  properties[{L"Name", L"Video Card"}] = L"1";
  properties[{L"Name", L"Processor"}] = L"2";
  properties[{L"Caption", L"OS"}] = L"3";
  properties[{L"NumberOfCores", L"Processor"}] = L"4";
  std::wstring order;
  for (const auto& [key, value] : properties) order += value;
  EXPECT_EQ(order, L"3214");
}

TEST(SystemProperties, TheJoinedTextDecidesNotTheNameAlone) {
  SystemProperties properties;
  properties[{L"a", L"z"}] = L"az";
  properties[{L"ab", L"a"}] = L"aba";
  EXPECT_EQ(properties.begin()->second, L"aba");
}

TEST(SystemProperties, KeysOfOneJoinedTextAreKeptApart) {
  SystemProperties properties;
  properties[{L"ab", L"c"}] = L"1";
  properties[{L"a", L"bc"}] = L"2";
  ASSERT_EQ(properties.size(), 2U);
  EXPECT_EQ(properties.begin()->second, L"2");
}

TEST(SystemProperties, LetterCaseMatters) {
  SystemProperties properties;
  properties[{L"name", L"OS"}] = L"1";
  properties[{L"Name", L"OS"}] = L"2";
  EXPECT_EQ(properties.size(), 2U);
}

}  // namespace
