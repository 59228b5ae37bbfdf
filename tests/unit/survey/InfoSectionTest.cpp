#include "survey/InfoSection.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace {

constexpr int ManySections = 100'000;
constexpr int ManyProperties = 1'000'000;

using Names = std::vector<std::wstring>;

Names PropertiesOf(InfoSection& section) {
  Names all;
  for (const InfoProperty* p = section.GetFirstProperty(); p != nullptr;
       p = section.GetNextProperty()) {
    all.push_back(p->name + L"=" + p->value);
  }
  return all;
}

Names ChildrenOf(InfoSection& section) {
  Names all;
  for (InfoSection* c = section.GetFirstChild(); c != nullptr; c = section.GetNextChild()) {
    all.push_back(c->GetName());
  }
  return all;
}

InfoSection& AddNewChild(InfoSection& parent, std::wstring_view name) {
  auto child = std::make_unique<InfoSection>(name);
  InfoSection& result = *child;
  parent.AddChild(std::move(child));
  return result;
}

TEST(InfoSection, IsEmptyAtFirst) {
  InfoSection section(L"OS");
  EXPECT_EQ(section.GetName(), L"OS");
  EXPECT_EQ(section.GetParent(), nullptr);
  EXPECT_EQ(section.GetNextRow(), nullptr);
  EXPECT_EQ(section.GetFirstProperty(), nullptr);
  EXPECT_EQ(section.GetNextProperty(), nullptr);
  EXPECT_EQ(section.GetFirstChild(), nullptr);
  EXPECT_EQ(section.GetNextChild(), nullptr);
  EXPECT_EQ(section.FindProperty(L""), nullptr);
}

TEST(InfoSection, NameMayBeEmpty) {
  EXPECT_EQ(InfoSection(L"").GetName(), L"");
}

TEST(InfoSection, NameOf49CharactersIsKept) {
  EXPECT_EQ(InfoSection(std::wstring(49, L'n')).GetName(), std::wstring(49, L'n'));
}

TEST(InfoSection, NameOf50CharactersLosesTheLast) {
  EXPECT_EQ(InfoSection(std::wstring(49, L'n') + L"x").GetName(), std::wstring(49, L'n'));
}

