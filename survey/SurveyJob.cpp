#include "survey/SurveyJob.h"

#include "platform/WindowsHeader.h"

#include <objbase.h>

#include "survey/SystemInformation.h"
#include "survey/WmiQueryEngine.h"

namespace {

/// COM on the calling thread, from here to the end of the scope. Where it cannot be initialised,
/// every query fails by itself, unless the thread has COM of another kind, which serves as well.
class CComInitialization {
 public:
  CComInitialization() = default;
  CComInitialization(const CComInitialization&) = delete;
  CComInitialization& operator=(const CComInitialization&) = delete;
  /// Only what succeeded is to be balanced.
  ~CComInitialization() {
    if (isInitialised_) CoUninitialize();
  }

 private:
  bool isInitialised_ = SUCCEEDED(CoInitializeEx(nullptr /* reserved */, COINIT_MULTITHREADED));
};

}  // namespace

int CollectSystemInformation(CReportStore& store) {
  const CComInitialization com;
  return CollectSystemInformation(
      RunWmiQuery, store.GetSystemProperties(),
      [&store](const std::wstring& name, const std::wstring& category, const std::wstring& value) {
        store.SetSystemProperty(name, category, value);
      });
}
