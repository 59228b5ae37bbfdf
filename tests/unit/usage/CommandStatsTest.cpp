#include "usage/CommandStats.h"

#include <gtest/gtest.h>

#include "tests/support/StatsText.h"

namespace {

struct Fixture {
  CommandStats stats;

  CommandStat* Count(const std::wstring& name) {
    return stats.Count({UsageEventKind::Command, name, {}});
  }
  void Merge(const std::wstring& name, std::uint32_t order, std::uint64_t count) {
    stats.Merge({count, {UsageEventKind::Command, name, {}}, order});
  }
  std::wstring Text() const { return FormatCommands(stats); }
};

TEST(CommandStats, OrderFollowsFirstUseAndIsKept) {
  Fixture f;
  for (const wchar_t* name : {L"Zoom", L"Arc", L"Zoom", L"Line", L"Arc"}) f.Count(name);
  EXPECT_EQ(f.Text(), L"Arc 2 2;Line 3 1;Zoom 1 2;");
  EXPECT_EQ(f.stats.GetLastOrder(), 3U);
}

TEST(CommandStats, OtherKindsAreIgnored) {
  Fixture f;
  EXPECT_EQ(f.stats.Count({UsageEventKind::OpenDocument, L"Line", {}}), nullptr);
  EXPECT_EQ(f.stats.Count({UsageEventKind::SaveDocument, L"Line", {}}), nullptr);
  EXPECT_EQ(f.Text(), L"");
  EXPECT_EQ(f.stats.GetLastOrder(), 0U);
}

TEST(CommandStats, NamesAreComparedAndOrderedByTheirCodeUnits) {
  Fixture f;
  for (const wchar_t* name : {L"b", L"\u00E4", L"B", L" b", L"b ", L"\u20AC", L""}) f.Count(name);
  EXPECT_EQ(f.Text(), L" 7 1; b 4 1;B 3 1;b 1 1;b  5 1;\u00E4 2 1;\u20AC 6 1;");
}

TEST(CommandStats, OnlyAHigherLoadedOrderRaisesTheLastOrder) {
  Fixture f;
  f.Merge(L"Line", 7, 3);
  f.Merge(L"Arc", 3, 1);
  EXPECT_EQ(f.stats.GetLastOrder(), 7U);
  f.Count(L"New");
  EXPECT_EQ(f.Text(), L"Arc 3 1;Line 7 3;New 8 1;");
}

TEST(CommandStats, OfTwoLoadedEntriesOfOneNameTheFirstIsKept) {
  Fixture f;
  f.Merge(L"Line", 2, 5);
  f.Merge(L"Line", 9, 100);
  EXPECT_EQ(f.Text(), L"Line 2 5;");
  EXPECT_EQ(f.stats.GetLastOrder(), 2U) << "the order of a dropped entry does not count";
  f.Count(L"Line");
  EXPECT_EQ(f.Text(), L"Line 2 6;");
}

TEST(CommandStats, AnEntryWithoutAPlaceGetsOneOnItsFirstUse) {
  Fixture f;
  f.Merge(L"Line", 4, 1);
  f.Merge(L"Tool", 0, 10);
  EXPECT_EQ(f.stats.GetLastOrder(), 4U);
  f.Count(L"Tool");
  f.Count(L"Tool");
  EXPECT_EQ(f.Text(), L"Line 4 1;Tool 5 12;");
}

TEST(CommandStats, TheOrderWrapsAroundAt32Bits) {
  Fixture f;
  f.Merge(L"Last", 4294967295U, 1);
  f.Count(L"New");
  EXPECT_EQ(f.Text(), L"Last 4294967295 1;New 0 1;");
  f.Count(L"New");
  EXPECT_EQ(f.Text(), L"Last 4294967295 1;New 1 2;") << "without a place it gets the next one";
}

TEST(CommandStats, CountingAnEntryAgainIsLikeCountingItsEvent) {
  Fixture f;
  f.Merge(L"Last", 4294967295U, 1);
  CommandStat* const entry = f.Count(L"New");
  ASSERT_NE(entry, nullptr);
  f.stats.CountAgain(*entry);
  EXPECT_EQ(f.Text(), L"Last 4294967295 1;New 1 2;") << "it gets the place that it lacks";
  f.Count(L"Another");
  f.stats.CountAgain(*entry);
  EXPECT_EQ(f.Text(), L"Another 2 1;Last 4294967295 1;New 1 3;");
}

}  // namespace