TEST(InfoSection, LongNameIsCutTo49Characters) {
  EXPECT_EQ(InfoSection(std::wstring(49, L'n') + std::wstring(100'000, L'x')).GetName(),
            std::wstring(49, L'n'));
}

TEST(InfoSection, NameIsItsOwn) {
  std::wstring name = L"OS";
  const InfoSection section(name);
  name[0] = L'X';
  EXPECT_EQ(section.GetName(), L"OS");
}

TEST(InfoSection, PropertiesKeepTheirOrder) {
  InfoSection section(L"OS");
  section.AddProperty(L"Version", L"6.1");
  section.AddProperty(L"Caption", L"Seven");
  section.AddProperty(L"", L"");
  section.AddProperty(L"Locale", L"0409");
  EXPECT_EQ(PropertiesOf(section), (Names{L"Version=6.1", L"Caption=Seven", L"=", L"Locale=0409"}));
}

TEST(InfoSection, PropertiesAreItsOwn) {
  InfoSection section(L"OS");
  std::wstring name = L"Version";
  std::wstring value = L"6.1";
  section.AddProperty(name, value);
  name[0] = L'X';
  value[0] = L'X';
  EXPECT_EQ(PropertiesOf(section), Names{L"Version=6.1"});
}

TEST(InfoSection, DuplicatesAreKeptAndTheFirstIsFound) {
  InfoSection section(L"OS");
  section.AddProperty(L"Version", L"1");
  section.AddProperty(L"Other", L"2");
  section.AddProperty(L"Version", L"3");
  EXPECT_EQ(PropertiesOf(section), (Names{L"Version=1", L"Other=2", L"Version=3"}));
  const InfoProperty* const found = section.FindProperty(L"Version");
  ASSERT_NE(found, nullptr);
  EXPECT_EQ(found->value, L"1");
}

TEST(InfoSection, PropertyIsFoundByItsExactNameOnly) {
  InfoSection section(L"Adapters");
  section.AddProperty(L"DeviceID", L"7");
  EXPECT_NE(section.FindProperty(L"DeviceID"), nullptr);
  for (const wchar_t* const name :
       {L"DeviceId", L"deviceid", L"Device", L"DeviceID ", L" DeviceID", L""}) {
    EXPECT_EQ(section.FindProperty(name), nullptr) << testing::PrintToString(name);
  }
}

TEST(InfoSection, FindingDoesNotMoveTheCursor) {
  InfoSection section(L"OS");
  section.AddProperty(L"a", L"1");
  section.AddProperty(L"b", L"2");
  section.GetFirstProperty();
  section.FindProperty(L"b");
  EXPECT_EQ(section.GetNextProperty()->name, L"b");
}

TEST(InfoSection, CursorStaysAtTheEndUntilItIsRestarted) {
  InfoSection section(L"OS");
  section.AddProperty(L"a", L"1");
  AddNewChild(section, L"child");
  EXPECT_NE(section.GetFirstProperty(), nullptr);
  EXPECT_NE(section.GetFirstChild(), nullptr);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(section.GetNextProperty(), nullptr);
    EXPECT_EQ(section.GetNextChild(), nullptr);
  }
  EXPECT_EQ(section.GetFirstProperty()->name, L"a");
  EXPECT_EQ(section.GetFirstChild()->GetName(), L"child");
}

TEST(InfoSection, CursorThatWasNotStartedBeginsWithTheFirst) {
  InfoSection section(L"OS");
  section.AddProperty(L"a", L"1");
  AddNewChild(section, L"child");
  EXPECT_EQ(section.GetNextProperty()->name, L"a");
  EXPECT_EQ(section.GetNextChild()->GetName(), L"child");
}

TEST(InfoSection, CursorSeesWhatIsAddedWhileItStandsAtTheEnd) {
  InfoSection section(L"OS");
  section.AddProperty(L"a", L"1");
  AddNewChild(section, L"one");
  EXPECT_EQ(PropertiesOf(section), Names{L"a=1"});
  EXPECT_EQ(ChildrenOf(section), Names{L"one"});
  section.AddProperty(L"b", L"2");
  AddNewChild(section, L"two");
  EXPECT_EQ(section.GetNextProperty()->name, L"b");
  EXPECT_EQ(section.GetNextChild()->GetName(), L"two");
}

TEST(InfoSection, NextRowIsMadeOnceAndHasTheSameName) {
  InfoSection section(L"Adapters");
  section.AddProperty(L"a", L"1");
  InfoSection& row = section.GetOrAddNextRow();
  EXPECT_EQ(row.GetName(), L"Adapters");
  EXPECT_EQ(row.GetParent(), nullptr);
  EXPECT_EQ(PropertiesOf(row), Names{});
  EXPECT_EQ(&section.GetOrAddNextRow(), &row);
  EXPECT_EQ(section.GetNextRow(), &row);
  EXPECT_EQ(row.GetNextRow(), nullptr);
}

TEST(InfoSection, RowsBehindACutNameHaveTheCutName) {
  InfoSection section(std::wstring(60, L'n'));
  EXPECT_EQ(section.GetOrAddNextRow().GetName(), std::wstring(49, L'n'));
}

TEST(InfoSection, RowBehindAChildHasNoParent) {
  InfoSection root(L"root");
  EXPECT_EQ(AddNewChild(root, L"child").GetOrAddNextRow().GetParent(), nullptr);
}

TEST(InfoSection, ChildrenKeepTheirOrderAndKnowTheirParent) {
  InfoSection root(L"root");
  const InfoSection& b = AddNewChild(root, L"b");
  AddNewChild(root, L"a");
  AddNewChild(root, L"b");
  EXPECT_EQ(ChildrenOf(root), (Names{L"b", L"a", L"b"}));
  EXPECT_EQ(b.GetParent(), &root);
}

TEST(InfoSection, ChildIsTakenFromTheCaller) {
  InfoSection root(L"root");
  auto child = std::make_unique<InfoSection>(L"child");
  root.AddChild(std::move(child));
  EXPECT_EQ(child, nullptr);
}

TEST(InfoSection, NullChildIsIgnored) {
  InfoSection root(L"root");
  root.AddChild(nullptr);
  EXPECT_EQ(root.GetFirstChild(), nullptr);
}

TEST(InfoSection, ChildOfAnotherSectionIsIgnoredAndStaysWithTheCaller) {
  InfoSection first(L"first");
  InfoSection second(L"second");
  InfoSection& child = AddNewChild(first, L"child");
  std::unique_ptr<InfoSection> again(&child);
  second.AddChild(std::move(again));
  EXPECT_EQ(again.get(), &child);
  EXPECT_EQ(child.GetParent(), &first);
  EXPECT_EQ(second.GetFirstChild(), nullptr);
  EXPECT_EQ(ChildrenOf(first), Names{L"child"});
  // `first` owns it.
  EXPECT_EQ(again.release(), &child);
}

// Each would exhaust the stack if it were freed by recursion.

TEST(InfoSection, ManyPropertiesAreFreed) {
  InfoSection section(L"OS");
  // More than of the others: little goes on the stack for each.
  for (int i = 0; i < ManyProperties; ++i) section.AddProperty(L"", L"");
  EXPECT_EQ(PropertiesOf(section).size(), std::size_t{ManyProperties});
}

TEST(InfoSection, ManyRowsAreFreed) {
  InfoSection first(L"rows");
  InfoSection* row = &first;
  for (int i = 0; i < ManySections; ++i) {
    row = &row->GetOrAddNextRow();
    row->AddProperty(L"name", L"value");
  }
  int count = 0;
  for (const InfoSection* r = &first; r != nullptr; r = r->GetNextRow()) ++count;
  EXPECT_EQ(count, ManySections + 1);
}

TEST(InfoSection, ManyRowsWithAChildEachAreFreed) {
  InfoSection first(L"rows");
  InfoSection* row = &first;
  for (int i = 0; i < ManySections; ++i) {
    AddNewChild(*row, L"child").GetOrAddNextRow();
    row = &row->GetOrAddNextRow();
  }
  EXPECT_EQ(row->GetFirstChild(), nullptr);
}

TEST(InfoSection, ManyChildrenAreFreed) {
  InfoSection root(L"root");
  for (int i = 0; i < ManySections; ++i) AddNewChild(root, L"child").GetOrAddNextRow();
  EXPECT_EQ(ChildrenOf(root).size(), std::size_t{ManySections});
}

TEST(InfoSection, ManyLevelsAreFreed) {
  InfoSection root(L"root");
  InfoSection* section = &root;
  for (int i = 0; i < ManySections; ++i) section = &AddNewChild(*section, L"child");
  EXPECT_EQ(section->GetFirstChild(), nullptr);
}

TEST(InfoSection, ManyLevelsUnderRowsAreFreed) {
  InfoSection root(L"root");
  InfoSection* section = &root;
  for (int i = 0; i < ManySections; ++i) {
    section = &AddNewChild(section->GetOrAddNextRow(), L"child");
    AddNewChild(*section, L"first").GetOrAddNextRow().AddProperty(L"name", L"value");
    AddNewChild(*section, L"second");
  }
  EXPECT_EQ(section->GetNextRow(), nullptr);
}

}  // namespace
