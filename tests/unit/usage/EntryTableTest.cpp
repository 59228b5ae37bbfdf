#include "usage/EntryTable.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

/// In memory of its exact size, so that a sanitizer sees a read beyond it.
const int* Find(const CEntryTable<int>& table, const std::string& name) {
  const std::vector<char> bytes(name.begin(), name.end());
  return table.Find({bytes.data(), bytes.size()});
}

TEST(EntryTable, FindsNothingBeforeItWasAdded) {
  CEntryTable<int> table;
  EXPECT_EQ(Find(table, ""), nullptr);
  EXPECT_EQ(Find(table, "Line"), nullptr);
  int entry = 0;
  table.Add("Line", entry);
  EXPECT_EQ(Find(table, "Line"), &entry);
  EXPECT_EQ(Find(table, "line"), nullptr);
}

TEST(EntryTable, TheEmptyNameIsAName) {
  CEntryTable<int> table;
  int entry = 0;
  table.Add("", entry);
  EXPECT_EQ(Find(table, ""), &entry);
  EXPECT_EQ(Find(table, std::string(1, '\0')), nullptr);
}

// NUL bytes, so that a name and its beginning have the same words.
TEST(EntryTable, TellsNamesOfEachLengthApart) {
  CEntryTable<int> table;
  std::vector<int> entries(100);
  for (size_t length = 0; length < entries.size(); ++length) {
    EXPECT_EQ(Find(table, std::string(length, '\0')), nullptr) << length;
    table.Add(std::string(length, '\0'), entries[length]);
  }
  for (size_t length = 0; length < entries.size(); ++length) {
    EXPECT_EQ(Find(table, std::string(length, '\0')), &entries[length]) << length;
  }
}

TEST(EntryTable, EachByteOfANameCounts) {
  for (size_t length = 1; length < 70; ++length) {
    CEntryTable<int> table;
    std::vector<int> entries(length + 1);
    table.Add(std::string(length, 'x'), entries[length]);
    for (size_t i = 0; i < length; ++i) {
      std::string name(length, 'x');
      name[i] = '\xFF';
      EXPECT_EQ(Find(table, name), nullptr) << length << " " << i;
      table.Add(name, entries[i]);
    }
    for (size_t i = 0; i < length; ++i) {
      std::string name(length, 'x');
      name[i] = '\xFF';
      EXPECT_EQ(Find(table, name), &entries[i]) << length << " " << i;
    }
    EXPECT_EQ(Find(table, std::string(length, 'x')), &entries[length]) << length;
  }
}

TEST(EntryTable, FindsAsAMapDoesWhileItGrows) {
  std::mt19937 random(3);
  CEntryTable<int> table;
  std::map<std::string, std::unique_ptr<int>> map;
  int known = 0;
  for (int i = 0; i < 60'000; ++i) {
    std::string name = (random() % 4 == 0 ? "EditTheLayersOfThePlan_" : "Edit_") +
                       std::to_string(random() % 20'000);
    if (random() % 8 == 0) name.resize(random() % 40, '-');
    const auto entry = map.find(name);
    if (entry != map.end()) {
      ASSERT_EQ(Find(table, name), entry->second.get()) << name;
      ++known;
    } else {
      ASSERT_EQ(Find(table, name), nullptr) << name;
      table.Add(name, *(map[name] = std::make_unique<int>()));
    }
  }
  EXPECT_GT(known, 10'000);
  EXPECT_GT(map.size(), 20'000U);
}

}  // namespace
