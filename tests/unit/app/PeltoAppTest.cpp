#include "app/PeltoApp.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/ReplacedImport.h"
#include "tests/support/TempFolder.h"
#include "tests/unit/app/LanguageLibrary.h"

extern "C" void* __imp_GetModuleFileNameW;
extern "C" void* __imp_GetCommandLineW;

namespace {

/// The application in this process. The test program's own command line is refused.
class PeltoApp : public testing::Test {
 protected:
  // Also before a test: an aborted test program leaves its libraries behind.
  void SetUp() override { DeleteLibraries(); }
  void TearDown() override {
    DeleteLibraries();
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
    }
  }

  void DeleteLibraries() const {
    for (const std::wstring& file : {library_, texts_, calls_}) DeleteFileW(file.c_str());
  }
  void CopyLocalizer() const { CopyLibrary(L"localizer.dll", library_); }
  void CopyTexts() const { CopyLibrary(L"localized_texts.dll", texts_); }

  /// What `AfxWinMain` does before `InitInstance`.
  void Prepare() {
    app_.m_hInstance = instance_;
    AfxSetResourceHandle(instance_);
  }

  const HINSTANCE instance_ = GetModuleHandleW(nullptr);
  const std::wstring library_ = ProgramFolder() + L"\\LangExt.dll";
  const std::wstring texts_ = ProgramFolder() + L"\\Texts.dll";
  const std::wstring calls_ = ProgramFolder() + L"\\LangExt.calls";
  CPeltoApp app_;
};

TEST_F(PeltoApp, IsTheApplicationObject) {
  EXPECT_EQ(AfxGetApp(), &app_);
}

TEST_F(PeltoApp, DoesNotGoOnAfterInitInstance) {
  Prepare();
  EXPECT_EQ(app_.InitInstance(), FALSE);
}

// docs/compatibility.md, 2.
TEST_F(PeltoApp, GoesOnWithoutParsingTheCommandLineWhenItsPathHasNoBackslash) {
  static int parsed;
  parsed = 0;
  const ReplacedImport path(
      __imp_GetModuleFileNameW,
      reinterpret_cast<void*>(+[](HMODULE, LPWSTR buffer, DWORD size) -> DWORD {
        return wcscpy_s(buffer, size, L"PELTOSender.exe") == 0 ? 15 : 0;
      }));
  const ReplacedImport commandLine(__imp_GetCommandLineW, reinterpret_cast<void*>(+[]() -> LPWSTR {
                                     ++parsed;
                                     static wchar_t empty[] = L"";
                                     return empty;
                                   }));
  Prepare();
  EXPECT_EQ(app_.InitInstance(), TRUE);
  EXPECT_EQ(parsed, 0);
}

TEST_F(PeltoApp, ExitsWithZeroWhenTheCommandLineIsRefused) {
  EXPECT_EQ(AfxWinMain(instance_), 0);
}

TEST_F(PeltoApp, TakesItsOwnResourcesUnlessALibraryReturnsAModule) {
  for (const wchar_t* const library : {L"", L"localizer_without_export.dll", L"localizer.dll"}) {
    if (*library != L'\0') CopyLibrary(library, library_);
    Prepare();
    app_.InitInstance();
    EXPECT_EQ(AfxGetResourceHandle(), instance_) << testing::PrintToString(library);
  }
  EXPECT_EQ(ReadBytes(calls_), std::to_string(reinterpret_cast<DWORD_PTR>(instance_)) + " 0\n");
}

TEST_F(PeltoApp, TakesTheResourcesThatTheLibraryBesideItReturns) {
  CopyLocalizer();
  CopyTexts();
  Prepare();
  app_.InitInstance();
  EXPECT_EQ(AfxGetResourceHandle(), GetModuleHandleW(texts_.c_str()));
  EXPECT_EQ(LoadModuleText(AfxGetResourceHandle(), LocalizedText), L"A localized text");
  app_.ExitInstance();
}

TEST_F(PeltoApp, ExitInstanceRestoresTheResourceModuleFreesItAndKeepsTheExitCode) {
  CopyTexts();
  const HINSTANCE texts = LoadLibraryW(texts_.c_str());
  ASSERT_NE(texts, nullptr) << GetLastError();
  Prepare();
  AfxSetResourceHandle(texts);
  PostThreadMessageW(GetCurrentThreadId(), WM_QUIT, 42, 0);
  EXPECT_EQ(app_.Run(), 42);
  EXPECT_EQ(AfxGetResourceHandle(), instance_);
  EXPECT_EQ(GetModuleHandleW(texts_.c_str()), nullptr);
}

TEST_F(PeltoApp, ExitInstanceFreesNothingWhenTheResourcesAreItsOwn) {
  // In the place of the program's own module, which cannot be unloaded.
  CopyTexts();
  const HINSTANCE own = LoadLibraryW(texts_.c_str());
  ASSERT_NE(own, nullptr) << GetLastError();
  app_.m_hInstance = own;
  AfxSetResourceHandle(own);
  app_.ExitInstance();
  EXPECT_EQ(AfxGetResourceHandle(), own);
  EXPECT_EQ(GetModuleHandleW(texts_.c_str()), own);
  FreeLibrary(own);
}

TEST_F(PeltoApp, WholeRunLeavesNoLibraryLoaded) {
  CopyLocalizer();
  CopyTexts();
  EXPECT_EQ(AfxWinMain(instance_), 0);
  EXPECT_EQ(AfxGetResourceHandle(), instance_);
  EXPECT_EQ(GetModuleHandleW(library_.c_str()), nullptr);
  EXPECT_EQ(GetModuleHandleW(texts_.c_str()), nullptr);
}

}  // namespace
