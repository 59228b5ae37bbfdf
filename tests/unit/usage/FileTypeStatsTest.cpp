#include "usage/FileTypeStats.h"

#include <gtest/gtest.h>

#include "tests/support/StatsText.h"

namespace {

constexpr UsageEventKind Open = UsageEventKind::OpenDocument;
constexpr UsageEventKind Save = UsageEventKind::SaveDocument;

UsageEvent Document(UsageEventKind kind, const std::wstring& fileType) {
  return {kind, L"OnOpenDocument", {{FileTypeAttribute, fileType}}};
}

TEST(FileTypeStats, CountsOpenedAndSavedApart) {
  FileTypeStats stats;
  for (const auto& event :
       {Document(Open, L".dwg"), Document(Save, L".dwg"), Document(Open, L".dwg"),
        Document(Save, L".pdf"), Document(Open, L""), Document(Open, L".DWG")}) {
    EXPECT_NE(stats.Count(event), nullptr);
  }
  EXPECT_EQ(FormatFileTypes(stats), L" 1 0;.DWG 1 0;.dwg 2 1;.pdf 0 1;");
}

TEST(FileTypeStats, OtherEventsAreIgnored) {
  FileTypeStats stats;
  EXPECT_EQ(stats.Count({Open, L"OnOpenDocument", {}}), nullptr) << "without a file type";
  EXPECT_EQ(stats.Count(Document(UsageEventKind::Command, L".dwg")), nullptr);
  EXPECT_EQ(FormatFileTypes(stats), L"");
}

TEST(FileTypeStats, LoadedEntriesOfOneNameAreAddedUp) {
  FileTypeStats stats;
  stats.Merge({1, 2, L".dwg"});
  stats.Merge({10, 20, L".dwg"});
  EXPECT_EQ(FormatFileTypes(stats), L".dwg 11 22;");
}

TEST(FileTypeStats, ALoadedEntryIsCountedOn) {
  FileTypeStats stats;
  stats.Merge({5, 0, L".dwg"});
  FileTypeStat* const entry = stats.Count(Document(Open, L".dwg"));
  ASSERT_NE(entry, nullptr);
  FileTypeStats::CountAgain(*entry, Save);
  EXPECT_EQ(FormatFileTypes(stats), L".dwg 6 1;");
}

}  // namespace
