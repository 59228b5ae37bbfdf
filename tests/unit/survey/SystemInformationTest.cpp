#include "survey/SystemInformation.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "tests/unit/survey/ScriptedWmi.h"

namespace {

/// The blocks that were allocated since `isWatching` was set and are not freed.
struct Allocation {
  void* block;
  std::size_t size;
};
Allocation allocations[1000];
bool isWatching = false;

bool IsTextAllocated(std::wstring_view text) {
  const std::size_t size = text.size() * sizeof(wchar_t);
  return std::ranges::any_of(allocations, [&](const Allocation& allocation) {
    return allocation.block != nullptr && allocation.size >= size &&
           std::memcmp(allocation.block, text.data(), size) == 0;
  });
}

}  // namespace

void* operator new(std::size_t size) {
  void* const block = std::malloc(size != 0 ? size : 1);
  if (block == nullptr) throw std::bad_alloc();
  if (isWatching) {
    Allocation* const free = std::ranges::find(allocations, nullptr, &Allocation::block);
    if (free != std::end(allocations)) *free = {block, size};
  }
  return block;
}

void operator delete(void* block) noexcept {
  if (isWatching) {
    Allocation* const found = std::ranges::find(allocations, block, &Allocation::block);
    if (found != std::end(allocations)) *found = {};
  }
  std::free(block);
}

void operator delete(void* block, std::size_t) noexcept {
  operator delete(block);
}

