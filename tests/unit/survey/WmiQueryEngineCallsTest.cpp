// The engine's calls to a fake of WMI: what the machine's own does not show or cannot be made to
// do.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cwchar>
#include <string>
#include <string_view>
#include <thread>

#include "survey/WmiQueryEngine.h"
#include "tests/support/ReplacedImport.h"
#include "tests/unit/survey/FakeWmi.h"
#include "tests/unit/survey/PlainWmi.h"
#include "tests/unit/survey/WmiRows.h"

extern "C" void* __imp_CoCreateInstance;
extern "C" void* __imp_SysAllocString;
extern "C" void* __imp_SysFreeString;

namespace {

constexpr wchar_t Cimv2[] = L"\\\\.\\ROOT\\CIMV2";
constexpr wchar_t Query[] = L"SELECT * FROM Win32_Processor";

// RPC_C_AUTHN_WINNT, RPC_C_AUTHZ_NONE, RPC_C_AUTHN_LEVEL_CALL, RPC_C_IMP_LEVEL_IMPERSONATE and
// EOAC_NONE; WBEM_FLAG_FORWARD_ONLY | WBEM_FLAG_RETURN_IMMEDIATELY.
const Calls Opening = {L"connect \\\\.\\ROOT\\CIMV2 0", L"blanket 10 0 3 3 0",
                       L"query WQL 48 SELECT * FROM Win32_Processor"};

/// Adds the engine's system strings and the creation of its locator to the calls.
class SystemCallRecorder {
 public:
  explicit SystemCallRecorder(Calls& target) {
    calls = &target;
    freeString = reinterpret_cast<decltype(freeString)>(free_.GetOriginal());
    createInstance = reinterpret_cast<decltype(createInstance)>(create_.GetOriginal());
  }

 private:
  static BSTR WINAPI Allocate(const OLECHAR* text) {
    calls->push_back(std::wstring(L"allocate ") + text);
    return SysAllocStringLen(text, static_cast<UINT>(std::wcslen(text)));
  }
  static void WINAPI Free(BSTR text) {
    calls->push_back(L"free " + TextOf(text));
    freeString(text);
  }
  static HRESULT WINAPI Create(REFCLSID id, IUnknown* outer, DWORD context, REFIID interfaceId,
                               void** object) {
    calls->push_back(L"create in context " + std::to_wstring(context));
    return createInstance(id, outer, context, interfaceId, object);
  }

  inline static Calls* calls = nullptr;
  inline static decltype(&SysFreeString) freeString = nullptr;
  inline static decltype(&CoCreateInstance) createInstance = nullptr;
  ReplacedImport allocate_{__imp_SysAllocString, reinterpret_cast<void*>(&Allocate)};
  ReplacedImport free_{__imp_SysFreeString, reinterpret_cast<void*>(&Free)};
  ReplacedImport create_{__imp_CoCreateInstance, reinterpret_cast<void*>(&Create)};
};

std::function<void(VARIANT&)> Text(const wchar_t* text) {
  return [text](VARIANT& value) {
    V_VT(&value) = VT_BSTR;
    V_BSTR(&value) = SysAllocStringLen(text, static_cast<UINT>(std::wcslen(text)));
  };
}

class WmiQueryEngineCalls : public testing::Test {
 protected:
  int Run(const wchar_t* properties = L"Name") {
    return RunWmiQuery(Cimv2, Query, properties, &first_);
  }

