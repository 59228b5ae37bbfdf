#include "usage/CommandStats.h"

#include <gtest/gtest.h>

namespace {

UsageEvent Command(const std::wstring& name) {
  return {UsageEventKind::Command, name, {}};
}

CommandStat Loaded(const std::wstring& name, std::uint32_t order, std::uint64_t count) {
  return {count, Command(name), order};
}

TEST(CommandStats, FirstUseGivesOrderOneAndCountOne) {
  CommandStats stats;
  stats.Count(Command(L"Line"));
  ASSERT_EQ(stats.GetEntries().size(), 1U);
  const CommandStat& line = stats.GetEntries().at(L"Line");
  EXPECT_EQ(line.count, 1U);
  EXPECT_EQ(line.order, 1U);
  EXPECT_EQ(line.event.kind, UsageEventKind::Command);
  EXPECT_EQ(line.event.text, L"Line");
  EXPECT_EQ(stats.GetLastOrder(), 1U);
}

TEST(CommandStats, OrderFollowsFirstUseAndIsKept) {
  CommandStats stats;
  for (const wchar_t* name : {L"Zoom", L"Arc", L"Zoom", L"Line", L"Arc"}) {
    stats.Count(Command(name));
  }
  EXPECT_EQ(stats.GetEntries().at(L"Zoom").order, 1U);
  EXPECT_EQ(stats.GetEntries().at(L"Arc").order, 2U);
  EXPECT_EQ(stats.GetEntries().at(L"Line").order, 3U);
  EXPECT_EQ(stats.GetEntries().at(L"Zoom").count, 2U);
}

TEST(CommandStats, OtherKindsAreIgnored) {
  CommandStats stats;
  EXPECT_EQ(stats.Count({UsageEventKind::OpenDocument, L"Line", {}}), nullptr);
  EXPECT_EQ(stats.Count({UsageEventKind::SaveDocument, L"Line", {}}), nullptr);
  EXPECT_TRUE(stats.GetEntries().empty());
  EXPECT_EQ(stats.GetLastOrder(), 0U);
}

TEST(CommandStats, NamesThatDifferInCaseOrBlanksAreDifferentCommands) {
  CommandStats stats;
  for (const wchar_t* name : {L"line", L"Line", L" Line", L"Line "}) stats.Count(Command(name));
  EXPECT_EQ(stats.GetEntries().size(), 4U);
}

TEST(CommandStats, AreKeptInTheOrderOfTheirCodeUnits) {
  CommandStats stats;
  for (const wchar_t* name : {L"b", L"\u00E4", L"B", L"a", L"\u20AC", L""}) {
    stats.Count(Command(name));
  }
  std::wstring names;
  for (const auto& [name, stat] : stats.GetEntries()) names += name + L"|";
  EXPECT_EQ(names, L"|B|a|b|\u00E4|\u20AC|");
}

TEST(CommandStats, ALoadedOrderRaisesTheLastOrder) {
  CommandStats stats;
  stats.Merge(Loaded(L"Line", 7, 3));
  EXPECT_EQ(stats.GetLastOrder(), 7U);
  stats.Count(Command(L"Arc"));
  EXPECT_EQ(stats.GetEntries().at(L"Arc").order, 8U);
}

TEST(CommandStats, ALowerLoadedOrderLeavesTheLastOrder) {
  CommandStats stats;
  stats.Merge(Loaded(L"Line", 7, 1));
  stats.Merge(Loaded(L"Arc", 3, 1));
  EXPECT_EQ(stats.GetLastOrder(), 7U);
  EXPECT_EQ(stats.GetEntries().at(L"Arc").order, 3U);
}

TEST(CommandStats, OfTwoLoadedEntriesOfOneNameTheFirstIsKept) {
  CommandStats stats;
  stats.Merge(Loaded(L"Line", 2, 5));
  stats.Merge(Loaded(L"Line", 9, 100));
  EXPECT_EQ(stats.GetEntries().at(L"Line").count, 5U);
  EXPECT_EQ(stats.GetEntries().at(L"Line").order, 2U);
  EXPECT_EQ(stats.GetLastOrder(), 2U) << "a dropped entry counts for nothing";
}

TEST(CommandStats, ALoadedEntryIsCountedOn) {
  CommandStats stats;
  stats.Merge(Loaded(L"Line", 2, 5));
  stats.Count(Command(L"Line"));
  EXPECT_EQ(stats.GetEntries().at(L"Line").count, 6U);
  EXPECT_EQ(stats.GetEntries().at(L"Line").order, 2U);
}

TEST(CommandStats, AnEntryWithoutAPlaceGetsOneOnItsFirstUse) {
  CommandStats stats;
  stats.Merge(Loaded(L"Line", 4, 1));
  stats.Merge(Loaded(L"Tool", 0, 10));
  EXPECT_EQ(stats.GetLastOrder(), 4U);
  stats.Count(Command(L"Tool"));
  EXPECT_EQ(stats.GetEntries().at(L"Tool").count, 11U);
  EXPECT_EQ(stats.GetEntries().at(L"Tool").order, 5U);
  stats.Count(Command(L"Tool"));
  EXPECT_EQ(stats.GetEntries().at(L"Tool").order, 5U);
}

TEST(CommandStats, TheOrderWrapsAroundAt32Bits) {
  CommandStats stats;
  stats.Merge(Loaded(L"Last", 4294967295U, 1));
  stats.Count(Command(L"New"));
  EXPECT_EQ(stats.GetEntries().at(L"New").order, 0U);
  stats.Count(Command(L"New"));
  EXPECT_EQ(stats.GetEntries().at(L"New").order, 1U) << "without a place it gets the next one";
}

TEST(CommandStats, CountingAnEntryAgainIsCountingItsEvent) {
  CommandStats stats;
  stats.Merge(Loaded(L"Tool", 0, 10));
  CommandStat* const entry = stats.Count(Command(L"Tool"));
  ASSERT_NE(entry, nullptr);
  stats.Count(Command(L"Another"));
  stats.CountAgain(*entry);
  EXPECT_EQ(stats.GetEntries().at(L"Tool").count, 12U);
  EXPECT_EQ(stats.GetEntries().at(L"Tool").order, 1U);
}

TEST(CommandStats, CountingAnEntryAgainGivesItThePlaceThatItLacks) {
  CommandStats stats;
  stats.Merge(Loaded(L"Last", 4294967295U, 1));
  CommandStat* const entry = stats.Count(Command(L"New"));
  ASSERT_EQ(entry->order, 0U);
  stats.CountAgain(*entry);
  EXPECT_EQ(entry->order, 1U);
}

}  // namespace