namespace {

constexpr wchar_t Cimv2[] = L"\\\\.\\ROOT\\CIMV2";
constexpr wchar_t VideoQuery[] = L"SELECT * FROM Win32_VideoController";
constexpr wchar_t SystemQuery[] = L"SELECT * FROM Win32_ComputerSystem";
constexpr wchar_t OsQuery[] = L"SELECT * FROM Win32_OperatingSystem";
constexpr wchar_t ProcessorQuery[] = L"SELECT * FROM Win32_Processor";
constexpr wchar_t DiskQuery[] = L"SELECT * FROM Win32_LogicalDisk";
constexpr wchar_t MonitorQuery[] = L"SELECT * FROM  Win32_DesktopMonitor Where Status='OK'";
constexpr wchar_t AdapterQuery[] =
    L"SELECT * FROM Win32_NetworkAdapter WHERE NetConnectionStatus=2";
const std::wstring ConfigurationQuery =
    L"SELECT * FROM Win32_NetworkAdapterConfiguration where IPEnabled='True' and index=";

/// A description as a list of lines: a category's name, or a property "  name=value".
using Lines = std::vector<std::wstring>;

Lines GetLines(InfoSection& root) {
  Lines lines;
  for (InfoSection* c = root.GetFirstChild(); c != nullptr; c = root.GetNextChild()) {
    lines.push_back(c->GetName());
    for (const InfoProperty* p = c->GetFirstProperty(); p != nullptr; p = c->GetNextProperty()) {
      lines.push_back(L"  " + p->name + L"=" + p->value);
    }
  }
  return lines;
}

Lines Describe(ScriptedWmi& wmi) {
  return GetLines(*BuildSystemInformation(wmi.GetQuery()));
}

/// The description of a machine that accepts one query only.
Lines DescribeBy(const wchar_t* query, const ScriptedRows& rows) {
  ScriptedWmi wmi;
  wmi.results[query] = rows;
  return Describe(wmi);
}

struct Category {
  const wchar_t* name;
  const wchar_t* query;
  const wchar_t* properties;
  /// The name of the section for the query's rows.
  const wchar_t* section;
  ScriptedRow row;
  Lines described;
};

/// The categories in their order, on a machine with one of everything.
const Category Categories[] = {
    {L"Video Card",
     VideoQuery,
     L"Name;CurrentHorizontalResolution;CurrentVerticalResolution;AdapterRAM",
     L"Video Card",
     {{L"Name", L"Card"},
      {L"CurrentHorizontalResolution", L"1920"},
      {L"CurrentVerticalResolution", L"1080"},
      {L"AdapterRAM", L"536870912"}},
     {L"Name=Card", L"CurrentHorizontalResolution=1920", L"CurrentVerticalResolution=1080",
      L"AdapterRAM=536870912"}},
    {L"System",
     SystemQuery,
     L"TotalPhysicalMemory",
     L"System",
     {{L"TotalPhysicalMemory", L" 0017 MB "}},
     {L"TotalPhysicalMemory= 0017 MB "}},
    {L"OS",
     OsQuery,
     L"Caption;Version;OSArchitecture;Locale",
     L"OS",
     {{L"Caption", L"Seven"},
      {L"Version", L"6.1"},
      {L"OSArchitecture", L"64-bit"},
      {L"Locale", L"0409"}},
     {L"Caption=Seven", L"Version=6.1", L"OSArchitecture=64-bit", L"Locale=0409"}},
    {L"Processor",
     ProcessorQuery,
     L"Name;NumberOfCores",
     L"Processor",
     {{L"Name", L"Chip"}, {L"NumberOfCores", L"4"}},
     {L"Name=Chip", L"NumberOfCores=4"}},
    {L"HardDisk",
     DiskQuery,
     L"DeviceID;FreeSpace;Size",
     L"Logical Disk Info",
     {{L"DeviceID", L"C:"}, {L"FreeSpace", L"10"}, {L"Size", L"100"}},
     {L"Size=100"}},
    {L"Monitor", MonitorQuery, L"Name", L"Monitor", {{L"Name", L"Screen"}}, {L"Number=1"}},
    {L"Adapter",
     AdapterQuery,
     L"DeviceId",
     L"Adapters",
     {{L"DeviceId", L"7"}},
     {L"MACAddress=00:11:22:33:44:55"}},
};

ScriptedWmi MakeMachine() {
  ScriptedWmi wmi;
  for (const Category& category : Categories) wmi.results[category.query] = {category.row};
  wmi.results[ConfigurationQuery + L"7"] = {{{L"MACAddress", L"00:11:22:33:44:55"}}};
  return wmi;
}

/// The machine's description without one category, or all of it.
Lines GetDescription(const Category* without = nullptr) {
  Lines lines;
  for (const Category& category : Categories) {
    if (&category == without) continue;
    lines.emplace_back(category.name);
    for (const std::wstring& property : category.described) lines.push_back(L"  " + property);
  }
  return lines;
}

TEST(SystemInformation, HasSevenCategoriesInTheirOrder) {
  ScriptedWmi wmi = MakeMachine();
  const std::unique_ptr<InfoSection> root = BuildSystemInformation(wmi.GetQuery());
  EXPECT_EQ(root->GetName(), L"SystemInfo");
  EXPECT_EQ(root->GetNextRow(), nullptr);
  EXPECT_EQ(root->GetFirstProperty(), nullptr);
  EXPECT_EQ(GetLines(*root), GetDescription());
  EXPECT_EQ(root->GetFirstChild()->GetParent(), root.get());
}

TEST(SystemInformation, RunsEightQueriesInThisOrder) {
  ScriptedWmi wmi = MakeMachine();
  Describe(wmi);
  std::vector<ScriptedWmi::Call> expected;
  for (const Category& category : Categories) {
    expected.push_back({Cimv2, category.query, category.properties, category.section});
  }
  expected.push_back({Cimv2, ConfigurationQuery + L"7", L"MACAddress", L"Adapter"});
  ASSERT_EQ(wmi.calls.size(), expected.size());
  for (std::size_t i = 0; i < expected.size(); ++i) {
    EXPECT_EQ(wmi.calls[i], expected[i]) << i << ": " << testing::PrintToString(expected[i].query);
  }
}

TEST(SystemInformation, WithoutAccessIsEmpty) {
  ScriptedWmi wmi;
  EXPECT_EQ(Describe(wmi), Lines{});
  EXPECT_EQ(wmi.calls.size(), 7U);
}

TEST(SystemInformation, RefusedQueryLeavesOnlyItsCategoryOutWhateverItHasFilledIn) {
  for (const Category& category : Categories) {
    for (const ScriptedRows& leftovers : {ScriptedRows{}, ScriptedRows{category.row}}) {
      ScriptedWmi wmi = MakeMachine();
      wmi.results.erase(category.query);
      wmi.leftovers[category.query] = leftovers;
      EXPECT_EQ(Describe(wmi), GetDescription(&category)) << testing::PrintToString(category.name);
    }
  }
}

// docs/compatibility.md, 28.
TEST(SystemInformation, OnlyTheFirstRowIsDescribed) {
  const ScriptedRow second = {{L"Name", L"second"}, {L"AdapterRAM", L"1"}};
  for (const Category& category : {Categories[0], Categories[1], Categories[2], Categories[3]}) {
    EXPECT_EQ(DescribeBy(category.query, {{{L"Name", L"first"}}, second}),
              (Lines{category.name, L"  Name=first"}));
    EXPECT_EQ(DescribeBy(category.query, {{}, second}), Lines{category.name});
    EXPECT_EQ(DescribeBy(category.query, {}), Lines{category.name});
  }
}

TEST(SystemInformation, LaterRowsStayInTheRowChainOfTheCategory) {
  ScriptedWmi wmi;
  wmi.results[ProcessorQuery] = {{{L"Name", L"first"}}, {{L"Name", L"second"}}};
  const std::unique_ptr<InfoSection> root = BuildSystemInformation(wmi.GetQuery());
  const InfoSection* const second = root->GetFirstChild()->GetNextRow();
  ASSERT_NE(second, nullptr);
  EXPECT_EQ(second->FindProperty(L"Name")->value, L"second");
}

// Disks.

TEST(SystemInformationDisks, SizesAreReadAsDecimalNumbersAndAdded) {
  const struct {
    std::vector<const wchar_t*> sizes;
    const wchar_t* sum;
  } cases[] = {
      {{L"100", L"200"}, L"300"},
      {{L"100", L"200", L"4000000000000"}, L"4000000000300"},
      {{L"7"}, L"7"},
      // No number.
      {{L"1", L"", L" ", L"abc", L"-", L"+", L"- 5", L"--5", L".5", L"x12", L"2"}, L"3"},
      // A number with something around it.
      {{L"12abc"}, L"12"},
      {{L" \t\n12"}, L"12"},
      {{L"+12"}, L"12"},
      {{L"12 34"}, L"12"},
      {{L"0012"}, L"12"},
      {{L"0x12"}, L"0"},
      {{L"1.9"}, L"1"},
      {{L"100", L"-30"}, L"70"},
      {{L"-30"}, L"-30"},
      // The limits of 64 bits.
      {{L"9223372036854775807"}, L"9223372036854775807"},
      {{L"-9223372036854775808"}, L"-9223372036854775808"},
      {{L"9223372036854775806", L"1"}, L"9223372036854775807"},
      {{L"9223372036854775808"}, L"9223372036854775807"},
      {{L"18446744073709551615"}, L"9223372036854775807"},
      {{L"-99999999999999999999"}, L"-9223372036854775808"},
      // A sum wraps around.
      {{L"9223372036854775807", L"1"}, L"-9223372036854775808"},
      {{L"-9223372036854775808", L"-1"}, L"9223372036854775807"},
  };
  for (const auto& [sizes, sum] : cases) {
    ScriptedRows rows;
    for (const wchar_t* const size : sizes) rows.push_back({{L"DeviceID", L"C:"}, {L"Size", size}});
    EXPECT_EQ(DescribeBy(DiskQuery, rows), (Lines{L"HardDisk", std::wstring(L"  Size=") + sum}));
  }
}

TEST(SystemInformationDisks, RowsWithoutASizeAreSkipped) {
  const ScriptedRow disk = {{L"DeviceID", L"C:"}, {L"FreeSpace", L"1"}, {L"Size", L"100"}};
  const ScriptedRow optical = {{L"DeviceID", L"D:"}, {L"FreeSpace", L"5"}};
  const ScriptedRow otherNames = {{L"size", L"1"}, {L"SIZE", L"2"}, {L"Size ", L"3"}};
  for (const ScriptedRows& rows :
       {ScriptedRows{disk, optical}, {optical, disk}, {{}, disk, {}, otherNames}}) {
    EXPECT_EQ(DescribeBy(DiskQuery, rows), (Lines{L"HardDisk", L"  Size=100"}));
  }
  for (const ScriptedRows& rows : {ScriptedRows{}, {{}}, {optical}, {otherNames}}) {
    EXPECT_EQ(DescribeBy(DiskQuery, rows), (Lines{L"HardDisk", L"  Size=0"}));
  }
}

TEST(SystemInformationDisks, FirstSizeOfARowCounts) {
  EXPECT_EQ(DescribeBy(DiskQuery, {{{L"Size", L"1"}, {L"Size", L"2"}}}),
            (Lines{L"HardDisk", L"  Size=1"}));
}

TEST(SystemInformationDisks, ManyDisksAreAddedAndFreed) {
  EXPECT_EQ(DescribeBy(DiskQuery, ScriptedRows(100'000, {{L"Size", L"3"}})),
            (Lines{L"HardDisk", L"  Size=300000"}));
}

// Monitors. docs/compatibility.md, 30: without a monitor the number is 1.

TEST(SystemInformationMonitors, RowsAreCountedAndNeverBelowOne) {
  const ScriptedRow monitor = {{L"Name", L"Screen"}};
  const struct {
    ScriptedRows rows;
    const wchar_t* number;
  } cases[] = {{{}, L"1"},
               {{monitor}, L"1"},
               {{{}, {}, {}}, L"3"},
               {{monitor, monitor}, L"2"},
               {ScriptedRows(12, monitor), L"12"},
               {ScriptedRows(100'000), L"100000"}};
  for (const auto& [rows, number] : cases) {
    EXPECT_EQ(DescribeBy(MonitorQuery, rows),
              (Lines{L"Monitor", std::wstring(L"  Number=") + number}));
  }
}

// The network adapter.

TEST(SystemInformationAdapter, HasTheAddressOfTheFirstRowWithADeviceId) {
  const std::wstring longestId(1023 - ConfigurationQuery.size(), L'1');
  const std::wstring tooLongId = longestId + L"1";
  const Lines none;
  const Lines withoutAddress = {L"Adapter"};
  const auto withAddress = [](const std::wstring& address) {
    return Lines{L"Adapter", L"  MACAddress=" + address};
  };
  const struct {
    const char* name;
    ScriptedRows adapters;
    /// Of which the configuration is requested; null when none is.
    const wchar_t* id;
    Lines description;
  } cases[] = {
      {"two adapters",
       {{{L"DeviceId", L"11"}}, {{L"DeviceId", L"12"}}},
       L"11",
       withAddress(L"a11")},
      {"rows without the property",
       {{}, {{L"Name", L"x"}}, {{L"DeviceId", L"12"}}},
       L"12",
       withAddress(L"a12")},
      {"no adapter", {}, nullptr, none},
      {"another spelling", {{{L"DeviceID", L"11"}}, {{L"deviceid", L"11"}}}, nullptr, none},
      {"no configuration", {{{L"DeviceId", L"empty"}}}, L"empty", withoutAddress},
      {"first configuration without an address",
       {{{L"DeviceId", L"second"}}},
       L"second",
       withoutAddress},
      {"refused configuration", {{{L"DeviceId", L"refused"}}}, L"refused", withoutAddress},
      {"refused configuration with a row",
       {{{L"DeviceId", L"partial"}}},
       L"partial",
       withAddress(L"p")},
      {"empty id", {{{L"DeviceId", L""}}, {{L"DeviceId", L"11"}}}, L"", withoutAddress},
      {"longest query", {{{L"DeviceId", longestId}}}, longestId.c_str(), withAddress(L"long")},
      {"too long a query",
       {{{L"DeviceId", tooLongId}}, {{L"DeviceId", L"11"}}},
       nullptr,
       withoutAddress},
      {"much too long a query",
       {{{L"DeviceId", std::wstring(100'000, L'1')}}},
       nullptr,
       withoutAddress},
  };
  for (const auto& [name, adapters, id, description] : cases) {
    ScriptedWmi wmi;
    wmi.results[AdapterQuery] = adapters;
    wmi.results[ConfigurationQuery + L"11"] = {{{L"MACAddress", L"a11"}}};
    wmi.results[ConfigurationQuery + L"12"] = {{{L"MACAddress", L"a12"}}};
    wmi.results[ConfigurationQuery + L"empty"] = {};
    wmi.results[ConfigurationQuery + L"second"] = {{}, {{L"MACAddress", L"2nd"}}};
    wmi.results[ConfigurationQuery + longestId] = {{{L"MACAddress", L"long"}}};
    wmi.results[ConfigurationQuery + tooLongId] = {{{L"MACAddress", L"too long"}}};
    wmi.leftovers[ConfigurationQuery + L"partial"] = {{{L"MACAddress", L"p"}}};
    EXPECT_EQ(Describe(wmi), description) << name;
    ASSERT_EQ(wmi.calls.size(), id != nullptr ? 8U : 7U) << name;
    if (id == nullptr) continue;
    EXPECT_EQ(wmi.calls.back().query, ConfigurationQuery + id) << name;
  }
}

// docs/compatibility.md, 32.
TEST(SystemInformationAdapter, SectionWithoutUseExistsDuringTheSecondQueryOnly) {
  ScriptedWmi wmi = MakeMachine();
  int queries = 0;
  isWatching = true;
  wmi.onQuery = [&queries](const std::wstring&) {
    EXPECT_EQ(IsTextAllocated(L"AdapterConf"), ++queries == 8) << queries;
  };
  Describe(wmi);
  EXPECT_EQ(queries, 8);
  EXPECT_FALSE(IsTextAllocated(L"AdapterConf"));
  isWatching = false;
}

// The report.

/// A report's properties, and the order of their setting ("category/name=value").
struct Report {
  SystemProperties properties;
  Lines order;

  int Collect(ScriptedWmi& wmi) {
    return CollectSystemInformation(
        wmi.GetQuery(), properties,
        [this](const std::wstring& name, const std::wstring& category, const std::wstring& value) {
          if (order.size() == failsAfter) throw std::bad_alloc();
          properties.insert_or_assign({name, category}, value);
          order.push_back(category + L"/" + name + L"=" + value);
        });
  }

  std::size_t failsAfter = std::string::npos;
};

TEST(CollectSystemInformation, SetsEveryPropertyOfEveryCategoryInOrder) {
  ScriptedWmi wmi = MakeMachine();
  Report report;
  EXPECT_EQ(report.Collect(wmi), 1);
  Lines expected;
  for (const Category& category : Categories) {
    for (const std::wstring& property : category.described) {
      expected.push_back(category.name + (L"/" + property));
    }
  }
  EXPECT_EQ(report.order, expected);
  EXPECT_EQ(report.properties.size(), 14U);
  EXPECT_EQ((report.properties.at({L"Name", L"Processor"})), L"Chip");
}

TEST(CollectSystemInformation, WithoutAccessSucceedsAndSetsNothing) {
  ScriptedWmi wmi;
  Report report;
  EXPECT_EQ(report.Collect(wmi), 1);
  EXPECT_EQ(report.order, Lines{});
}

TEST(CollectSystemInformation, CategoryWithoutPropertiesAndLaterRowsSetNothing) {
  ScriptedWmi wmi;
  wmi.results[VideoQuery] = {};
  wmi.results[ProcessorQuery] = {{{L"Name", L"first"}}, {{L"NumberOfCores", L"2"}}};
  wmi.results[AdapterQuery] = {{{L"DeviceId", L"7"}}};
  Report report;
  EXPECT_EQ(report.Collect(wmi), 1);
  EXPECT_EQ(report.order, Lines{L"Processor/Name=first"});
}

TEST(CollectSystemInformation, LastOfTwoEqualNamesInACategoryStays) {
  ScriptedWmi wmi;
  wmi.results[ProcessorQuery] = {{{L"Name", L"first"}, {L"Name", L"second"}}};
  Report report;
  EXPECT_EQ(report.Collect(wmi), 1);
  EXPECT_EQ(report.properties.size(), 1U);
  EXPECT_EQ((report.properties.at({L"Name", L"Processor"})), L"second");
}

TEST(CollectSystemInformation, ReportWithADescriptionIsLeftUnchanged) {
  ScriptedWmi wmi = MakeMachine();
  Report report;
  report.properties[{L"Anything", L"Else"}] = L"";
  EXPECT_EQ(report.Collect(wmi), 0);
  EXPECT_EQ(report.order, Lines{});
  EXPECT_EQ(wmi.calls.size(), 0U);
}

TEST(CollectSystemInformation, ExceptionOfAQueryEscapesAndSetsNothing) {
  ScriptedWmi wmi = MakeMachine();
  wmi.onQuery = [](const std::wstring& query) {
    if (query == MonitorQuery) throw std::bad_alloc();
  };
  Report report;
  EXPECT_THROW(report.Collect(wmi), std::bad_alloc);
  EXPECT_EQ(report.order, Lines{});
}

TEST(CollectSystemInformation, ExceptionOfTheReportEscapesAndKeepsWhatWasSet) {
  ScriptedWmi wmi = MakeMachine();
  Report report;
  report.failsAfter = 2;
  EXPECT_THROW(report.Collect(wmi), std::bad_alloc);
  EXPECT_EQ(report.order.size(), 2U);
}

}  // namespace
