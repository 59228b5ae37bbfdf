#include "survey/WmiQueryEngine.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <thread>

#include "tests/support/Deadline.h"
#include "tests/unit/survey/PlainWmi.h"
#include "tests/unit/survey/WmiRows.h"

namespace {

constexpr wchar_t Cimv2[] = L"\\\\.\\ROOT\\CIMV2";

struct Result {
  int flag = 0;
  Rows rows;
};

Result RunQuery(const std::wstring& query, const wchar_t* properties,
                const wchar_t* space = Cimv2) {
  InfoSection first(L"rows");
  const int flag = RunWmiQuery(space, query, properties, &first);
  return {flag, GetRows(first)};
}

Result RunForClass(const std::wstring& className, const wchar_t* properties) {
  return RunQuery(L"SELECT * FROM " + className, properties);
}

class WmiQueryEngine : public testing::Test {
 private:
  ComScope com_;
};

TEST(WmiQueryEngineWithoutCom, EveryQueryFails) {
  InfoSection first(L"rows");
  EXPECT_EQ(RunWmiQuery(Cimv2, L"SELECT * FROM Win32_LogicalDisk", L"DeviceID", &first), 0);
  EXPECT_EQ(GetRows(first), Rows(1));
}

TEST_F(WmiQueryEngine, UnknownNamespaceOrRefusedQueryFails) {
  const wchar_t* const query = L"SELECT * FROM Win32_LogicalDisk";
  for (const Result& result :
       {RunQuery(query, L"DeviceID", L"\\\\.\\ROOT\\NOWHERE"), RunQuery(L"", L"Name"),
        RunQuery(L"SELEKT * FROM Win32_LogicalDisk", L"Name"), RunQuery(L"SELECT * FROM", L"Name"),
        RunQuery(L"SELECT * FROM  Win32_DesktopMonitor Where Status='OK'", L"Name")}) {
    EXPECT_EQ(result.flag, 0);
    EXPECT_EQ(result.rows, Rows(1));
  }
}

TEST_F(WmiQueryEngine, QueryThatMatchesNothingSucceedsAndLeavesTheFirstRowEmpty) {
  const Result result =
      RunQuery(L"SELECT * FROM Win32_LogicalDisk WHERE DeviceID='none'", L"DeviceID;Size");
  EXPECT_EQ(result.flag, 1);
  EXPECT_EQ(result.rows, Rows(1));
}

TEST_F(WmiQueryEngine, EveryObjectBecomesARowInOrder) {
  Rows expected;
  for (const PlainObject& disk : GetPlainObjects(L"Win32_LogicalDisk")) {
    expected.push_back({{L"Name", disk.at(L"Name").text}, {L"Size", disk.at(L"Size").text}});
  }
  ASSERT_GE(expected.size(), 2U) << "the machine needs two disks";
  EXPECT_NE(expected[0], expected[1]);
  const Result result = RunForClass(L"Win32_LogicalDisk", L"Name;Size");
  EXPECT_EQ(result.flag, 1);
  EXPECT_EQ(result.rows, expected);
}

TEST_F(WmiQueryEngine, PropertiesComeInTheListsOrderAndSpelling) {
  const PlainObject system = GetPlainObjects(L"Win32_OperatingSystem").at(0);
  const std::wstring version = system.at(L"Version").text;
  const std::wstring caption = system.at(L"Caption").text;
  EXPECT_EQ(RunForClass(L"Win32_OperatingSystem", L"Version\nCaption;VERSION;version").rows,
            (Rows{{{L"Version", version},
                   {L"Caption", caption},
                   {L"VERSION", version},
                   {L"version", version}}}));
}

TEST_F(WmiQueryEngine, PiecesOfTheListThatNameNoPropertyAddNothing) {
  const Rows expected = RunForClass(L"Win32_OperatingSystem", L"Caption;Version").rows;
  ASSERT_EQ(expected.at(0).size(), 2U);
  for (const wchar_t* const list :
       {L"Caption;Version;", L";Caption;;Version", L"Caption; ;Version;  ;\n \n;\t",
        L"\nCaption\n\nVersion\n", L"Nothing;Caption;Nobody;Version",
        L" Caption;Caption;Version;Version "}) {
    EXPECT_EQ(RunForClass(L"Win32_OperatingSystem", list).rows, expected)
        << testing::PrintToString(list);
  }
  EXPECT_EQ(RunForClass(L"Win32_OperatingSystem", L"").rows, Rows(1));
}

/// The properties of a class whose value in the first object is of a type.
std::set<std::wstring> GetNamesOfType(const wchar_t* className, VARTYPE type) {
  std::set<std::wstring> names;
  const PlainObject object = GetPlainObjects(className).at(0);
  for (const auto& [name, value] : object) {
    if (value.type == type) names.insert(name);
  }
  return names;
}

TEST_F(WmiQueryEngine, NullValueIsLeftOutAndDoesNotRepeatTheOneBefore) {
  const std::set<std::wstring> nulls = GetNamesOfType(L"Win32_Processor", VT_NULL);
  ASSERT_FALSE(nulls.empty()) << "the machine needs a null value";
  const std::wstring list = L"Name;" + *nulls.begin() + L";NumberOfCores";
  const Row row = RunForClass(L"Win32_Processor", list.c_str()).rows.at(0);
  ASSERT_EQ(row.size(), 2U);
  EXPECT_EQ(row[0].first, L"Name");
  EXPECT_EQ(row[1].first, L"NumberOfCores");
}

TEST_F(WmiQueryEngine, BooleanIsAWord) {
  EXPECT_EQ(RunForClass(L"Win32_OperatingSystem", L"Primary").rows,
            (Rows{{{L"Primary", L"True"}}}));
  ASSERT_EQ(GetPlainObjects(L"Win32_ComputerSystem").at(0).at(L"HypervisorPresent").type, VT_BOOL);
  EXPECT_EQ(RunForClass(L"Win32_ComputerSystem", L"HypervisorPresent").rows.at(0).at(0).second,
            GetPlainObjects(L"Win32_ComputerSystem").at(0).at(L"HypervisorPresent").text);
}

TEST_F(WmiQueryEngine, NumberOf64BitsIsExact) {
  MEMORYSTATUSEX memory = {};
  memory.dwLength = sizeof memory;
  ASSERT_TRUE(GlobalMemoryStatusEx(&memory));
  EXPECT_EQ(RunForClass(L"Win32_ComputerSystem", L"TotalPhysicalMemory").rows,
            (Rows{{{L"TotalPhysicalMemory", std::to_wstring(memory.ullTotalPhys)}}}));
}

TEST_F(WmiQueryEngine, PropertiesFollowThoseOfTheFirstRow) {
  InfoSection first(L"rows");
  first.AddProperty(L"before", L"1");
  EXPECT_EQ(
      RunWmiQuery(Cimv2, L"SELECT * FROM Win32_LogicalDisk WHERE DeviceID='C:'", L"Name", &first),
      1);
  EXPECT_EQ(GetRows(first), (Rows{{{L"before", L"1"}, {L"Name", L"C:"}}}));
}

TEST_F(WmiQueryEngine, RunsOnAnyThreadWithCom) {
  const Deadline deadline;
  // Wine 10 locks a class for the thread that holds an object of it, and the engine releases none
  // (docs/compatibility.md, 29). A class that another test queries would never be free for a second
  // thread.
  const std::wstring name = GetPlainObjects(L"Win32_BIOS").at(0).at(L"Name").text;
  Result result;
  std::thread([&result] {
    const ComScope com(COINIT_APARTMENTTHREADED);
    result = RunForClass(L"Win32_BIOS", L"Name");
  }).join();
  EXPECT_EQ(result.flag, 1);
  EXPECT_EQ(result.rows, (Rows{{{L"Name", name}}}));
}

}  // namespace
