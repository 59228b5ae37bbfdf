// A fake of Windows Management Instrumentation at the level of its COM interfaces. It records the
// engine's calls with their arguments and counts references.
#pragma once

#include "platform/WindowsHeader.h"

#include <gtest/gtest.h>
#include <oleauto.h>
#include <wbemidl.h>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

/// The SDK's constants have another type than the calls' results.
constexpr HRESULT ResultOf(WBEMSTATUS status) {
  return static_cast<HRESULT>(status);
}

// COM's interfaces have no virtual destructor: they are never deleted through one.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

/// A method that the engine does not call.
#define FAKE_UNUSED(name, ...)                           \
  HRESULT STDMETHODCALLTYPE name(__VA_ARGS__) override { \
    return E_NOTIMPL;                                    \
  }

/// Counts references. Its lifetime is its owner's, whatever the count.
template <typename Interface>
class FakeUnknown : public Interface {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
    *object = Find(id);
    if (*object == nullptr) return E_NOINTERFACE;
    this->AddRef();
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return static_cast<ULONG>(++references); }
  ULONG STDMETHODCALLTYPE Release() override { return static_cast<ULONG>(--references); }

  /// Held by the engine.
  int references = 0;

 protected:
  virtual void* Find(REFIID id) { return id == IID_IUnknown ? this : nullptr; }
};

/// One object of a result.
class FakeObject final : public FakeUnknown<IWbemClassObject> {
 public:
  using Values = std::map<std::wstring, std::function<void(VARIANT&)>>;
  explicit FakeObject(Values values) : values_(std::move(values)) {}

  HRESULT STDMETHODCALLTYPE Get(LPCWSTR name, LONG flags, VARIANT* value, CIMTYPE*,
                                LONG*) override {
    if (flags != 0) return ResultOf(WBEM_E_INVALID_PARAMETER);
    const auto found = values_.find(name);
    if (found == values_.end()) return ResultOf(WBEM_E_NOT_FOUND);
    found->second(*value);
    return S_OK;
  }

  FAKE_UNUSED(GetQualifierSet, IWbemQualifierSet**);
  FAKE_UNUSED(Put, LPCWSTR, LONG, VARIANT*, CIMTYPE);
  FAKE_UNUSED(Delete, LPCWSTR);
  FAKE_UNUSED(GetNames, LPCWSTR, LONG, VARIANT*, SAFEARRAY**);
  FAKE_UNUSED(BeginEnumeration, LONG);
  FAKE_UNUSED(Next, LONG, BSTR*, VARIANT*, CIMTYPE*, LONG*);
  FAKE_UNUSED(EndEnumeration);
  FAKE_UNUSED(GetPropertyQualifierSet, LPCWSTR, IWbemQualifierSet**);
  FAKE_UNUSED(Clone, IWbemClassObject**);
  FAKE_UNUSED(GetObjectText, LONG, BSTR*);
  FAKE_UNUSED(SpawnDerivedClass, LONG, IWbemClassObject**);
  FAKE_UNUSED(SpawnInstance, LONG, IWbemClassObject**);
  FAKE_UNUSED(CompareTo, LONG, IWbemClassObject*);
  FAKE_UNUSED(GetPropertyOrigin, LPCWSTR, BSTR*);
  FAKE_UNUSED(InheritsFrom, LPCWSTR);
  FAKE_UNUSED(GetMethod, LPCWSTR, LONG, IWbemClassObject**, IWbemClassObject**);
  FAKE_UNUSED(PutMethod, LPCWSTR, LONG, IWbemClassObject*, IWbemClassObject*);
  FAKE_UNUSED(DeleteMethod, LPCWSTR);
  FAKE_UNUSED(BeginMethodEnumeration, LONG);
  FAKE_UNUSED(NextMethod, LONG, BSTR*, IWbemClassObject**, IWbemClassObject**);
  FAKE_UNUSED(EndMethodEnumeration);
  FAKE_UNUSED(GetMethodQualifierSet, LPCWSTR, IWbemQualifierSet**);
  FAKE_UNUSED(GetMethodOrigin, LPCWSTR, BSTR*);

 private:
  Values values_;
};

/// The calls in their order, as text.
using Calls = std::vector<std::wstring>;

inline std::wstring TextOf(const BSTR text) {
  return text != nullptr ? std::wstring(text, SysStringLen(text)) : L"none";
}

