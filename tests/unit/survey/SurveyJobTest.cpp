#include "survey/SurveyJob.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <utility>

#include "survey/WmiQueryEngine.h"
#include "tests/support/FakeClock.h"
#include "tests/support/ReplacedImport.h"
#include "tests/unit/survey/PlainWmi.h"

extern "C" void* __imp_CoInitializeEx;
extern "C" void* __imp_CoUninitialize;

namespace {

/// Values by category and name.
using Description = std::map<std::pair<std::wstring, std::wstring>, std::wstring>;

/// A store without files: the survey only fills its properties.
struct Fixture {
  Description GetDescription() const {
    Description all;
    for (const auto& [key, value] : store.GetSystemProperties()) {
      all[{key.category, key.name}] = value;
    }
    return all;
  }

  CommandStats commands;
  FileTypeStats fileTypes;
  FakeClock clock;
  CReportStore store{commands, fileTypes, clock};
};

/// Counts the calls that begin and end COM.
class ComCounter {
 public:
  ComCounter() {
    begins = 0;
    ends = 0;
    begin = reinterpret_cast<decltype(begin)>(begin_.GetOriginal());
    end = reinterpret_cast<decltype(end)>(end_.GetOriginal());
  }

  inline static int begins = 0;
  inline static int ends = 0;

 private:
  static HRESULT WINAPI Begin(void* reserved, DWORD model) {
    ++begins;
    return begin(reserved, model);
  }
  static void WINAPI End() {
    ++ends;
    end();
  }

  inline static decltype(&CoInitializeEx) begin = nullptr;
  inline static decltype(&CoUninitialize) end = nullptr;
  ReplacedImport begin_{__imp_CoInitializeEx, reinterpret_cast<void*>(&Begin)};
  ReplacedImport end_{__imp_CoUninitialize, reinterpret_cast<void*>(&End)};
};

bool IsComInitialized() {
  APTTYPE type{};
  APTTYPEQUALIFIER qualifier{};
  return CoGetApartmentType(&type, &qualifier) == S_OK;
}

void Take(Description& description, const wchar_t* category, const PlainObject& object,
          std::initializer_list<const wchar_t*> names) {
  for (const wchar_t* const name : names) {
    const auto found = object.find(name);
    if (found == object.end()) continue;
    const VARTYPE type = found->second.type;
    if (type == VT_NULL || (type & VT_ARRAY) != 0) continue;
    description[{category, name}] = found->second.text;
  }
}

/// The expected description, except for monitors, read by enumeration instead of queries.
Description FindDescription() {
  const ComScope com;
  Description all;
  Take(all, L"Video Card", GetPlainObjects(L"Win32_VideoController").at(0),
       {L"Name", L"CurrentHorizontalResolution", L"CurrentVerticalResolution", L"AdapterRAM"});
  Take(all, L"System", GetPlainObjects(L"Win32_ComputerSystem").at(0), {L"TotalPhysicalMemory"});
  Take(all, L"OS", GetPlainObjects(L"Win32_OperatingSystem").at(0),
       {L"Caption", L"Version", L"OSArchitecture", L"Locale"});
  Take(all, L"Processor", GetPlainObjects(L"Win32_Processor").at(0), {L"Name", L"NumberOfCores"});
  std::int64_t size = 0;
  for (const PlainObject& disk : GetPlainObjects(L"Win32_LogicalDisk")) {
    const PlainValue& value = disk.at(L"Size");
    if (value.type == VT_BSTR) size += std::stoll(value.text);
  }
  all[{L"HardDisk", L"Size"}] = std::to_wstring(size);
  for (const PlainObject& adapter : GetPlainObjects(L"Win32_NetworkAdapter")) {
    if (adapter.at(L"NetConnectionStatus").text != L"2") continue;
    for (const PlainObject& settings : GetPlainObjects(L"Win32_NetworkAdapterConfiguration")) {
      if (settings.at(L"Index").text != adapter.at(L"Index").text) continue;
      if (settings.at(L"IPEnabled").text != L"True") continue;
      Take(all, L"Adapter", settings, {L"MACAddress"});
    }
    break;
  }
  return all;
}

TEST(SurveyJob, DescribesTheMachineAsAnEnumerationShowsIt) {
  Fixture f;
  EXPECT_EQ(CollectSystemInformation(f.store), 1);
  const Description expected = FindDescription();
  EXPECT_GE(expected.size(), 12U) << "the machine has too little to describe";
  EXPECT_EQ(f.GetDescription(), expected);
}

// Wine's monitors have no property Status, so it refuses the query.
TEST(SurveyJob, CategoryOfARefusedQueryIsMissing) {
  {
    const ComScope com;
    InfoSection row(L"Monitor");
    ASSERT_EQ(RunWmiQuery(L"\\\\.\\ROOT\\CIMV2",
                          L"SELECT * FROM  Win32_DesktopMonitor Where Status='OK'", L"Name", &row),
              0);
    ASSERT_FALSE(GetPlainObjects(L"Win32_DesktopMonitor").empty());
  }
  Fixture f;
  EXPECT_EQ(CollectSystemInformation(f.store), 1);
  EXPECT_FALSE(f.GetDescription().contains({L"Monitor", L"Number"}));
  EXPECT_FALSE(f.GetDescription().empty());
}

TEST(SurveyJob, StoreWithADescriptionIsLeftUnchangedAndNeedsNoCom) {
  Fixture f;
  f.store.SetSystemProperty(L"Version", L"OS", L"5.0");
  const ComCounter counter;
  EXPECT_EQ(CollectSystemInformation(f.store), 0);
  EXPECT_EQ(ComCounter::begins, 0);
  EXPECT_EQ(f.GetDescription(), (Description{{{L"OS", L"Version"}, L"5.0"}}));
}

TEST(SurveyJob, ComIsInitializedOnceAndForTheSurveyOnly) {
  ASSERT_FALSE(IsComInitialized());
  Fixture f;
  {
    const ComCounter counter;
    EXPECT_EQ(CollectSystemInformation(f.store), 1);
  }
  EXPECT_FALSE(f.GetDescription().empty());
  EXPECT_FALSE(IsComInitialized());
  EXPECT_EQ(ComCounter::begins, 1);
  EXPECT_EQ(ComCounter::ends, 1);
}

// A thread of the other threading model cannot change it, but it has COM.
TEST(SurveyJob, ComOfTheThreadIsUsedAndKept) {
  for (const DWORD model : {COINIT_MULTITHREADED, COINIT_APARTMENTTHREADED}) {
    Fixture f;
    const ComScope com(model);
    EXPECT_EQ(CollectSystemInformation(f.store), 1);
    EXPECT_FALSE(f.GetDescription().empty());
    EXPECT_TRUE(IsComInitialized()) << model;
  }
}

TEST(SurveyJob, SurveysGiveTheSameDescription) {
  Fixture first;
  EXPECT_EQ(CollectSystemInformation(first.store), 1);
  for (int i = 0; i < 4; ++i) {
    Fixture f;
    EXPECT_EQ(CollectSystemInformation(f.store), 1);
    EXPECT_EQ(f.GetDescription(), first.GetDescription());
  }
}

}  // namespace
