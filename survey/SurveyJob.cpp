#include "survey/SurveyJob.h"

#include "platform/WindowsHeader.h"

#include <objbase.h>

#include "survey/SystemInformation.h"
#include "survey/WmiQueryEngine.h"

namespace {

/// COM on the calling thread, from here to the end of the scope.
class ComInitialisation {
 public:
  ComInitialisation() = default;
  ComInitialisation(const ComInitialisation&) = delete;
  ComInitialisation& operator=(const ComInitialisation&) = delete;
  /// Only what succeeded is to be balanced.
  ~ComInitialisation() {
    if (isInitialised_) CoUninitialize();
  }

  explicit operator bool() const { return isInitialised_; }

 private:
  bool isInitialised_ = SUCCEEDED(CoInitializeEx(nullptr /* reserved */, COINIT_MULTITHREADED));
};

}  // namespace

int CollectSystemInformation(CReportStore& store) {
  const ComInitialisation com;
  const WmiQuery ask = [&com](const wchar_t* space, const std::wstring& query,
                              const wchar_t* properties, InfoSection* firstRow) {
    return com ? RunWmiQuery(space, query, properties, firstRow) : 0;
  };
  return CollectSystemInformation(
      ask, store.AllSystemProperties(),
      [&store](const std::wstring& name, const std::wstring& category, const std::wstring& value) {
        store.SetSystemProperty(name, category, value);
      });
}
