#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "framework/afxwin.h"
#include "tests/support/TestProcess.h"
#include "tests/unit/framework/dialogs.h"

namespace {

using testing::Test;

/// Module handles that nothing is loaded at: the framework only hands them on.
const HINSTANCE Instance = reinterpret_cast<HINSTANCE>(0x1'2345'0000);
const HINSTANCE Texts = reinterpret_cast<HINSTANCE>(0x6'789A'0000);

class RecordingApp : public CWinApp {
 public:
  BOOL InitInstance() override {
    calls.emplace_back("InitInstance");
    instanceInInit = m_hInstance;
    if (onInit) onInit();
    return goesOn ? CWinApp::InitInstance() : FALSE;
  }
  int Run() override {
    calls.emplace_back("Run");
    return CWinApp::Run();
  }
  int ExitInstance() override {
    calls.emplace_back("ExitInstance");
    return CWinApp::ExitInstance() + added;
  }

  bool goesOn = false;
  int added = 0;
  std::function<void()> onInit;
  std::vector<std::string> calls;
  HINSTANCE instanceInInit = nullptr;
};

using Calls = std::vector<std::string>;

class WinApp : public Test {
 protected:
  // What one test leaves in the thread's message queue would end the next one's loop.
  void TearDown() override {
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
    }
    // Later tests load resources.
    app_.onInit = nullptr;
    app_.goesOn = false;
    AfxWinMain(GetModuleHandleW(nullptr));
  }

  RecordingApp app_;
};

TEST_F(WinApp, ThatDoesNotGoOnGoesStraightToExitInstance) {
  app_.goesOn = false;
  AfxWinMain(Instance);
  EXPECT_EQ(app_.calls, (Calls{"InitInstance", "ExitInstance"}));
}

TEST_F(WinApp, ThatDoesNotGoOnExitsWithZero) {
  app_.goesOn = false;
  EXPECT_EQ(AfxWinMain(Instance), 0);
}

TEST_F(WinApp, ThatDoesNotGoOnExitsWithWhatExitInstanceAnswers) {
  app_.goesOn = false;
  app_.added = 7;
  EXPECT_EQ(AfxWinMain(Instance), 7);
}

TEST_F(WinApp, ThatGoesOnRunsAndEndsByItself) {
  app_.goesOn = true;
  EXPECT_EQ(AfxWinMain(Instance), 0);
  EXPECT_EQ(app_.calls, (Calls{"InitInstance", "Run", "ExitInstance"}));
}

TEST_F(WinApp, ThatGoesOnExitsWithWhatExitInstanceAnswers) {
  app_.goesOn = true;
  app_.added = 7;
  EXPECT_EQ(AfxWinMain(Instance), 7);
}

TEST_F(WinApp, InitInstanceOfTheBaseGoesOn) {
  EXPECT_EQ(app_.CWinApp::InitInstance(), TRUE);
}

TEST_F(WinApp, ExitsWithTheCodeOfAQuitMessage) {
  app_.goesOn = true;
  app_.onInit = [] { PostThreadMessageW(GetCurrentThreadId(), WM_QUIT, 42, 0); };
  EXPECT_EQ(AfxWinMain(Instance), 42);
  EXPECT_EQ(app_.calls, (Calls{"InitInstance", "Run", "ExitInstance"}));
}

TEST_F(WinApp, DoesNotTakeAnEarlierMessagesParameterForTheExitCode) {
  app_.goesOn = true;
  app_.onInit = [] { PostThreadMessageW(GetCurrentThreadId(), WM_APP, 42, 0); };
  EXPECT_EQ(AfxWinMain(Instance), 0);
}

constexpr UINT NumberMessage = WM_APP + 1;
constexpr UINT QuitMessage = WM_APP + 2;

std::vector<WPARAM> received;