class FakeObjects : public FakeUnknown<IEnumWbemClassObject> {
 public:
  explicit FakeObjects(Calls& calls) : calls_(calls) {}

  HRESULT STDMETHODCALLTYPE Next(LONG timeout, ULONG limit, IWbemClassObject** result,
                                 ULONG* count) override {
    calls_.push_back(L"next " + std::to_wstring(timeout) + L" " + std::to_wstring(limit));
    if (onNext) onNext();
    *count = next_ < objects.size() ? 1 : 0;
    if (*count == 0) return endResult;
    *result = objects[next_++].get();
    (*result)->AddRef();
    return S_OK;
  }

  FAKE_UNUSED(Reset);
  FAKE_UNUSED(NextAsync, ULONG, IWbemObjectSink*);
  FAKE_UNUSED(Clone, IEnumWbemClassObject**);
  FAKE_UNUSED(Skip, LONG, ULONG);

  std::vector<std::unique_ptr<FakeObject>> objects;
  HRESULT endResult = WBEM_S_FALSE;
  std::function<void()> onNext;

 private:
  Calls& calls_;
  std::size_t next_ = 0;
};

class FakeSecurity : public FakeUnknown<IClientSecurity> {
 public:
  explicit FakeSecurity(Calls& calls) : calls_(calls) {}

  HRESULT STDMETHODCALLTYPE SetBlanket(IUnknown*, DWORD authentication, DWORD authorization,
                                       OLECHAR* principal, DWORD level, DWORD impersonation,
                                       void* identity, DWORD capabilities) override {
    calls_.push_back(L"blanket " + std::to_wstring(authentication) + L" " +
                     std::to_wstring(authorization) + L" " + std::to_wstring(level) + L" " +
                     std::to_wstring(impersonation) + L" " + std::to_wstring(capabilities) +
                     (principal == nullptr && identity == nullptr ? L"" : L" of somebody"));
    return result;
  }
  FAKE_UNUSED(QueryBlanket, IUnknown*, DWORD*, DWORD*, OLECHAR**, DWORD*, DWORD*, void**, DWORD*);
  FAKE_UNUSED(CopyProxy, IUnknown*, IUnknown**);

  HRESULT result = S_OK;

 private:
  Calls& calls_;
};

class FakeServices : public FakeUnknown<IWbemServices> {
 public:
  FakeServices(Calls& calls, FakeObjects& objects, FakeSecurity& security)
      : calls_(calls), objects_(objects), security_(security) {}

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
    if (id != IID_IClientSecurity) return FakeUnknown::QueryInterface(id, object);
    security_.AddRef();
    *object = &security_;
    return S_OK;
  }

  HRESULT STDMETHODCALLTYPE ExecQuery(const BSTR language, const BSTR query, LONG flags,
                                      IWbemContext* context,
                                      IEnumWbemClassObject** objects) override {
    calls_.push_back(L"query " + TextOf(language) + L" " + std::to_wstring(flags) + L" " +
                     TextOf(query) + (context == nullptr ? L"" : L" in a context"));
    if (FAILED(result)) return result;
    objects_.AddRef();
    *objects = &objects_;
    return result;
  }

  FAKE_UNUSED(OpenNamespace, const BSTR, LONG, IWbemContext*, IWbemServices**, IWbemCallResult**);
  FAKE_UNUSED(CancelAsyncCall, IWbemObjectSink*);
  FAKE_UNUSED(QueryObjectSink, LONG, IWbemObjectSink**);
  FAKE_UNUSED(GetObject, const BSTR, LONG, IWbemContext*, IWbemClassObject**, IWbemCallResult**);
  FAKE_UNUSED(GetObjectAsync, const BSTR, LONG, IWbemContext*, IWbemObjectSink*);
  FAKE_UNUSED(PutClass, IWbemClassObject*, LONG, IWbemContext*, IWbemCallResult**);
  FAKE_UNUSED(PutClassAsync, IWbemClassObject*, LONG, IWbemContext*, IWbemObjectSink*);
  FAKE_UNUSED(DeleteClass, const BSTR, LONG, IWbemContext*, IWbemCallResult**);
  FAKE_UNUSED(DeleteClassAsync, const BSTR, LONG, IWbemContext*, IWbemObjectSink*);
  FAKE_UNUSED(CreateClassEnum, const BSTR, LONG, IWbemContext*, IEnumWbemClassObject**);
  FAKE_UNUSED(CreateClassEnumAsync, const BSTR, LONG, IWbemContext*, IWbemObjectSink*);
  FAKE_UNUSED(PutInstance, IWbemClassObject*, LONG, IWbemContext*, IWbemCallResult**);
  FAKE_UNUSED(PutInstanceAsync, IWbemClassObject*, LONG, IWbemContext*, IWbemObjectSink*);
  FAKE_UNUSED(DeleteInstance, const BSTR, LONG, IWbemContext*, IWbemCallResult**);
  FAKE_UNUSED(DeleteInstanceAsync, const BSTR, LONG, IWbemContext*, IWbemObjectSink*);
  FAKE_UNUSED(CreateInstanceEnum, const BSTR, LONG, IWbemContext*, IEnumWbemClassObject**);
  FAKE_UNUSED(CreateInstanceEnumAsync, const BSTR, LONG, IWbemContext*, IWbemObjectSink*);
  FAKE_UNUSED(ExecQueryAsync, const BSTR, const BSTR, LONG, IWbemContext*, IWbemObjectSink*);
  FAKE_UNUSED(ExecNotificationQuery, const BSTR, const BSTR, LONG, IWbemContext*,
              IEnumWbemClassObject**);
  FAKE_UNUSED(ExecNotificationQueryAsync, const BSTR, const BSTR, LONG, IWbemContext*,
              IWbemObjectSink*);
  FAKE_UNUSED(ExecMethod, const BSTR, const BSTR, LONG, IWbemContext*, IWbemClassObject*,
              IWbemClassObject**, IWbemCallResult**);
  FAKE_UNUSED(ExecMethodAsync, const BSTR, const BSTR, LONG, IWbemContext*, IWbemClassObject*,
              IWbemObjectSink*);

  HRESULT result = S_OK;

 private:
  Calls& calls_;
  FakeObjects& objects_;
  FakeSecurity& security_;
};

