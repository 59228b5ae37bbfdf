#include "usage/FileTypeStats.h"

#include <gtest/gtest.h>

namespace {

UsageEvent Document(UsageEventKind kind, const std::wstring& fileType) {
  return {kind, L"OnOpenDocument", {{FileTypeAttribute, fileType}}};
}

TEST(FileTypeStats, CountsOpenedAndSavedApart) {
  FileTypeStats stats;
  stats.Count(Document(UsageEventKind::OpenDocument, L".dwg"));
  stats.Count(Document(UsageEventKind::SaveDocument, L".dwg"));
  stats.Count(Document(UsageEventKind::OpenDocument, L".dwg"));
  stats.Count(Document(UsageEventKind::SaveDocument, L".pdf"));
  ASSERT_EQ(stats.GetEntries().size(), 2U);
  EXPECT_EQ(stats.GetEntries().at(L".dwg").ocnt, 2U);
  EXPECT_EQ(stats.GetEntries().at(L".dwg").scnt, 1U);
  EXPECT_EQ(stats.GetEntries().at(L".dwg").name, L".dwg");
  EXPECT_EQ(stats.GetEntries().at(L".pdf").ocnt, 0U);
  EXPECT_EQ(stats.GetEntries().at(L".pdf").scnt, 1U);
}

TEST(FileTypeStats, AnEmptyFileTypeIsAType) {
  FileTypeStats stats;
  stats.Count(Document(UsageEventKind::OpenDocument, L""));
  EXPECT_EQ(stats.GetEntries().at(L"").ocnt, 1U);
}

TEST(FileTypeStats, TypesThatDifferInCaseAreDifferentTypes) {
  FileTypeStats stats;
  stats.Count(Document(UsageEventKind::OpenDocument, L".dwg"));
  stats.Count(Document(UsageEventKind::OpenDocument, L".DWG"));
  EXPECT_EQ(stats.GetEntries().size(), 2U);
}

TEST(FileTypeStats, EventsWithoutAFileTypeAreIgnored) {
  FileTypeStats stats;
  EXPECT_EQ(stats.Count({UsageEventKind::OpenDocument, L"OnOpenDocument", {}}), nullptr);
  EXPECT_TRUE(stats.GetEntries().empty());
}

TEST(FileTypeStats, CommandsAreIgnored) {
  FileTypeStats stats;
  EXPECT_EQ(stats.Count(Document(UsageEventKind::Command, L".dwg")), nullptr);
  EXPECT_TRUE(stats.GetEntries().empty());
}

TEST(FileTypeStats, LoadedEntriesOfOneNameAreAddedUp) {
  FileTypeStats stats;
  stats.Merge({1, 2, L".dwg"});
  stats.Merge({10, 20, L".dwg"});
  EXPECT_EQ(stats.GetEntries().at(L".dwg").ocnt, 11U);
  EXPECT_EQ(stats.GetEntries().at(L".dwg").scnt, 22U);
  EXPECT_EQ(stats.GetEntries().at(L".dwg").name, L".dwg");
}

TEST(FileTypeStats, ALoadedEntryIsCountedOn) {
  FileTypeStats stats;
  stats.Merge({5, 0, L".dwg"});
  FileTypeStat* const entry = stats.Count(Document(UsageEventKind::OpenDocument, L".dwg"));
  ASSERT_NE(entry, nullptr);
  FileTypeStats::CountAgain(*entry, UsageEventKind::SaveDocument);
  EXPECT_EQ(stats.GetEntries().at(L".dwg").ocnt, 6U);
  EXPECT_EQ(stats.GetEntries().at(L".dwg").scnt, 1U);
}

}  // namespace
