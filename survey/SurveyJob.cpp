#include "survey/SurveyJob.h"

#include "platform/WindowsHeader.h"

#include <objbase.h>

#include <optional>
#include <string>

#include "survey/SystemInformation.h"
#include "survey/WmiQueryEngine.h"

namespace {

/// Initializes COM on the calling thread for the lifetime of the object. When that fails, every
/// query fails by itself, unless the thread already has COM of another threading model, which works
/// too.
class CComInitialization {
 public:
  CComInitialization() = default;
  CComInitialization(const CComInitialization&) = delete;
  CComInitialization& operator=(const CComInitialization&) = delete;
  /// COM counts successful initializations only.
  ~CComInitialization() {
    if (isInitialized_) CoUninitialize();
  }

 private:
  bool isInitialized_ = SUCCEEDED(CoInitializeEx(nullptr /* reserved */, COINIT_MULTITHREADED));
};

}  // namespace

int CollectSystemInformation(CReportStore& store) {
  // Made with the first query, so that a report that has a description already does not load COM.
  std::optional<CComInitialization> com;
  const WmiQuery query = [&com](const wchar_t* space, const std::wstring& text,
                                const wchar_t* properties, InfoSection* firstRow) {
    if (!com) com.emplace();
    return RunWmiQuery(space, text, properties, firstRow);
  };
  return CollectSystemInformation(
      query, store.GetSystemProperties(),
      [&store](const std::wstring& name, const std::wstring& category, const std::wstring& value) {
        store.SetSystemProperty(name, category, value);
      });
}
