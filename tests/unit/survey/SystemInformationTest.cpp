#include "survey/SystemInformation.h"

#include <gtest/gtest.h>

#include <new>
#include <string>
#include <vector>

#include "tests/unit/survey/ScriptedWmi.h"

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
constexpr wchar_t ConfigurationQueryStart[] =
    L"SELECT * FROM Win32_NetworkAdapterConfiguration where IPEnabled='True' and index=";

std::wstring FormatConfigurationQuery(const std::wstring& deviceId) {
  return ConfigurationQueryStart + deviceId;
}

/// A description as a list of lines: a category's name, or a property "  name=value".
using Lines = std::vector<std::wstring>;

Lines LinesOf(InfoSection& root) {
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
  return LinesOf(*BuildSystemInformation(wmi.Query()));
}

/// The description by a machine that answers one query only.
Lines DescribeBy(const wchar_t* query, const ScriptedRows& rows) {
  ScriptedWmi wmi;
  wmi.answers[query] = rows;
  return Describe(wmi);
}

/// A machine with one of everything.
ScriptedWmi PlainMachine() {
  ScriptedWmi wmi;
  wmi.answers[VideoQuery] = {{{L"Name", L"Card"},
                              {L"CurrentHorizontalResolution", L"1920"},
                              {L"CurrentVerticalResolution", L"1080"},
                              {L"AdapterRAM", L"536870912"}}};
  wmi.answers[SystemQuery] = {{{L"TotalPhysicalMemory", L"17179869184"}}};
  wmi.answers[OsQuery] = {{{L"Caption", L"Seven"},
                           {L"Version", L"6.1.7601"},
                           {L"OSArchitecture", L"64-bit"},
                           {L"Locale", L"0409"}}};
  wmi.answers[ProcessorQuery] = {{{L"Name", L"Chip"}, {L"NumberOfCores", L"4"}}};
  wmi.answers[DiskQuery] = {{{L"DeviceID", L"C:"}, {L"FreeSpace", L"10"}, {L"Size", L"100"}}};
  wmi.answers[MonitorQuery] = {{{L"Name", L"Screen"}}};
  wmi.answers[AdapterQuery] = {{{L"DeviceId", L"7"}}};
  wmi.answers[FormatConfigurationQuery(L"7")] = {{{L"MACAddress", L"00:11:22:33:44:55"}}};
  return wmi;
}

const Lines PlainDescription = {
    L"Video Card",
    L"  Name=Card",
    L"  CurrentHorizontalResolution=1920",
    L"  CurrentVerticalResolution=1080",
    L"  AdapterRAM=536870912",
    L"System",
    L"  TotalPhysicalMemory=17179869184",
    L"OS",
    L"  Caption=Seven",
    L"  Version=6.1.7601",
    L"  OSArchitecture=64-bit",
    L"  Locale=0409",
    L"Processor",
    L"  Name=Chip",
    L"  NumberOfCores=4",
    L"HardDisk",
    L"  Size=100",
    L"Monitor",
    L"  Number=1",
    L"Adapter",
    L"  MACAddress=00:11:22:33:44:55",
};

/// The plain description without one category.
Lines PlainDescriptionWithout(const std::wstring& category) {
  Lines lines;
  bool isLeftOut = false;
  for (const std::wstring& line : PlainDescription) {
    if (!line.starts_with(L"  ")) isLeftOut = line == category;
    if (!isLeftOut) lines.push_back(line);
  }
  return lines;
}

// The whole description.

TEST(SystemInformation, DescribesSevenCategoriesInTheirOrder) {
  ScriptedWmi wmi = PlainMachine();
  const std::unique_ptr<InfoSection> root = BuildSystemInformation(wmi.Query());
  EXPECT_EQ(root->GetName(), L"SystemInfo");
  EXPECT_EQ(root->GetNextRow(), nullptr);
  EXPECT_EQ(root->GetFirstProperty(), nullptr);
  EXPECT_EQ(LinesOf(*root), PlainDescription);
  EXPECT_EQ(root->GetFirstChild()->GetParent(), root.get());
}