class FakeLocator : public FakeUnknown<IWbemLocator> {
 public:
  FakeLocator(Calls& calls, FakeServices& services) : calls_(calls), services_(services) {}

  HRESULT STDMETHODCALLTYPE ConnectServer(const BSTR space, const BSTR user, const BSTR password,
                                          const BSTR locale, LONG flags, const BSTR authority,
                                          IWbemContext* context,
                                          IWbemServices** services) override {
    const bool isPlain = user == nullptr && password == nullptr && locale == nullptr &&
                         authority == nullptr && context == nullptr;
    calls_.push_back(L"connect " + TextOf(space) + L" " + std::to_wstring(flags) +
                     (isPlain ? L"" : L" as somebody"));
    if (FAILED(result)) return result;
    services_.AddRef();
    *services = &services_;
    return result;
  }

  HRESULT result = S_OK;

 private:
  Calls& calls_;
  FakeServices& services_;
};

class FakeFactory : public FakeUnknown<IClassFactory> {
 public:
  explicit FakeFactory(FakeLocator& locator) : locator_(locator) {}

  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID id, void** object) override {
    if (outer != nullptr) return CLASS_E_NOAGGREGATION;
    if (id != IID_IWbemLocator) return E_NOINTERFACE;
    if (FAILED(result)) return result;
    locator_.AddRef();
    *object = &locator_;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }

  HRESULT result = S_OK;

 protected:
  void* Find(REFIID id) override { return id == IID_IClassFactory ? this : FakeUnknown::Find(id); }

 private:
  FakeLocator& locator_;
};

#undef FAKE_UNUSED
#pragma GCC diagnostic pop

/// Replaces the machine's WMI until the end of the scope. COM must be initialized.
class FakeWmi {
 public:
  FakeWmi() {
    EXPECT_EQ(CoRegisterClassObject(CLSID_WbemLocator, &factory, CLSCTX_INPROC_SERVER,
                                    REGCLS_MULTIPLEUSE, &registration_),
              S_OK);
  }
  ~FakeWmi() { CoRevokeClassObject(registration_); }
  FakeWmi(const FakeWmi&) = delete;
  FakeWmi& operator=(const FakeWmi&) = delete;

  void AddObject(FakeObject::Values values) {
    objects.objects.push_back(std::make_unique<FakeObject>(std::move(values)));
  }

  Calls calls;
  FakeObjects objects{calls};
  FakeSecurity security{calls};
  FakeServices services{calls, objects, security};
  FakeLocator locator{calls, services};
  FakeFactory factory{locator};

 private:
  DWORD registration_ = 0;
};
