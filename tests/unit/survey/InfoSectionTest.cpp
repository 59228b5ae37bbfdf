#include "survey/InfoSection.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace {

using Texts = std::vector<std::wstring>;

Texts GetProperties(InfoSection& section) {
  Texts all;
  for (const InfoProperty* p = section.GetFirstProperty(); p != nullptr;
       p = section.GetNextProperty()) {
    all.push_back(p->name + L"=" + p->value);
  }
  return all;
}

Texts GetChildren(InfoSection& section) {
  Texts all;
  for (InfoSection* c = section.GetFirstChild(); c != nullptr; c = section.GetNextChild()) {
    all.push_back(c->GetName());
  }
  return all;
}

InfoSection& AddNewChild(InfoSection& parent, std::wstring_view name = L"child") {
  auto child = std::make_unique<InfoSection>(name);
  InfoSection& result = *child;
  parent.AddChild(std::move(child));
  return result;
}

TEST(InfoSection, NewSectionIsEmpty) {
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

TEST(InfoSection, NameIsCutTo49Characters) {
  for (const std::size_t length : {0U, 48U, 49U, 50U, 100'000U}) {
    EXPECT_EQ(InfoSection(std::wstring(length, L'n')).GetName(),
              std::wstring(std::min<std::size_t>(length, 49), L'n'));
  }
}

TEST(InfoSection, TextsAreCopied) {
  std::wstring text = L"abc";
  InfoSection section(text);
  section.AddProperty(text, text);
  text[0] = L'X';
  EXPECT_EQ(section.GetName(), L"abc");
  EXPECT_EQ(GetProperties(section), Texts{L"abc=abc"});
}

TEST(InfoSection, PropertiesKeepTheirOrderAndTheirDuplicates) {
  InfoSection section(L"OS");
  section.AddProperty(L"Version", L"1");
  section.AddProperty(L"Caption", L"2");
  section.AddProperty(L"", L"");
  section.AddProperty(L"Version", L"3");
  EXPECT_EQ(GetProperties(section), (Texts{L"Version=1", L"Caption=2", L"=", L"Version=3"}));
  ASSERT_NE(section.FindProperty(L"Version"), nullptr);
  EXPECT_EQ(section.FindProperty(L"Version")->value, L"1") << "not the first of its name";
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

TEST(InfoSection, CursorStartsAtTheFirstAndStaysAtTheEndUntilMoreIsAddedOrItIsRestarted) {
  InfoSection section(L"OS");
  section.AddProperty(L"a", L"1");
  AddNewChild(section, L"one");
  EXPECT_EQ(section.GetNextProperty()->name, L"a");
  EXPECT_EQ(section.GetNextChild()->GetName(), L"one");
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(section.GetNextProperty(), nullptr);
    EXPECT_EQ(section.GetNextChild(), nullptr);
  }
  section.AddProperty(L"b", L"2");
  AddNewChild(section, L"two");
  EXPECT_EQ(section.GetNextProperty()->name, L"b");
  EXPECT_EQ(section.GetNextChild()->GetName(), L"two");
  EXPECT_EQ(section.GetFirstProperty()->name, L"a");
  EXPECT_EQ(section.GetFirstChild()->GetName(), L"one");
}

TEST(InfoSection, NextRowIsMadeOnceWithTheCutName) {
  InfoSection section(std::wstring(60, L'n'));
  section.AddProperty(L"a", L"1");
  InfoSection& row = section.GetOrAddNextRow();
  EXPECT_EQ(row.GetName(), std::wstring(49, L'n'));
  EXPECT_EQ(GetProperties(row), Texts{});
  EXPECT_EQ(&section.GetOrAddNextRow(), &row);
  EXPECT_EQ(section.GetNextRow(), &row);
  EXPECT_EQ(row.GetNextRow(), nullptr);
}

TEST(InfoSection, ChildrenKeepTheirOrderAndKnowTheirParent) {
  InfoSection root(L"root");
  InfoSection& b = AddNewChild(root, L"b");
  AddNewChild(root, L"a");
  AddNewChild(root, L"b");
  EXPECT_EQ(GetChildren(root), (Texts{L"b", L"a", L"b"}));
  EXPECT_EQ(b.GetParent(), &root);
  EXPECT_EQ(b.GetOrAddNextRow().GetParent(), nullptr);
}

TEST(InfoSection, AddedChildIsTakenFromTheCaller) {
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
  InfoSection& child = AddNewChild(first);
  std::unique_ptr<InfoSection> again(&child);
  second.AddChild(std::move(again));
  EXPECT_EQ(again.get(), &child);
  EXPECT_EQ(child.GetParent(), &first);
  EXPECT_EQ(second.GetFirstChild(), nullptr);
  EXPECT_EQ(GetChildren(first), Texts{L"child"});
  // `first` owns it.
  EXPECT_EQ(again.release(), &child);
}

/// A step to a larger tree: adds sections at or below `section` and returns the next place to grow.
using Growth = std::function<InfoSection&(InfoSection& section)>;

/// Grows a tree by many steps and frees it.
void GrowAndFree(const Growth& grow) {
  InfoSection root(L"root");
  InfoSection* section = &root;
  for (int i = 0; i < 100'000; ++i) section = &grow(*section);
  EXPECT_EQ(section->GetNextRow(), nullptr);
}

// Each of these trees would exhaust the stack if it were freed by recursion.
TEST(InfoSection, LargeTreesAreFreed) {
  GrowAndFree([](InfoSection& row) -> InfoSection& { return row.GetOrAddNextRow(); });
  GrowAndFree([](InfoSection& row) -> InfoSection& {
    AddNewChild(row).GetOrAddNextRow();
    return row.GetOrAddNextRow();
  });
  GrowAndFree([](InfoSection& root) -> InfoSection& {
    AddNewChild(root).GetOrAddNextRow();
    return root;
  });
  GrowAndFree([](InfoSection& parent) -> InfoSection& { return AddNewChild(parent); });
  GrowAndFree([](InfoSection& section) -> InfoSection& {
    InfoSection& child = AddNewChild(section.GetOrAddNextRow());
    AddNewChild(child, L"first").GetOrAddNextRow().AddProperty(L"name", L"value");
    AddNewChild(child, L"second");
    return child;
  });
}

// The link of a property takes little of the stack, so it takes more of them.
TEST(InfoSection, ManyPropertiesAreFreed) {
  InfoSection section(L"OS");
  for (int i = 0; i < 1'000'000; ++i) section.AddProperty(L"", L"");
  EXPECT_EQ(GetProperties(section).size(), 1'000'000U);
}

}  // namespace