TEST(SystemInformation, AsksTheseQuestionsInThisOrder) {
  ScriptedWmi wmi = PlainMachine();
  BuildSystemInformation(wmi.Query());
  const std::vector<ScriptedWmi::Question> expected = {
      {Cimv2, VideoQuery, L"Name;CurrentHorizontalResolution;CurrentVerticalResolution;AdapterRAM",
       L"Video Card"},
      {Cimv2, SystemQuery, L"TotalPhysicalMemory", L"System"},
      {Cimv2, OsQuery, L"Caption;Version;OSArchitecture;Locale", L"OS"},
      {Cimv2, ProcessorQuery, L"Name;NumberOfCores", L"Processor"},
      {Cimv2, DiskQuery, L"DeviceID;FreeSpace;Size", L"Logical Disk Info"},
      {Cimv2, MonitorQuery, L"Name", L"Monitor"},
      {Cimv2, AdapterQuery, L"DeviceId", L"Adapters"},
      {Cimv2, FormatConfigurationQuery(L"7"), L"MACAddress", L"Adapter"},
  };
  ASSERT_EQ(wmi.questions.size(), expected.size());
  for (std::size_t i = 0; i < expected.size(); ++i) {
    EXPECT_EQ(wmi.questions[i], expected[i])
        << i << ": " << testing::PrintToString(expected[i].query);
  }
}

TEST(SystemInformation, WithoutAnyAccessIsEmpty) {
  ScriptedWmi wmi;
  EXPECT_EQ(Describe(wmi), Lines{});
  EXPECT_EQ(wmi.questions.size(), 7U);
}

TEST(SystemInformation, RefusedQueryLeavesOnlyItsOwnCategoryOut) {
  const struct {
    const wchar_t* query;
    const wchar_t* category;
  } rows[] = {
      {VideoQuery, L"Video Card"},    {SystemQuery, L"System"}, {OsQuery, L"OS"},
      {ProcessorQuery, L"Processor"}, {DiskQuery, L"HardDisk"}, {MonitorQuery, L"Monitor"},
      {AdapterQuery, L"Adapter"},
  };
  for (const auto& [query, category] : rows) {
    ScriptedWmi wmi = PlainMachine();
    wmi.answers.erase(query);
    EXPECT_EQ(Describe(wmi), PlainDescriptionWithout(category)) << testing::PrintToString(query);
  }
}

TEST(SystemInformation, RefusedQueryLeavesItsCategoryOutWhateverItHasFilledIn) {
  for (const wchar_t* const query : {VideoQuery, DiskQuery, MonitorQuery, AdapterQuery}) {
    ScriptedWmi wmi = PlainMachine();
    wmi.leftovers[query] = wmi.answers[query];
    wmi.answers.erase(query);
    EXPECT_EQ(Describe(wmi).size() + (query == VideoQuery ? 5 : 2), PlainDescription.size())
        << testing::PrintToString(query);
  }
}

// Video card, system, operating system, processor.

TEST(SystemInformation, FirstRowAloneIsDescribed) {
  const ScriptedRows rows = {{{L"Name", L"first"}}, {{L"Name", L"second"}, {L"AdapterRAM", L"1"}}};
  EXPECT_EQ(DescribeBy(VideoQuery, rows), (Lines{L"Video Card", L"  Name=first"}));
  EXPECT_EQ(DescribeBy(ProcessorQuery, rows), (Lines{L"Processor", L"  Name=first"}));
}

TEST(SystemInformation, FirstRowWithoutPropertiesIsNotReplacedByTheSecond) {
  EXPECT_EQ(DescribeBy(VideoQuery, {{}, {{L"Name", L"second"}}}), Lines{L"Video Card"});
}

TEST(SystemInformation, LaterRowsStayBehindTheCategory) {
  ScriptedWmi wmi;
  wmi.answers[ProcessorQuery] = {{{L"Name", L"first"}}, {{L"Name", L"second"}}};
  const std::unique_ptr<InfoSection> root = BuildSystemInformation(wmi.Query());
  const InfoSection* const second = root->GetFirstChild()->GetNextRow();
  ASSERT_NE(second, nullptr);
  EXPECT_EQ(second->FindProperty(L"Name")->value, L"second");
}

TEST(SystemInformation, QueryWithoutRowsGivesACategoryWithoutProperties) {
  EXPECT_EQ(DescribeBy(VideoQuery, {}), Lines{L"Video Card"});
  EXPECT_EQ(DescribeBy(SystemQuery, {}), Lines{L"System"});
  EXPECT_EQ(DescribeBy(OsQuery, {}), Lines{L"OS"});
  EXPECT_EQ(DescribeBy(ProcessorQuery, {}), Lines{L"Processor"});
}

