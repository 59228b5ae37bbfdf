#include "survey/PropertyList.h"

#include <gtest/gtest.h>

namespace {

using Names = std::vector<std::wstring>;

TEST(SplitPropertyList, SeparatesAtSemicolonsAndLineFeeds) {
  EXPECT_EQ(SplitPropertyList(L"Caption;Version\nOSArchitecture;Locale"),
            (Names{L"Caption", L"Version", L"OSArchitecture", L"Locale"}));
}

TEST(SplitPropertyList, OneNameIsAList) {
  EXPECT_EQ(SplitPropertyList(L"Name"), Names{L"Name"});
}

TEST(SplitPropertyList, EmptyListHasNoNames) {
  EXPECT_EQ(SplitPropertyList(L""), Names{});
}

TEST(SplitPropertyList, SeparatorsAloneHaveNoNames) {
  for (const wchar_t* const list : {L";", L"\n", L";;", L";\n;\n\n;"}) {
    EXPECT_EQ(SplitPropertyList(list), Names{}) << testing::PrintToString(list);
  }
}

TEST(SplitPropertyList, SeparatorsAtTheEndsAndSeveralInARowAddNothing) {
  for (const wchar_t* const list : {L"a;b;", L"a;b\n", L";a;b", L"\na;b", L"a;;b", L"a;\n\n;b;;"}) {
    EXPECT_EQ(SplitPropertyList(list), (Names{L"a", L"b"})) << testing::PrintToString(list);
  }
}

TEST(SplitPropertyList, BlanksBelongToTheNames) {
  EXPECT_EQ(SplitPropertyList(L" Name;Name ;Na me; ;\t;x\r\ny,z"),
            (Names{L" Name", L"Name ", L"Na me", L" ", L"\t", L"x\r", L"y,z"}));
}

TEST(SplitPropertyList, NamesKeepTheirSpellingOrderAndRepetition) {
  EXPECT_EQ(SplitPropertyList(L"b;DeviceId;a;deviceid;b"),
            (Names{L"b", L"DeviceId", L"a", L"deviceid", L"b"}));
}

}  // namespace