  /// Everything but the result's objects.
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

TEST_F(WmiQueryEngineCalls, WrapsItsTextsFirstThenCreatesTheLocatorInProcessAndFreesTheTextsLast) {
  const SystemCallRecorder recorder(wmi_.calls);
  EXPECT_EQ(Run(), 1);
  EXPECT_EQ(wmi_.calls, (Calls{L"allocate WQL", std::wstring(L"allocate ") + Query,
                               L"create in context 1", std::wstring(L"allocate ") + Cimv2,
                               Opening[0], std::wstring(L"free ") + Cimv2, Opening[1], Opening[2],
                               L"next -1 1", std::wstring(L"free ") + Query, L"free WQL"}));
}

// docs/compatibility.md, 29: the objects are not released.
TEST_F(WmiQueryEngineCalls, GetsObjectsOneByOneWithoutATimeOutAndReleasesAllButThem) {
  wmi_.AddObject({{L"Name", Text(L"a")}});
  wmi_.AddObject({{L"Name", Text(L"b")}});
  EXPECT_EQ(Run(), 1);
  Calls expected = Opening;
  expected.insert(expected.end(), 3, L"next -1 1");
  EXPECT_EQ(wmi_.calls, expected);
  EXPECT_EQ(GetRows(first_), (Rows{{{L"Name", L"a"}}, {{L"Name", L"b"}}}));
  ExpectReleased();
  for (const auto& object : wmi_.objects.objects) EXPECT_EQ(object->references, 1);
}

TEST_F(WmiQueryEngineCalls, NullFirstRowFailsBeforeAnyCall) {
  const SystemCallRecorder recorder(wmi_.calls);
  EXPECT_EQ(RunWmiQuery(Cimv2, Query, L"Name", nullptr), 0);
  EXPECT_EQ(wmi_.calls, Calls{});
}

TEST_F(WmiQueryEngineCalls, FailedStepEndsTheQueryAndFreesEverything) {
  const struct {
    HRESULT& result;
    HRESULT failure;
    std::size_t calls;
  } cases[] = {{wmi_.factory.result, E_ACCESSDENIED, 0},
               {wmi_.locator.result, ResultOf(WBEM_E_ACCESS_DENIED), 1},
               {wmi_.services.result, ResultOf(WBEM_E_INVALID_QUERY), 3}};
  for (const auto& [result, failure, calls] : cases) {
    result = failure;
    wmi_.calls.clear();
    EXPECT_EQ(Run(), 0);
    EXPECT_EQ(wmi_.calls, Calls(Opening.begin(), Opening.begin() + static_cast<long>(calls)));
    wmi_.calls.clear();
    {
      const SystemCallRecorder recorder(wmi_.calls);
      EXPECT_EQ(Run(), 0);
    }
    const auto count = [this](std::wstring_view start) {
      return std::ranges::count_if(
          wmi_.calls, [start](const std::wstring& call) { return call.starts_with(start); });
    };
    EXPECT_EQ(count(L"allocate "), calls == 0 ? 2 : 3);
    EXPECT_EQ(count(L"free "), count(L"allocate ")) << calls;
    ExpectReleased();
    result = S_OK;
  }
}

TEST_F(WmiQueryEngineCalls, FailureToSetTheBlanketIsIgnored) {
  wmi_.security.result = E_ACCESSDENIED;
  wmi_.AddObject({{L"Name", Text(L"a")}});
  EXPECT_EQ(Run(), 1);
  EXPECT_EQ(GetRows(first_), (Rows{{{L"Name", L"a"}}}));
  ExpectReleased();
}

TEST_F(WmiQueryEngineCalls, ErrorAfterTheFirstObjectEndsTheResultAndKeepsTheRow) {
  wmi_.AddObject({{L"Name", Text(L"a")}});
  wmi_.objects.endResult = ResultOf(WBEM_E_TRANSPORT_FAILURE);
  EXPECT_EQ(Run(), 1);
  EXPECT_EQ(GetRows(first_), (Rows{{{L"Name", L"a"}}}));
  ExpectReleased();
}

TEST_F(WmiQueryEngineCalls, ErrorInsteadOfTheFirstObjectIsAnEmptyResult) {
  wmi_.objects.endResult = ResultOf(WBEM_E_ACCESS_DENIED);
  EXPECT_EQ(Run(), 1);
  EXPECT_EQ(GetRows(first_), Rows(1));
}

TEST_F(WmiQueryEngineCalls, ValuesBecomeTextAndThoseWithoutATextAreLeftOut) {
  FakeObject embedded({});
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
      {L"Array",
       [](VARIANT& v) {
         V_VT(&v) = VT_ARRAY | VT_BSTR;
         V_ARRAY(&v) = SafeArrayCreateVector(VT_BSTR, 0, 2);
       }},
      {L"Object",
       [&embedded](VARIANT& v) {
         embedded.AddRef();
         V_VT(&v) = VT_UNKNOWN;
         V_UNKNOWN(&v) = &embedded;
       }},
  });
  EXPECT_EQ(Run(L"Text;Empty;Null;Yes;Array;Number;Missing;Object;Text"), 1);
  EXPECT_EQ(GetRows(first_), (Rows{{{L"Text", L"a text"},
                                    {L"Empty", L""},
                                    {L"Yes", L"True"},
                                    {L"Number", L"-7"},
                                    {L"Text", L"a text"}}}));
  EXPECT_EQ(embedded.references, 0);
}

TEST_F(WmiQueryEngineCalls, ObjectsWithoutAnyValueAreRows) {
  for (int i = 0; i < 3; ++i) wmi_.AddObject({});
  EXPECT_EQ(Run(), 1);
  EXPECT_EQ(GetRows(first_), Rows(3));
}

TEST_F(WmiQueryEngineCalls, StalledObjectIsWaitedFor) {
  std::atomic<bool> isReleased = false;
  std::atomic<bool> isRequested = false;
  wmi_.AddObject({{L"Name", Text(L"late")}});
  wmi_.objects.onNext = [&] {
    isRequested = true;
    isReleased.wait(false);
  };
  std::atomic<int> flag = -1;
  std::thread engine([&] {
    EXPECT_GE(CoInitializeEx(nullptr, COINIT_MULTITHREADED), 0);
    flag = Run();
    CoUninitialize();
  });
  while (!isRequested) std::this_thread::yield();
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  EXPECT_EQ(flag, -1) << "the engine did not wait";
  isReleased = true;
  isReleased.notify_all();
  engine.join();
  EXPECT_EQ(flag, 1);
  EXPECT_EQ(GetRows(first_), (Rows{{{L"Name", L"late"}}}));
}

}  // namespace
