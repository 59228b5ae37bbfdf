#include "usage/EventCounter.h"

#include <gtest/gtest.h>

namespace {

struct Fixture {
  CommandStats commands;
  FileTypeStats fileTypes;
  CEventCounter counter{commands, fileTypes};
};

TEST(EventCounter, CountsCommandsUnderTheirWideNames) {
  Fixture f;
  for (const char* name : {"Line", "\xC4nderung", "Line"}) {
    f.counter.Count({UsageEventKind::Command, name, {}});
  }
  ASSERT_EQ(f.commands.GetEntries().size(), 2U);
  EXPECT_EQ(f.commands.GetEntries().at(L"Line").count, 2U);
  EXPECT_EQ(f.commands.GetEntries().at(L"Line").order, 1U);
  EXPECT_EQ(f.commands.GetEntries().at(L"\u00C4nderung").count, 1U);
  EXPECT_TRUE(f.fileTypes.GetEntries().empty());
}

TEST(EventCounter, AnEmptyCommandNameIsNotCounted) {
  Fixture f;
  for (int i = 0; i < 3; ++i) f.counter.Count({UsageEventKind::Command, "", {}});
  EXPECT_TRUE(f.commands.GetEntries().empty());
  EXPECT_EQ(f.commands.GetLastOrder(), 0U);
}

TEST(EventCounter, TheFilterHoldsTheEmptyTextOfDocumentEventsToo) {
  Fixture f;
  for (const auto kind : {UsageEventKind::OpenDocument, UsageEventKind::SaveDocument}) {
    f.counter.Count({kind, "", ".dwg"});
  }
  EXPECT_TRUE(f.fileTypes.GetEntries().empty());
}

TEST(EventCounter, ABlankCommandNameIsCounted) {
  Fixture f;
  f.counter.Count({UsageEventKind::Command, " ", {}});
  EXPECT_EQ(f.commands.GetEntries().at(L" ").count, 1U);
}

TEST(EventCounter, CountsDocumentsUnderTheirFileTypes) {
  Fixture f;
  f.counter.Count({UsageEventKind::OpenDocument, "OnOpenDocument", ".dwg"});
  f.counter.Count({UsageEventKind::SaveDocument, "OnSaveDocument", ".dwg"});
  f.counter.Count({UsageEventKind::OpenDocument, "OnOpenDocument", ".dwg"});
  f.counter.Count({UsageEventKind::SaveDocument, "OnSaveDocument", ""});
  ASSERT_EQ(f.fileTypes.GetEntries().size(), 2U);
  EXPECT_EQ(f.fileTypes.GetEntries().at(L".dwg").ocnt, 2U);
  EXPECT_EQ(f.fileTypes.GetEntries().at(L".dwg").scnt, 1U);
  EXPECT_EQ(f.fileTypes.GetEntries().at(L"").scnt, 1U);
  EXPECT_TRUE(f.commands.GetEntries().empty());
}

TEST(EventCounter, CountsOnFromWhatIsLoaded) {
  Fixture f;
  f.commands.Merge({7, {UsageEventKind::Command, L"Tool", {}}, 0});
  f.fileTypes.Merge({3, 4, L".dwg"});
  for (int i = 0; i < 2; ++i) {
    f.counter.Count({UsageEventKind::Command, "Tool", {}});
    f.counter.Count({UsageEventKind::SaveDocument, "OnSaveDocument", ".dwg"});
  }
  EXPECT_EQ(f.commands.GetEntries().at(L"Tool").count, 9U);
  EXPECT_EQ(f.commands.GetEntries().at(L"Tool").order, 1U);
  EXPECT_EQ(f.fileTypes.GetEntries().at(L".dwg").ocnt, 3U);
  EXPECT_EQ(f.fileTypes.GetEntries().at(L".dwg").scnt, 6U);
}

}  // namespace
