#include "survey/WmiQueryEngine.h"

#include "platform/WindowsHeader.h"

#include <oleauto.h>
#include <wbemidl.h>

#include <optional>
#include <vector>

#include "platform/Handles.h"
#include "survey/PropertyList.h"
#include "survey/VariantText.h"

namespace {

struct SystemStringTraits {
  using Handle = BSTR;
  static Handle GetInvalid() { return nullptr; }
  static void Close(Handle text) { SysFreeString(text); }
};
using CSystemString = CUniqueHandle<SystemStringTraits>;

/// Owns one value and frees what it refers to.
class CVariant {
 public:
  CVariant() = default;
  CVariant(const CVariant&) = delete;
  CVariant& operator=(const CVariant&) = delete;
  ~CVariant() { VariantClear(&value_); }

  VARIANT& Get() { return value_; }

 private:
  VARIANT value_ = {};
};

CComPointer<IWbemLocator> CreateLocator() {
  void* locator = nullptr;
  CoCreateInstance(CLSID_WbemLocator, nullptr /* no aggregate */, CLSCTX_INPROC_SERVER,
                   IID_IWbemLocator, &locator);
  return CComPointer<IWbemLocator>(static_cast<IWbemLocator*>(locator));
}

CComPointer<IWbemServices> Connect(const CComPointer<IWbemLocator>& locator, const wchar_t* space) {
  const CSystemString spaceText(SysAllocString(space));
  IWbemServices* services = nullptr;
  locator.Get()->ConnectServer(spaceText.Get(), nullptr /* user */, nullptr /* password */,
                               nullptr /* locale */, 0 /* no flags */, nullptr /* authority */,
                               nullptr /* context */, &services);
  return CComPointer<IWbemServices>(services);
}

CComPointer<IEnumWbemClassObject> Execute(const CComPointer<IWbemServices>& services,
                                          const CSystemString& language,
                                          const CSystemString& query) {
  IEnumWbemClassObject* objects = nullptr;
  services.Get()->ExecQuery(language.Get(), query.Get(),
                            WBEM_FLAG_FORWARD_ONLY | WBEM_FLAG_RETURN_IMMEDIATELY,
                            nullptr /* context */, &objects);
  return CComPointer<IEnumWbemClassObject>(objects);
}

void AddProperties(IWbemClassObject& object, const std::vector<std::wstring>& names,
                   InfoSection& row) {
  for (const std::wstring& name : names) {
    CVariant value;
    if (FAILED(object.Get(name.c_str(), 0 /* no flags */, &value.Get(), nullptr /* type */,
                          nullptr /* origin */))) {
      continue;
    }
    if (const std::optional<std::wstring> text = ReadVariantText(value.Get())) {
      row.AddProperty(name, *text);
    }
  }
}

}  // namespace

int RunWmiQuery(const wchar_t* space, const std::wstring& query, const wchar_t* properties,
                InfoSection* firstRow) {
  if (firstRow == nullptr) return 0;
  const CSystemString language(SysAllocString(L"WQL"));
  const CSystemString queryText(SysAllocString(query.c_str()));
  const CComPointer<IWbemLocator> locator = CreateLocator();
  if (!locator) return 0;
  const CComPointer<IWbemServices> services = Connect(locator, space);
  if (!services) return 0;
  // A failure here is ignored: where the rights are missing, the query itself fails.
  CoSetProxyBlanket(services.Get(), RPC_C_AUTHN_WINNT, RPC_C_AUTHZ_NONE, nullptr /* principal */,
                    RPC_C_AUTHN_LEVEL_CALL, RPC_C_IMP_LEVEL_IMPERSONATE, nullptr /* identity */,
                    EOAC_NONE);
  const CComPointer<IEnumWbemClassObject> objects = Execute(services, language, queryText);
  if (!objects) return 0;

  const std::vector<std::wstring> names = SplitPropertyList(properties);
  for (InfoSection* row = nullptr;;) {
    // Never released (docs/compatibility.md, 29): a handful of small objects, once in a process.
    IWbemClassObject* object = nullptr;
    ULONG count = 0;
    objects.Get()->Next(static_cast<LONG>(WBEM_INFINITE), 1, &object, &count);
    if (count == 0) return 1;
    row = row == nullptr ? firstRow : &row->GetOrAddNextRow();
    AddProperties(*object, names, *row);
  }
}
