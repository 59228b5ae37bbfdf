// The engine's calls, on a WMI that the test writes: what the machine's own does not show or cannot
// be brought to do.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>

#include "survey/WmiQueryEngine.h"
#include "tests/unit/survey/FakeWmi.h"
#include "tests/unit/survey/PlainWmi.h"

namespace {

constexpr wchar_t Cimv2[] = L"\\\\.\\ROOT\\CIMV2";
constexpr wchar_t Query[] = L"SELECT * FROM Win32_Processor";

// Authentication by Windows, without authorization, for each call; impersonation; no capabilities.
const Calls Opening = {L"connect \\\\.\\ROOT\\CIMV2 0", L"blanket 10 0 3 3 0",
                       L"query WQL 48 SELECT * FROM Win32_Processor"};

Calls OpeningAnd(Calls more) {
  more.insert(more.begin(), Opening.begin(), Opening.end());
  return more;
}

std::function<void(VARIANT&)> Text(const wchar_t* text) {
  return [text](VARIANT& value) {
    V_VT(&value) = VT_BSTR;
    V_BSTR(&value) = SysAllocString(text);
  };
}

/// All rows as text, a line each.
std::vector<std::wstring> RowsOf(InfoSection& first) {
  std::vector<std::wstring> rows;
  for (InfoSection* section = &first;; section = &section->GetOrAddNextRow()) {
    std::wstring row;
    for (const InfoProperty* p = section->GetFirstProperty(); p != nullptr;
         p = section->GetNextProperty()) {
      row += p->name + L"=" + p->value + L";";
    }
    rows.push_back(row);
    if (section->GetNextRow() == nullptr) return rows;
  }
}

class WmiQueryEngineCalls : public testing::Test {
 protected:
  int Ask(const wchar_t* properties = L"Name") {
    return RunWmiQuery(Cimv2, Query, properties, &first_);
  }

  /// Nobody but the test holds anything, save the result's objects.
  void ExpectReleased() const {
    EXPECT_EQ(wmi_.locator.references, 0);
    EXPECT_EQ(wmi_.services.references, 0);
    EXPECT_EQ(wmi_.security.references, 0);
    EXPECT_EQ(wmi_.objects.references, 0);
  }

