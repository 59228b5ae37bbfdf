#include "survey/SurveyJob.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <utility>

#include "survey/WmiQueryEngine.h"
#include "tests/support/FakeClock.h"
#include "tests/unit/survey/PlainWmi.h"

namespace {

/// Values by category and name.
using Description = std::map<std::pair<std::wstring, std::wstring>, std::wstring>;

/// A store over no files: the survey only fills it.
struct Fixture {
  Description Held() const {
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

bool IsComInitialised() {
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

/// The description that the machine should get, found in another way. Not of monitors.
Description ExpectedDescription() {
  const ComScope com;
  Description all;
  Take(all, L"Video Card", PlainObjects(L"Win32_VideoController").at(0),
       {L"Name", L"CurrentHorizontalResolution", L"CurrentVerticalResolution", L"AdapterRAM"});
  Take(all, L"System", PlainObjects(L"Win32_ComputerSystem").at(0), {L"TotalPhysicalMemory"});
  Take(all, L"OS", PlainObjects(L"Win32_OperatingSystem").at(0),
       {L"Caption", L"Version", L"OSArchitecture", L"Locale"});
  Take(all, L"Processor", PlainObjects(L"Win32_Processor").at(0), {L"Name", L"NumberOfCores"});
  std::int64_t size = 0;
  for (const PlainObject& disk : PlainObjects(L"Win32_LogicalDisk")) {
    const PlainValue& value = disk.at(L"Size");
    if (value.type == VT_BSTR) size += std::stoll(value.text);
  }
  all[{L"HardDisk", L"Size"}] = std::to_wstring(size);
  for (const PlainObject& adapter : PlainObjects(L"Win32_NetworkAdapter")) {
    if (adapter.at(L"NetConnectionStatus").text != L"2") continue;
    for (const PlainObject& settings : PlainObjects(L"Win32_NetworkAdapterConfiguration")) {
      if (settings.at(L"Index").text != adapter.at(L"Index").text) continue;
      if (settings.at(L"IPEnabled").text != L"True") continue;
      Take(all, L"Adapter", settings, {L"MACAddress"});
    }
    break;
  }
  return all;
}

TEST(SurveyJob, DescribesTheMachineAsAnotherWaySeesIt) {
  Fixture f;
  EXPECT_EQ(CollectSystemInformation(f.store), 1);
  const Description expected = ExpectedDescription();
  EXPECT_GE(expected.size(), 12U) << "the machine has too little to describe";
  EXPECT_EQ(f.Held(), expected);
}

// Wine has no Status of a monitor and refuses the query.
TEST(SurveyJob, CategoryWhoseQueryTheMachineRefusesIsMissing) {
  {
    const ComScope com;
    InfoSection row(L"Monitor");
    ASSERT_EQ(RunWmiQuery(L"\\\\.\\ROOT\\CIMV2",
                          L"SELECT * FROM  Win32_DesktopMonitor Where Status='OK'", L"Name", &row),
              0);
    ASSERT_FALSE(PlainObjects(L"Win32_DesktopMonitor").empty());
  }
  Fixture f;
  EXPECT_EQ(CollectSystemInformation(f.store), 1);
  EXPECT_FALSE(f.Held().contains({L"Monitor", L"Number"}));
  EXPECT_FALSE(f.Held().empty());
}

TEST(SurveyJob, StoreThatHoldsADescriptionIsLeftAsItIs) {
  Fixture f;
  f.store.SetSystemProperty(L"Version", L"OS", L"5.0");
  EXPECT_EQ(CollectSystemInformation(f.store), 0);
  EXPECT_EQ(f.Held(), (Description{{{L"OS", L"Version"}, L"5.0"}}));
}

TEST(SurveyJob, ComIsThereForTheSurveyOnly) {
  ASSERT_FALSE(IsComInitialised());
  Fixture f;
  EXPECT_EQ(CollectSystemInformation(f.store), 1);
  EXPECT_FALSE(f.Held().empty());
  EXPECT_FALSE(IsComInitialised());
}

TEST(SurveyJob, ComOfTheThreadIsNotEnded) {
  Fixture f;
  const ComScope com;
  EXPECT_EQ(CollectSystemInformation(f.store), 1);
  EXPECT_FALSE(f.Held().empty());
  EXPECT_TRUE(IsComInitialised());
}

// A thread of one apartment cannot join the other, but it has COM.
TEST(SurveyJob, ComOfAnotherKindServesAndStays) {
  Fixture f;
  const ComScope com(COINIT_APARTMENTTHREADED);
  EXPECT_EQ(CollectSystemInformation(f.store), 1);
  EXPECT_FALSE(f.Held().empty());
  EXPECT_TRUE(IsComInitialised()) << "what was not begun was ended";
}

TEST(SurveyJob, CanBeDoneAgain) {
  Description first;
  for (int i = 0; i < 5; ++i) {
    Fixture f;
    EXPECT_EQ(CollectSystemInformation(f.store), 1);
    if (i == 0) first = f.Held();
    EXPECT_FALSE(first.empty());
    EXPECT_EQ(f.Held(), first);
  }
}

}  // namespace
