#include "usage/EventCounter.h"

#include <gtest/gtest.h>

#include "tests/support/StatsText.h"
#include "usage/EventTextFilter.h"

namespace {

struct Fixture {
  CommandStats commands;
  FileTypeStats fileTypes;
  CEventCounter counter{commands, fileTypes};

  void Expect(const std::wstring& expectedCommands, const std::wstring& expectedFileTypes) const {
    EXPECT_EQ(FormatCommands(commands), expectedCommands);
    EXPECT_EQ(FormatFileTypes(fileTypes), expectedFileTypes);
  }
};

TEST(EventCounter, CountsCommandsUnderTheirWideNames) {
  Fixture f;
  for (const char* name : {"Line", "\xC4nderung", "Line", " "}) {
    f.counter.Count({UsageEventKind::Command, name, {}});
  }
  f.Expect(L"  3 1;Line 1 2;\u00C4nderung 2 1;", L"");
}

TEST(EventCounter, EventsWithAnEmptyTextAreNotCounted) {
  Fixture f;
  for (int i = 0; i < 3; ++i) {
    f.counter.Count({UsageEventKind::Command, "", {}});
    f.counter.Count({UsageEventKind::OpenDocument, "", ".dwg"});
    f.counter.Count({UsageEventKind::SaveDocument, "", ".dwg"});
  }
  f.Expect(L"", L"");
  EXPECT_EQ(f.commands.GetLastOrder(), 0U);
  // Nor between others.
  for (const char* const text : {"OnOpenDocument", "", "OnOpenDocument"}) {
    f.counter.Count({UsageEventKind::OpenDocument, text, ".dwg"});
  }
  f.Expect(L"", L".dwg 2 0;");
}

// docs/compatibility.md, 26.
TEST(EventTextFilter, IsOneSetOfTheEmptyTextForTheWholeProcess) {
  const EventTextFilter& filter = EventTextFilter::GetInstance();
  EXPECT_EQ(&filter, &EventTextFilter::GetInstance());
  EXPECT_TRUE(filter.Contains(L""));
  EXPECT_FALSE(filter.Contains(L" "));
}

TEST(EventCounter, CountsDocumentsUnderTheirFileTypes) {
  Fixture f;
  f.counter.Count({UsageEventKind::OpenDocument, "OnOpenDocument", ".dwg"});
  f.counter.Count({UsageEventKind::SaveDocument, "OnSaveDocument", ".dwg"});
  f.counter.Count({UsageEventKind::OpenDocument, "OnOpenDocument", ".dwg"});
  f.counter.Count({UsageEventKind::SaveDocument, "OnSaveDocument", ""});
  f.Expect(L"", L" 0 1;.dwg 2 1;");
}

TEST(EventCounter, CountsOnFromWhatIsLoaded) {
  Fixture f;
  f.commands.Merge({7, {UsageEventKind::Command, L"Tool", {}}, 0});
  f.fileTypes.Merge({3, 4, L".dwg"});
  for (int i = 0; i < 2; ++i) {
    f.counter.Count({UsageEventKind::Command, "Tool", {}});
    f.counter.Count({UsageEventKind::SaveDocument, "OnSaveDocument", ".dwg"});
  }
  f.Expect(L"Tool 1 9;", L".dwg 3 6;");
}

TEST(EventCounter, ACommandWithoutAPlaceGetsOneWithItsNextUse) {
  Fixture f;
  f.commands.Merge({1, {UsageEventKind::Command, L"Last", {}}, 0xFFFF'FFFF});
  f.counter.Count({UsageEventKind::Command, "New", {}});
  f.Expect(L"Last 4294967295 1;New 0 1;", L"");
  f.counter.Count({UsageEventKind::Command, "New", {}});
  f.counter.Count({UsageEventKind::Command, "New", {}});
  f.Expect(L"Last 4294967295 1;New 1 3;", L"");
}

}  // namespace