LRESULT CALLBACK ReceiveMessage(HWND window, UINT message, WPARAM parameter, LPARAM more) {
  if (message == NumberMessage) received.push_back(parameter);
  if (message == QuitMessage) PostQuitMessage(static_cast<int>(parameter));
  return DefWindowProcW(window, message, parameter, more);
}

/// A window that only takes messages; it is never shown and needs no display.
class MessageWindow {
 public:
  MessageWindow()
      : window_(CreateWindowExW(0, L"STATIC", L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr,
                                GetModuleHandleW(nullptr), nullptr)) {
    EXPECT_NE(window_, nullptr) << GetLastError();
    SetWindowLongPtrW(window_, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(&ReceiveMessage));
    received.clear();
  }
  ~MessageWindow() { DestroyWindow(window_); }
  MessageWindow(const MessageWindow&) = delete;
  MessageWindow& operator=(const MessageWindow&) = delete;

  void Post(UINT message, WPARAM parameter) const {
    EXPECT_TRUE(PostMessageW(window_, message, parameter, 0)) << GetLastError();
  }

 private:
  HWND window_;
};

TEST_F(WinApp, DispatchesTheMessagesThatStandInTheQueue) {
  const MessageWindow window;
  window.Post(NumberMessage, 5);
  window.Post(NumberMessage, 6);
  app_.goesOn = true;
  EXPECT_EQ(AfxWinMain(Instance), 0);
  EXPECT_EQ(received, (std::vector<WPARAM>{5, 6}));
}

TEST_F(WinApp, ExitsWithTheCodeThatAMessageHandlerGives) {
  const MessageWindow window;
  window.Post(QuitMessage, 43);
  app_.goesOn = true;
  EXPECT_EQ(AfxWinMain(Instance), 43);
}

TEST_F(WinApp, LeavesNothingInTheQueue) {
  app_.goesOn = true;
  AfxWinMain(Instance);
  MSG message;
  EXPECT_FALSE(PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE)) << message.message;
}

TEST_F(WinApp, LetsTheSystemShowNoErrorBoxes) {
  SetErrorMode(0);
  AfxWinMain(GetModuleHandleW(nullptr));
  EXPECT_EQ(SetErrorMode(0) & (SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX),
            UINT{SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX});
}

TEST_F(WinApp, KnowsItsInstanceBeforeInitInstance) {
  AfxWinMain(Instance);
  EXPECT_EQ(app_.instanceInInit, Instance);
  EXPECT_EQ(AfxGetInstanceHandle(), Instance);
}

TEST_F(WinApp, TakesResourcesFromTheInstanceAtFirst) {
  HINSTANCE first = nullptr;
  app_.onInit = [&first] { first = AfxGetResourceHandle(); };
  AfxWinMain(Instance);
  EXPECT_EQ(first, Instance);
}

TEST_F(WinApp, TakesResourcesFromTheModuleThatWasSet) {
  app_.onInit = [] { AfxSetResourceHandle(Texts); };
  AfxWinMain(Instance);
  EXPECT_EQ(AfxGetResourceHandle(), Texts);
}

TEST_F(WinApp, KeepsItsInstanceWhenAnotherResourceModuleIsSet) {
  app_.onInit = [] { AfxSetResourceHandle(Texts); };
  AfxWinMain(Instance);
  EXPECT_EQ(AfxGetInstanceHandle(), Instance);
  EXPECT_EQ(app_.m_hInstance, Instance);
}

TEST_F(WinApp, StartsAnewWithTheInstancesResources) {
  AfxWinMain(Instance);
  AfxSetResourceHandle(Texts);
  AfxWinMain(Instance);
  EXPECT_EQ(AfxGetResourceHandle(), Instance);
}

TEST_F(WinApp, IsFoundWhileItLives) {
  EXPECT_EQ(AfxGetApp(), &app_);
}

TEST(WinAppWithoutObject, IsNotFoundBeforeAndAfter) {
  EXPECT_EQ(AfxGetApp(), nullptr);
  {
    const RecordingApp app;
    EXPECT_EQ(AfxGetApp(), &app);
  }
  EXPECT_EQ(AfxGetApp(), nullptr);
}