  const ComScope com_;
  FakeWmi wmi_;
  InfoSection first_{L"rows"};
};

TEST_F(WmiQueryEngineCalls, ObjectsAreAskedForOneByOneWithoutATimeOut) {
  wmi_.AddObject({{L"Name", Text(L"a")}});
  wmi_.AddObject({{L"Name", Text(L"b")}});
  EXPECT_EQ(Ask(), 1);
  EXPECT_EQ(wmi_.calls, OpeningAnd({L"next -1 1", L"next -1 1", L"next -1 1"}));
  EXPECT_EQ(RowsOf(first_), (std::vector<std::wstring>{L"Name=a;", L"Name=b;"}));
}

TEST_F(WmiQueryEngineCalls, EverythingButTheObjectsIsReleased) {
  wmi_.AddObject({{L"Name", Text(L"a")}});
  wmi_.AddObject({{L"Name", Text(L"b")}});
  EXPECT_EQ(Ask(), 1);
  ExpectReleased();
  for (const auto& object : wmi_.objects.objects) {
    EXPECT_EQ(object->references, 1) << "deliberately not released";
  }
}

TEST_F(WmiQueryEngineCalls, NullFirstRowEndsItBeforeAnyCall) {
  EXPECT_EQ(RunWmiQuery(Cimv2, Query, L"Name", nullptr), 0);
  EXPECT_EQ(wmi_.calls, Calls{});
}

TEST_F(WmiQueryEngineCalls, LocatorThatCannotBeMadeEndsIt) {
  wmi_.factory.result = E_ACCESSDENIED;
  EXPECT_EQ(Ask(), 0);
  EXPECT_EQ(wmi_.calls, Calls{});
  ExpectReleased();
}

TEST_F(WmiQueryEngineCalls, FailedConnectionEndsIt) {
  wmi_.locator.result = ResultOf(WBEM_E_ACCESS_DENIED);
  EXPECT_EQ(Ask(), 0);
  EXPECT_EQ(wmi_.calls, Calls{Opening[0]});
  ExpectReleased();
}

TEST_F(WmiQueryEngineCalls, BlanketThatCannotBeSetDoesNotEndIt) {
  wmi_.security.result = E_ACCESSDENIED;
  wmi_.AddObject({{L"Name", Text(L"a")}});
  EXPECT_EQ(Ask(), 1);
  EXPECT_EQ(RowsOf(first_), std::vector<std::wstring>{L"Name=a;"});
  ExpectReleased();
}

TEST_F(WmiQueryEngineCalls, RefusedQueryEndsIt) {
  wmi_.services.result = ResultOf(WBEM_E_INVALID_QUERY);
  EXPECT_EQ(Ask(), 0);
  EXPECT_EQ(wmi_.calls, Opening);
  ExpectReleased();
}

TEST_F(WmiQueryEngineCalls, ErrorBehindTheFirstObjectEndsTheResultAndKeepsTheRow) {
  wmi_.AddObject({{L"Name", Text(L"a")}});
  wmi_.objects.endResult = ResultOf(WBEM_E_TRANSPORT_FAILURE);
  EXPECT_EQ(Ask(), 1);
  EXPECT_EQ(RowsOf(first_), std::vector<std::wstring>{L"Name=a;"});
  ExpectReleased();
}

TEST_F(WmiQueryEngineCalls, ErrorInsteadOfTheFirstObjectIsAnEmptyResult) {
  wmi_.objects.endResult = ResultOf(WBEM_E_ACCESS_DENIED);
  EXPECT_EQ(Ask(), 1);
  EXPECT_EQ(RowsOf(first_), std::vector<std::wstring>{L""});
}

TEST_F(WmiQueryEngineCalls, ValuesOfEveryKindInOneObject) {
  wmi_.AddObject({
      {L"Text", Text(L"a text")},
      {L"Empty", Text(L"")},
      {L"Null", [](VARIANT& v) { V_VT(&v) = VT_NULL; }},
      {L"Yes",
       [](VARIANT& v) {
         V_VT(&v) = VT_BOOL;
         V_BOOL(&v) = VARIANT_TRUE;
       }},
      {L"Number",
       [](VARIANT& v) {
         V_VT(&v) = VT_I4;
         V_I4(&v) = -7;
       }},
      {L"Wide",
       [](VARIANT& v) {
         V_VT(&v) = VT_UI8;
         V_UI8(&v) = ~0ULL;
       }},
      {L"WideText", Text(L"18446744073709551615")},
      {L"Array",
       [](VARIANT& v) {
         V_VT(&v) = VT_ARRAY | VT_BSTR;
         V_ARRAY(&v) = SafeArrayCreateVector(VT_BSTR, 0, 2);
       }},
  });
  EXPECT_EQ(Ask(L"Text;Empty;Null;Yes;Array;Number;Missing;Wide;WideText;Text"), 1);
  EXPECT_EQ(RowsOf(first_),
            std::vector<std::wstring>{L"Text=a text;Empty=;Yes=True;Number=-7;"
                                      L"Wide=18446744073709551615;"
                                      L"WideText=18446744073709551615;Text=a text;"});
}

TEST_F(WmiQueryEngineCalls, EmbeddedObjectIsLeftOutAndReleased) {
  FakeObject embedded({});
  wmi_.AddObject({{L"Object",
                   [&embedded](VARIANT& v) {
                     embedded.AddRef();
                     V_VT(&v) = VT_UNKNOWN;
                     V_UNKNOWN(&v) = &embedded;
                   }},
                  {L"Name", Text(L"a")}});
  EXPECT_EQ(Ask(L"Object;Name"), 1);
  EXPECT_EQ(RowsOf(first_), std::vector<std::wstring>{L"Name=a;"});
  EXPECT_EQ(embedded.references, 0);
}

TEST_F(WmiQueryEngineCalls, RowsWithoutAnyValueAreRows) {
  for (int i = 0; i < 3; ++i) wmi_.AddObject({});
  EXPECT_EQ(Ask(), 1);
  EXPECT_EQ(RowsOf(first_), std::vector<std::wstring>(3));
}

TEST_F(WmiQueryEngineCalls, StalledAnswerIsWaitedFor) {
  std::atomic<bool> isAnswered = false;
  std::atomic<bool> isAsked = false;
  wmi_.AddObject({{L"Name", Text(L"late")}});
  wmi_.objects.onNext = [&] {
    isAsked = true;
    isAnswered.wait(false);
  };
  std::atomic<int> flag = -1;
  std::thread asker([&] {
    EXPECT_GE(CoInitializeEx(nullptr, COINIT_MULTITHREADED), 0);
    flag = Ask();
    CoUninitialize();
  });
  while (!isAsked) std::this_thread::yield();
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  EXPECT_EQ(flag, -1) << "the engine did not wait";
  isAnswered = true;
  isAnswered.notify_all();
  asker.join();
  EXPECT_EQ(flag, 1);
  EXPECT_EQ(RowsOf(first_), std::vector<std::wstring>{L"Name=late;"});
}

}  // namespace