TEST(SystemInformation, ValuesAreNotTouched) {
  EXPECT_EQ(DescribeBy(SystemQuery, {{{L"TotalPhysicalMemory", L" 0017 MB "}}}),
            (Lines{L"System", L"  TotalPhysicalMemory= 0017 MB "}));
}

// Disks.

/// The sum over disks of these sizes.
std::wstring SumOf(const std::vector<std::wstring>& sizes) {
  ScriptedRows rows;
  for (const std::wstring& size : sizes) rows.push_back({{L"DeviceID", L"C:"}, {L"Size", size}});
  const Lines lines = DescribeBy(DiskQuery, rows);
  EXPECT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines.front(), L"HardDisk");
  EXPECT_TRUE(lines.back().starts_with(L"  Size=")) << testing::PrintToString(lines.back());
  return lines.back().substr(7);
}

TEST(SystemInformationDisks, SizesOfAllDisksAreAdded) {
  EXPECT_EQ(SumOf({L"100", L"200"}), L"300");
  EXPECT_EQ(SumOf({L"100", L"200", L"4000000000000"}), L"4000000000300");
  EXPECT_EQ(SumOf({L"7"}), L"7");
}

TEST(SystemInformationDisks, DiskWithoutASizeIsSkipped) {
  const ScriptedRow optical = {{L"DeviceID", L"D:"}};
  const ScriptedRow disk = {{L"DeviceID", L"C:"}, {L"FreeSpace", L"1"}, {L"Size", L"100"}};
  const Lines expected = {L"HardDisk", L"  Size=100"};
  EXPECT_EQ(DescribeBy(DiskQuery, {disk, optical}), expected);
  EXPECT_EQ(DescribeBy(DiskQuery, {optical, disk}), expected);
  EXPECT_EQ(DescribeBy(DiskQuery, {{}, disk, {}, {}}), expected);
}

TEST(SystemInformationDisks, WithoutAnySizeTheSumIs0) {
  const Lines expected = {L"HardDisk", L"  Size=0"};
  EXPECT_EQ(DescribeBy(DiskQuery, {}), expected);
  EXPECT_EQ(DescribeBy(DiskQuery, {{}}), expected);
  EXPECT_EQ(DescribeBy(DiskQuery, {{{L"DeviceID", L"D:"}, {L"FreeSpace", L"5"}}}), expected);
}

TEST(SystemInformationDisks, MalformedSizesAreSkipped) {
  for (const wchar_t* const size : {L"", L" ", L"abc", L"-", L"+", L"- 5", L"--5", L".5", L"x12"}) {
    EXPECT_EQ(SumOf({L"100", size, L"200"}), L"300") << testing::PrintToString(size);
  }
}

TEST(SystemInformationDisks, NumberAtTheStartOfASizeCounts) {
  EXPECT_EQ(SumOf({L"12abc"}), L"12");
  EXPECT_EQ(SumOf({L" \t\n12"}), L"12");
  EXPECT_EQ(SumOf({L"+12"}), L"12");
  EXPECT_EQ(SumOf({L"12 34"}), L"12");
  EXPECT_EQ(SumOf({L"0012"}), L"12");
  EXPECT_EQ(SumOf({L"0x12"}), L"0");
  EXPECT_EQ(SumOf({L"1.9"}), L"1");
}

TEST(SystemInformationDisks, NegativeSizeIsSubtracted) {
  EXPECT_EQ(SumOf({L"100", L"-30"}), L"70");
  EXPECT_EQ(SumOf({L"-30"}), L"-30");
}

TEST(SystemInformationDisks, SizesAndSumsOf64BitsAreExact) {
  EXPECT_EQ(SumOf({L"9223372036854775807"}), L"9223372036854775807");
  EXPECT_EQ(SumOf({L"-9223372036854775808"}), L"-9223372036854775808");
  EXPECT_EQ(SumOf({L"9223372036854775806", L"1"}), L"9223372036854775807");
}

TEST(SystemInformationDisks, SizeBeyond64BitsStopsAtTheLimit) {
  EXPECT_EQ(SumOf({L"9223372036854775808"}), L"9223372036854775807");
  EXPECT_EQ(SumOf({L"18446744073709551615"}), L"9223372036854775807");
  EXPECT_EQ(SumOf({L"-99999999999999999999"}), L"-9223372036854775808");
}

