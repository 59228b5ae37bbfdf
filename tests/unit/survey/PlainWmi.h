// A second access to Windows Management Instrumentation, to compare the engine's results with: it
// enumerates classes instead of running queries, takes all properties instead of a list, and
// converts values to text itself.
#pragma once

#include "platform/WindowsHeader.h"

#include <gtest/gtest.h>
#include <oleauto.h>
#include <wbemidl.h>

#include <map>
#include <string>
#include <vector>

/// COM on the test's thread.
class ComScope {
 public:
  explicit ComScope(DWORD model = COINIT_MULTITHREADED) {
    EXPECT_EQ(CoInitializeEx(nullptr, model), S_OK);
  }
  ~ComScope() { CoUninitialize(); }
  ComScope(const ComScope&) = delete;
  ComScope& operator=(const ComScope&) = delete;
};

struct PlainValue {
  VARTYPE type = VT_EMPTY;
  /// Of texts, booleans and 32-bit numbers.
  std::wstring text;
};

/// One object's properties by name.
using PlainObject = std::map<std::wstring, PlainValue>;

inline PlainValue MakePlainValue(const VARIANT& value) {
  PlainValue result{V_VT(&value), {}};
  if (result.type == VT_BSTR) result.text.assign(V_BSTR(&value), SysStringLen(V_BSTR(&value)));
  if (result.type == VT_BOOL) result.text = V_BOOL(&value) != VARIANT_FALSE ? L"True" : L"False";
  if (result.type == VT_I4) result.text = std::to_wstring(V_I4(&value));
  return result;
}

/// All objects of a class in ROOT\CIMV2. COM must be initialized.
inline std::vector<PlainObject> GetPlainObjects(const wchar_t* className) {
  std::vector<PlainObject> result;
  IWbemLocator* locator = nullptr;
  IWbemServices* services = nullptr;
  IEnumWbemClassObject* enumerator = nullptr;
  const BSTR space = SysAllocString(L"ROOT\\CIMV2");
  const BSTR name = SysAllocString(className);
  EXPECT_EQ(CoCreateInstance(CLSID_WbemLocator, nullptr, CLSCTX_INPROC_SERVER, IID_IWbemLocator,
                             reinterpret_cast<void**>(&locator)),
            S_OK);
  EXPECT_EQ(
      locator->ConnectServer(space, nullptr, nullptr, nullptr, 0, nullptr, nullptr, &services),
      S_OK);
  EXPECT_EQ(services->CreateInstanceEnum(name, 0, nullptr, &enumerator), S_OK);
  IWbemClassObject* object = nullptr;
  ULONG count = 0;
  while (enumerator->Next(10'000, 1, &object, &count) == S_OK) {
    PlainObject properties;
    object->BeginEnumeration(WBEM_FLAG_NONSYSTEM_ONLY);
    BSTR property = nullptr;
    VARIANT value = {};
    while (object->Next(0, &property, &value, nullptr, nullptr) == S_OK) {
      properties[property] = MakePlainValue(value);
      SysFreeString(property);
      VariantClear(&value);
    }
    object->Release();
    result.push_back(properties);
  }
  enumerator->Release();
  services->Release();
  locator->Release();
  SysFreeString(name);
  SysFreeString(space);
  return result;
}
