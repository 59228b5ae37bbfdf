#include "survey/WmiQueryEngine.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/unit/survey/PlainWmi.h"

namespace {

constexpr wchar_t Cimv2[] = L"\\\\.\\ROOT\\CIMV2";

using Row = std::vector<std::pair<std::wstring, std::wstring>>;
using Rows = std::vector<Row>;

/// All rows, of which the first is there even when there was no object.
Rows RowsOf(InfoSection& first) {
  Rows rows;
  for (InfoSection* section = &first;; section = &section->GetOrAddNextRow()) {
    Row row;
    for (const InfoProperty* p = section->GetFirstProperty(); p != nullptr;
         p = section->GetNextProperty()) {
      row.emplace_back(p->name, p->value);
    }
    rows.push_back(row);
    if (section->GetNextRow() == nullptr) return rows;
  }
}

struct Answer {
  int flag = 0;
  Rows rows;
};

Answer Ask(const std::wstring& query, const wchar_t* properties, const wchar_t* space = Cimv2) {
  InfoSection first(L"rows");
  const int flag = RunWmiQuery(space, query, properties, &first);
  return {flag, RowsOf(first)};
}

Answer AskAll(const std::wstring& className, const wchar_t* properties) {
  return Ask(L"SELECT * FROM " + className, properties);
}

class WmiQueryEngine : public testing::Test {
 private:
  ComScope com_;
};

TEST(WmiQueryEngineWithoutCom, EveryQueryFails) {
  InfoSection first(L"rows");
  EXPECT_EQ(RunWmiQuery(Cimv2, L"SELECT * FROM Win32_LogicalDisk", L"DeviceID", &first), 0);
  EXPECT_EQ(RowsOf(first), Rows{Row{}});
}

TEST_F(WmiQueryEngine, WithoutAFirstRowFails) {
  EXPECT_EQ(RunWmiQuery(Cimv2, L"SELECT * FROM Win32_LogicalDisk", L"DeviceID", nullptr), 0);
}

TEST_F(WmiQueryEngine, UnknownNamespaceFails) {
  const Answer answer =
      Ask(L"SELECT * FROM Win32_LogicalDisk", L"DeviceID", L"\\\\.\\ROOT\\NOWHERE");
  EXPECT_EQ(answer.flag, 0);
  EXPECT_EQ(answer.rows, Rows{Row{}});
}

TEST_F(WmiQueryEngine, RefusedQueryFails) {
  for (const wchar_t* const query : {L"", L"SELEKT * FROM Win32_LogicalDisk", L"SELECT * FROM",
                                     L"SELECT * FROM  Win32_DesktopMonitor Where Status='OK'"}) {
    const Answer answer = Ask(query, L"Name");
    EXPECT_EQ(answer.flag, 0) << testing::PrintToString(query);
    EXPECT_EQ(answer.rows, Rows{Row{}});
  }
}

TEST_F(WmiQueryEngine, QueryThatMatchesNothingSucceedsAndLeavesTheFirstRowEmpty) {
  const Answer answer =
      Ask(L"SELECT * FROM Win32_LogicalDisk WHERE DeviceID='none'", L"DeviceID;Size");
  EXPECT_EQ(answer.flag, 1);
  EXPECT_EQ(answer.rows, Rows{Row{}});
}

TEST_F(WmiQueryEngine, EveryObjectBecomesARowInOrder) {
  Rows expected;
  for (const PlainObject& disk : PlainObjects(L"Win32_LogicalDisk")) {
    expected.push_back({{L"Name", disk.at(L"Name").text}, {L"Size", disk.at(L"Size").text}});
  }
  ASSERT_GE(expected.size(), 2U) << "the machine needs two disks";
  EXPECT_NE(expected[0], expected[1]);
  const Answer answer = AskAll(L"Win32_LogicalDisk", L"Name;Size");
  EXPECT_EQ(answer.flag, 1);
  EXPECT_EQ(answer.rows, expected);
}

TEST_F(WmiQueryEngine, ConditionOfTheQueryCounts) {
  EXPECT_EQ(Ask(L"SELECT * FROM Win32_LogicalDisk WHERE DeviceID='C:'", L"Name").rows,
            (Rows{{{L"Name", L"C:"}}}));
}

TEST_F(WmiQueryEngine, PropertiesComeInTheListsOrderAndSpelling) {
  const PlainObject system = PlainObjects(L"Win32_OperatingSystem").at(0);
  const std::wstring version = system.at(L"Version").text;
  const std::wstring caption = system.at(L"Caption").text;
  EXPECT_EQ(AskAll(L"Win32_OperatingSystem", L"Version\nCaption;VERSION;version").rows,
            (Rows{{{L"Version", version},
                   {L"Caption", caption},
                   {L"VERSION", version},
                   {L"version", version}}}));
}

TEST_F(WmiQueryEngine, EmptyAndBlankPiecesOfTheListAddNothing) {
  const Rows expected = AskAll(L"Win32_OperatingSystem", L"Caption;Version").rows;
  ASSERT_EQ(expected.at(0).size(), 2U);
  for (const wchar_t* const list : {L"Caption;Version;", L";Caption;;Version",
                                    L"Caption; ;Version;  ;\n \n;\t", L"\nCaption\n\nVersion\n"}) {
    EXPECT_EQ(AskAll(L"Win32_OperatingSystem", list).rows, expected)
        << testing::PrintToString(list);
  }
}

TEST_F(WmiQueryEngine, BlanksAreNotStrippedFromNames) {
  EXPECT_EQ(AskAll(L"Win32_OperatingSystem", L" Caption;Caption ;Version").rows.at(0).size(), 1U);
}

TEST_F(WmiQueryEngine, EmptyListGivesRowsWithoutProperties) {
  const std::size_t count = PlainObjects(L"Win32_LogicalDisk").size();
  EXPECT_EQ(AskAll(L"Win32_LogicalDisk", L"").rows, Rows(count));
}

TEST_F(WmiQueryEngine, UnknownPropertyIsLeftOut) {
  const Rows rows = AskAll(L"Win32_OperatingSystem", L"Nothing;Caption;Nobody").rows;
  ASSERT_EQ(rows.at(0).size(), 1U);
  EXPECT_EQ(rows[0][0].first, L"Caption");
}

/// The properties of a class whose value in the first object is of a type.
std::set<std::wstring> NamesOfType(const wchar_t* className, VARTYPE type) {
  std::set<std::wstring> names;
  const PlainObject object = PlainObjects(className).at(0);
  for (const auto& [name, value] : object) {
    if (value.type == type) names.insert(name);
  }
  return names;
}

TEST_F(WmiQueryEngine, NullValueIsLeftOutAndDoesNotTakeTheOneBefore) {
  const std::set<std::wstring> nulls = NamesOfType(L"Win32_Processor", VT_NULL);
  ASSERT_FALSE(nulls.empty()) << "the machine needs a null value";
  const std::wstring list = L"Name;" + *nulls.begin() + L";NumberOfCores";
  const Row row = AskAll(L"Win32_Processor", list.c_str()).rows.at(0);
  ASSERT_EQ(row.size(), 2U);
  EXPECT_EQ(row[0].first, L"Name");
  EXPECT_EQ(row[1].first, L"NumberOfCores");
}

TEST_F(WmiQueryEngine, BooleanIsAWord) {
  EXPECT_EQ(AskAll(L"Win32_OperatingSystem", L"Primary").rows, (Rows{{{L"Primary", L"True"}}}));
  ASSERT_EQ(PlainObjects(L"Win32_ComputerSystem").at(0).at(L"HypervisorPresent").type, VT_BOOL);
  EXPECT_EQ(AskAll(L"Win32_ComputerSystem", L"HypervisorPresent").rows.at(0).at(0).second,
            PlainObjects(L"Win32_ComputerSystem").at(0).at(L"HypervisorPresent").text);
}

TEST_F(WmiQueryEngine, NumberOf64BitsIsWhatTheSystemSays) {
  MEMORYSTATUSEX memory = {};
  memory.dwLength = sizeof memory;
  ASSERT_TRUE(GlobalMemoryStatusEx(&memory));
  EXPECT_EQ(AskAll(L"Win32_ComputerSystem", L"TotalPhysicalMemory").rows,
            (Rows{{{L"TotalPhysicalMemory", std::to_wstring(memory.ullTotalPhys)}}}));
}

TEST_F(WmiQueryEngine, RowsGoBehindWhatTheFirstRowHolds) {
  InfoSection first(L"rows");
  first.AddProperty(L"before", L"1");
  EXPECT_EQ(
      RunWmiQuery(Cimv2, L"SELECT * FROM Win32_LogicalDisk WHERE DeviceID='C:'", L"Name", &first),
      1);
  EXPECT_EQ(RowsOf(first), (Rows{{{L"before", L"1"}, {L"Name", L"C:"}}}));
}

TEST_F(WmiQueryEngine, RunsOnAnyThreadWithCom) {
  Answer answer;
  std::thread([&answer] {
    const ComScope com(COINIT_APARTMENTTHREADED);
    answer = AskAll(L"Win32_OperatingSystem", L"OSArchitecture");
  }).join();
  EXPECT_EQ(answer.flag, 1);
  EXPECT_EQ(answer.rows.at(0).size(), 1U);
}

}  // namespace
