#include "survey/PropertyList.h"

#include <gtest/gtest.h>

namespace {

using Names = std::vector<std::wstring>;

TEST(SplitPropertyList, SplitsAtSemicolonsAndLineFeedsOnly) {
  const struct {
    const wchar_t* list;
    Names names;
  } cases[] = {
      {L"Name", {L"Name"}},
      {L"Caption;Version\nOSArchitecture;Locale",
       {L"Caption", L"Version", L"OSArchitecture", L"Locale"}},
      {L"b;DeviceId;a;deviceid;b", {L"b", L"DeviceId", L"a", L"deviceid", L"b"}},
      {L" Name;Name ;Na me; ;\t;x\r\ny,z",
       {L" Name", L"Name ", L"Na me", L" ", L"\t", L"x\r", L"y,z"}},
  };
  for (const auto& [list, names] : cases) {
    EXPECT_EQ(SplitPropertyList(list), names) << testing::PrintToString(list);
  }
}

TEST(SplitPropertyList, EmptyPiecesAreSkipped) {
  for (const wchar_t* const list : {L"", L";", L"\n", L";;", L";\n;\n\n;"}) {
    EXPECT_EQ(SplitPropertyList(list), Names{}) << testing::PrintToString(list);
  }
  for (const wchar_t* const list : {L"a;b;", L"a;b\n", L";a;b", L"\na;b", L"a;;b", L"a;\n\n;b;;"}) {
    EXPECT_EQ(SplitPropertyList(list), (Names{L"a", L"b"})) << testing::PrintToString(list);
  }
}

}  // namespace