TEST(SystemInformationDisks, SumBeyond64BitsWrapsAround) {
  EXPECT_EQ(SumOf({L"9223372036854775807", L"1"}), L"-9223372036854775808");
  EXPECT_EQ(SumOf({L"-9223372036854775808", L"-1"}), L"9223372036854775807");
}

TEST(SystemInformationDisks, FirstSizeOfARowCounts) {
  EXPECT_EQ(DescribeBy(DiskQuery, {{{L"Size", L"1"}, {L"Size", L"2"}}}),
            (Lines{L"HardDisk", L"  Size=1"}));
}

TEST(SystemInformationDisks, SpellingOfSizeMatters) {
  EXPECT_EQ(DescribeBy(DiskQuery, {{{L"size", L"1"}, {L"SIZE", L"2"}, {L"Size ", L"3"}}}),
            (Lines{L"HardDisk", L"  Size=0"}));
}

TEST(SystemInformationDisks, ManyDisksAreAddedAndFreed) {
  EXPECT_EQ(SumOf(std::vector<std::wstring>(100'000, L"3")), L"300000");
}

// Monitors.

TEST(SystemInformationMonitors, RowsAreCounted) {
  const ScriptedRow monitor = {{L"Name", L"Screen"}};
  EXPECT_EQ(DescribeBy(MonitorQuery, {monitor}), (Lines{L"Monitor", L"  Number=1"}));
  EXPECT_EQ(DescribeBy(MonitorQuery, {monitor, monitor}), (Lines{L"Monitor", L"  Number=2"}));
  EXPECT_EQ(DescribeBy(MonitorQuery, ScriptedRows(12, monitor)),
            (Lines{L"Monitor", L"  Number=12"}));
}

TEST(SystemInformationMonitors, WithoutAMonitorTheNumberIs1) {
  EXPECT_EQ(DescribeBy(MonitorQuery, {}), (Lines{L"Monitor", L"  Number=1"}));
}

TEST(SystemInformationMonitors, RowsWithoutANameCount) {
  EXPECT_EQ(DescribeBy(MonitorQuery, {{}, {}, {}}), (Lines{L"Monitor", L"  Number=3"}));
}

TEST(SystemInformationMonitors, ManyRowsAreCountedAndFreed) {
  EXPECT_EQ(DescribeBy(MonitorQuery, ScriptedRows(100'000)),
            (Lines{L"Monitor", L"  Number=100000"}));
}

// The network adapter.

/// The description by a machine with these connected adapters and configurations by adapter.
Lines DescribeAdapter(const ScriptedRows& adapters,
                      const std::map<std::wstring, ScriptedRows>& configurations,
                      std::vector<std::wstring>* queries = nullptr) {
  ScriptedWmi wmi;
  wmi.answers[AdapterQuery] = adapters;
  for (const auto& [id, rows] : configurations) wmi.answers[FormatConfigurationQuery(id)] = rows;
  Lines lines = Describe(wmi);
  if (queries != nullptr) {
    for (const auto& question : wmi.questions) {
      if (question.query.starts_with(ConfigurationQueryStart)) queries->push_back(question.query);
    }
  }
  return lines;
}

TEST(SystemInformationAdapter, AddressOfTheFirstConnectedAdapter) {
  std::vector<std::wstring> queries;
  EXPECT_EQ(DescribeAdapter(
                {{{L"DeviceId", L"11"}}, {{L"DeviceId", L"12"}}},
                {{L"11", {{{L"MACAddress", L"first"}}}}, {L"12", {{{L"MACAddress", L"second"}}}}},
                &queries),
            (Lines{L"Adapter", L"  MACAddress=first"}));
  EXPECT_EQ(queries, std::vector{FormatConfigurationQuery(L"11")});
}

TEST(SystemInformationAdapter, WithoutAConnectedAdapterIsLeftOut) {
  std::vector<std::wstring> queries;
  EXPECT_EQ(DescribeAdapter({}, {{L"", {{{L"MACAddress", L"any"}}}}}, &queries), Lines{});
  EXPECT_EQ(queries, std::vector<std::wstring>{});
}

TEST(SystemInformationAdapter, RowsWithoutADeviceIdAreSkipped) {
  EXPECT_EQ(DescribeAdapter({{}, {{L"Name", L"x"}}, {{L"DeviceId", L"3"}}},
                            {{L"3", {{{L"MACAddress", L"third"}}}}}),
            (Lines{L"Adapter", L"  MACAddress=third"}));
}

TEST(SystemInformationAdapter, SpellingOfDeviceIdMatters) {
  EXPECT_EQ(DescribeAdapter({{{L"DeviceID", L"3"}}, {{L"deviceid", L"3"}}},
                            {{L"3", {{{L"MACAddress", L"third"}}}}}),
            Lines{});
}

TEST(SystemInformationAdapter, WithoutAnIpEnabledConfigurationHasNoAddress) {
  EXPECT_EQ(DescribeAdapter({{{L"DeviceId", L"7"}}}, {{L"7", {}}}), Lines{L"Adapter"});
}

TEST(SystemInformationAdapter, ConfigurationWithoutAnAddressHasNone) {
  EXPECT_EQ(DescribeAdapter({{{L"DeviceId", L"7"}}}, {{L"7", {{}, {{L"MACAddress", L"2nd"}}}}}),
            Lines{L"Adapter"});
}

TEST(SystemInformationAdapter, RefusedConfigurationStillLeavesTheCategory) {
  EXPECT_EQ(DescribeAdapter({{{L"DeviceId", L"7"}}}, {}), Lines{L"Adapter"});
}

TEST(SystemInformationAdapter, RefusedConfigurationKeepsWhatItFilledIn) {
  ScriptedWmi wmi;
  wmi.answers[AdapterQuery] = {{{L"DeviceId", L"7"}}};
  wmi.leftovers[FormatConfigurationQuery(L"7")] = {{{L"MACAddress", L"partial"}}};
  EXPECT_EQ(Describe(wmi), (Lines{L"Adapter", L"  MACAddress=partial"}));
}

TEST(SystemInformationAdapter, EmptyDeviceIdIsADeviceId) {
  std::vector<std::wstring> queries;
  EXPECT_EQ(DescribeAdapter({{{L"DeviceId", L""}}, {{L"DeviceId", L"7"}}}, {}, &queries),
            Lines{L"Adapter"});
  EXPECT_EQ(queries, std::vector{FormatConfigurationQuery(L"")});
}

TEST(SystemInformationAdapter, QueryOf1023CharactersIsAsked) {
  const std::wstring id(1023 - std::size(ConfigurationQueryStart) + 1, L'1');
  ASSERT_EQ(FormatConfigurationQuery(id).size(), 1023U);
  EXPECT_EQ(DescribeAdapter({{{L"DeviceId", id}}}, {{id, {{{L"MACAddress", L"a"}}}}}),
            (Lines{L"Adapter", L"  MACAddress=a"}));
}

TEST(SystemInformationAdapter, LongerQueryIsNotAskedAndTheCategoryStays) {
  for (const std::size_t excess : {std::size_t{1}, std::size_t{100'000}}) {
    const std::wstring id(1023 - std::size(ConfigurationQueryStart) + 1 + excess, L'1');
    std::vector<std::wstring> queries;
    EXPECT_EQ(DescribeAdapter({{{L"DeviceId", id}}, {{L"DeviceId", L"7"}}},
                              {{id, {{{L"MACAddress", L"a"}}}}, {L"7", {{{L"MACAddress", L"b"}}}}},
                              &queries),
              Lines{L"Adapter"});
    EXPECT_EQ(queries, std::vector<std::wstring>{});
  }
}

// What reaches the report.

/// A report's properties, and in which order they were set ("category/name=value").
struct Report {
  SystemProperties properties;
  Lines order;

  SystemPropertySetter Setter() {
    return
        [this](const std::wstring& name, const std::wstring& category, const std::wstring& value) {
          properties.insert_or_assign({name, category}, value);
          order.push_back(category + L"/" + name + L"=" + value);
        };
  }
};

TEST(CollectSystemInformation, SetsEveryPropertyOfEveryCategoryInOrder) {
  ScriptedWmi wmi = PlainMachine();
  Report report;
  EXPECT_EQ(CollectSystemInformation(wmi.Query(), report.properties, report.Setter()), 1);
  EXPECT_EQ(report.order, (Lines{
                              L"Video Card/Name=Card",
                              L"Video Card/CurrentHorizontalResolution=1920",
                              L"Video Card/CurrentVerticalResolution=1080",
                              L"Video Card/AdapterRAM=536870912",
                              L"System/TotalPhysicalMemory=17179869184",
                              L"OS/Caption=Seven",
                              L"OS/Version=6.1.7601",
                              L"OS/OSArchitecture=64-bit",
                              L"OS/Locale=0409",
                              L"Processor/Name=Chip",
                              L"Processor/NumberOfCores=4",
                              L"HardDisk/Size=100",
                              L"Monitor/Number=1",
                              L"Adapter/MACAddress=00:11:22:33:44:55",
                          }));
  EXPECT_EQ(report.properties.size(), 14U);
  EXPECT_EQ((report.properties.at({L"Name", L"Processor"})), L"Chip");
}

TEST(CollectSystemInformation, WithoutAnyAccessIsDoneAndSetsNothing) {
  ScriptedWmi wmi;
  Report report;
  EXPECT_EQ(CollectSystemInformation(wmi.Query(), report.properties, report.Setter()), 1);
  EXPECT_EQ(report.order, Lines{});
}

TEST(CollectSystemInformation, CategoryWithoutPropertiesSetsNothing) {
  ScriptedWmi wmi;
  wmi.answers[VideoQuery] = {};
  wmi.answers[AdapterQuery] = {{{L"DeviceId", L"7"}}};
  Report report;
  EXPECT_EQ(CollectSystemInformation(wmi.Query(), report.properties, report.Setter()), 1);
  EXPECT_EQ(report.order, Lines{});
}

TEST(CollectSystemInformation, LaterRowsSetNothing) {
  ScriptedWmi wmi;
  wmi.answers[ProcessorQuery] = {{{L"Name", L"first"}}, {{L"NumberOfCores", L"2"}}};
  Report report;
  EXPECT_EQ(CollectSystemInformation(wmi.Query(), report.properties, report.Setter()), 1);
  EXPECT_EQ(report.order, Lines{L"Processor/Name=first"});
}

TEST(CollectSystemInformation, LastOfTwoEqualNamesInACategoryStays) {
  ScriptedWmi wmi;
  wmi.answers[ProcessorQuery] = {{{L"Name", L"first"}, {L"Name", L"second"}}};
  Report report;
  EXPECT_EQ(CollectSystemInformation(wmi.Query(), report.properties, report.Setter()), 1);
  EXPECT_EQ(report.properties.size(), 1U);
  EXPECT_EQ((report.properties.at({L"Name", L"Processor"})), L"second");
}

TEST(CollectSystemInformation, ReportThatHoldsADescriptionIsLeftAsItIs) {
  ScriptedWmi wmi = PlainMachine();
  Report report;
  report.properties[{L"Anything", L"Else"}] = L"";
  EXPECT_EQ(CollectSystemInformation(wmi.Query(), report.properties, report.Setter()), 0);
  EXPECT_EQ(report.order, Lines{});
  EXPECT_EQ(wmi.questions.size(), 0U);
}

TEST(CollectSystemInformation, ReportIsDescribedOnce) {
  ScriptedWmi wmi = PlainMachine();
  Report report;
  EXPECT_EQ(CollectSystemInformation(wmi.Query(), report.properties, report.Setter()), 1);
  EXPECT_EQ(CollectSystemInformation(wmi.Query(), report.properties, report.Setter()), 0);
  EXPECT_EQ(report.order.size(), 14U);
  EXPECT_EQ(wmi.questions.size(), 8U);
}

TEST(CollectSystemInformation, ExceptionOfAQueryEscapesAndSetsNothing) {
  ScriptedWmi wmi = PlainMachine();
  Report report;
  const WmiQuery ask = [query = wmi.Query()](const wchar_t* space, const std::wstring& text,
                                             const wchar_t* properties, InfoSection* firstRow) {
    if (text == MonitorQuery) throw std::bad_alloc();
    return query(space, text, properties, firstRow);
  };
  EXPECT_THROW(CollectSystemInformation(ask, report.properties, report.Setter()), std::bad_alloc);
  EXPECT_EQ(report.order, Lines{});
}

TEST(CollectSystemInformation, ExceptionOfTheReportLeavesWhatWasSet) {
  ScriptedWmi wmi = PlainMachine();
  Report report;
  const SystemPropertySetter setter = report.Setter();
  int calls = 0;
  const SystemPropertySetter failing = [&](const std::wstring& name, const std::wstring& category,
                                           const std::wstring& value) {
    if (++calls == 3) throw std::bad_alloc();
    setter(name, category, value);
  };
  EXPECT_THROW(CollectSystemInformation(wmi.Query(), report.properties, failing), std::bad_alloc);
  EXPECT_EQ(report.order.size(), 2U);
}

}  // namespace