/// Text number 1000 and the dialogs stand in blocks of their own.
const LPCWSTR LocalizedTexts = MAKEINTRESOURCEW(1000 / 16 + 1);
const LPCWSTR LocalizedDialog = MAKEINTRESOURCEW(IDD_LOCALIZED);
const LPCWSTR ProgramsDialog = MAKEINTRESOURCEW(IDD_FULL);
const LPCWSTR MissingDialog = MAKEINTRESOURCEW(IDD_MISSING);

class ResourceSearch : public WinApp {
 protected:
  ResourceSearch() {
    EXPECT_NE(texts_, nullptr) << GetLastError();
    AfxWinMain(program_);
    AfxSetResourceHandle(texts_);
  }
  ~ResourceSearch() override { FreeLibrary(texts_); }

  const HINSTANCE program_ = GetModuleHandleW(nullptr);
  const HINSTANCE texts_ = LoadLibraryW((ProgramFolder() + L"\\localized_texts.dll").c_str());
};

TEST_F(ResourceSearch, FindsWhatOnlyTheResourceModuleHolds) {
  EXPECT_EQ(AfxFindResourceHandle(LocalizedTexts, RT_STRING), texts_);
}

TEST_F(ResourceSearch, PrefersTheResourceModule) {
  EXPECT_EQ(AfxFindResourceHandle(LocalizedDialog, RT_DIALOG), texts_);
}

TEST_F(ResourceSearch, FindsInTheProgramWhatTheResourceModuleDoesNotHold) {
  EXPECT_EQ(AfxFindResourceHandle(ProgramsDialog, RT_DIALOG), program_);
}

TEST_F(ResourceSearch, AnswersWithTheResourceModuleWhenNeitherHoldsIt) {
  EXPECT_EQ(AfxFindResourceHandle(MissingDialog, RT_DIALOG), texts_);
}

TEST_F(ResourceSearch, DoesNotTakeOneKindForAnother) {
  EXPECT_EQ(AfxFindResourceHandle(ProgramsDialog, RT_STRING), texts_);
}

TEST_F(ResourceSearch, FindsTheProgramsOwnWhenThatIsTheResourceModule) {
  AfxSetResourceHandle(program_);
  EXPECT_EQ(AfxFindResourceHandle(LocalizedDialog, RT_DIALOG), program_);
  EXPECT_EQ(AfxFindResourceHandle(LocalizedTexts, RT_STRING), program_);
}

TEST(FreeLibrary, UnloadsTheLibrary) {
  const std::wstring path = ProgramFolder() + L"\\localized_texts.dll";
  const HINSTANCE library = LoadLibraryW(path.c_str());
  ASSERT_NE(library, nullptr) << GetLastError();
  EXPECT_TRUE(AfxFreeLibrary(library)) << GetLastError();
  EXPECT_EQ(GetModuleHandleW(path.c_str()), nullptr);
}

TEST(FreeLibrary, LeavesALibraryThatIsLoadedTwice) {
  const std::wstring path = ProgramFolder() + L"\\localized_texts.dll";
  const HINSTANCE library = LoadLibraryW(path.c_str());
  ASSERT_NE(library, nullptr) << GetLastError();
  ASSERT_EQ(LoadLibraryW(path.c_str()), library) << GetLastError();
  EXPECT_TRUE(AfxFreeLibrary(library)) << GetLastError();
  EXPECT_EQ(GetModuleHandleW(path.c_str()), library);
  EXPECT_TRUE(AfxFreeLibrary(library)) << GetLastError();
  EXPECT_EQ(GetModuleHandleW(path.c_str()), nullptr);
}

TEST(FreeLibrary, OfWhatIsNoLibraryFails) {
  EXPECT_FALSE(AfxFreeLibrary(Texts));
}

}  // namespace
