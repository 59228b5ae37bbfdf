#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "framework/afxwin.h"
#include "tests/support/Deadline.h"
#include "tests/support/PlainWindow.h"
#include "tests/support/TestProcess.h"
#include "tests/unit/framework/dialogs.h"

namespace {

/// Module handles at which nothing is loaded: the framework only stores them.
const HINSTANCE Instance = reinterpret_cast<HINSTANCE>(0x1'2345'0000);
const HINSTANCE Texts = reinterpret_cast<HINSTANCE>(0x6'789A'0000);

using Calls = std::vector<std::string>;

class RecordingApp : public CWinApp {
 public:
  BOOL InitInstance() override {
    calls.emplace_back("InitInstance");
    instanceInInit = m_hInstance;
    resourcesInInit = AfxGetResourceHandle();
    if (onInit) onInit();
    return continues ? CWinApp::InitInstance() : FALSE;
  }
  int Run() override {
    calls.emplace_back("Run");
    return CWinApp::Run();
  }
  int ExitInstance() override {
    calls.emplace_back("ExitInstance");
    return CWinApp::ExitInstance() + added;
  }

  bool continues = false;
  int added = 0;
  std::function<void()> onInit;
  Calls calls;
  HINSTANCE instanceInInit = nullptr;
  HINSTANCE resourcesInInit = nullptr;
};

class WinApp : public testing::Test {
 protected:
  void TearDown() override {
    // A message that is left in the queue would end the loop of the next test.
    DispatchWaitingMessages();
    // Later tests load resources.
    app_.onInit = nullptr;
    app_.continues = false;
    AfxWinMain(GetModuleHandleW(nullptr));
  }

  /// Runs an application that continues after `onInit`. Returns its exit code.
  int RunWith(std::function<void()> onInit) {
    app_.continues = true;
    app_.onInit = std::move(onInit);
    return AfxWinMain(Instance);
  }

  const Deadline deadline_;
  RecordingApp app_;
};

TEST_F(WinApp, RunsOnlyWhenInitInstanceSaysSo) {
  EXPECT_EQ(app_.CWinApp::InitInstance(), TRUE);
  EXPECT_EQ(AfxWinMain(Instance), 0);
  EXPECT_EQ(app_.calls, (Calls{"InitInstance", "ExitInstance"}));
  app_.calls.clear();
  EXPECT_EQ(RunWith(nullptr), 0);
  EXPECT_EQ(app_.calls, (Calls{"InitInstance", "Run", "ExitInstance"}));
}

TEST_F(WinApp, ExitsWithTheResultOfExitInstance) {
  app_.added = 7;
  EXPECT_EQ(AfxWinMain(Instance), 7);
  EXPECT_EQ(RunWith(nullptr), 7);
}

TEST_F(WinApp, ExitsWithTheCodeOfAQuitMessageOnly) {
  EXPECT_EQ(RunWith([] { PostThreadMessageW(GetCurrentThreadId(), WM_APP, 42, 0); }), 0);
  EXPECT_EQ(RunWith([] { PostThreadMessageW(GetCurrentThreadId(), WM_QUIT, 42, 0); }), 42);
}

constexpr UINT NumberMessage = WM_APP + 1;
constexpr UINT QuitMessage = WM_APP + 2;

TEST_F(WinApp, DispatchesTheMessagesInTheQueueAndLeavesItEmpty) {
  Attached<ScriptedWindow<>> attached;
  attached.window.handlers[QuitMessage] = [](WPARAM code, LPARAM) -> LRESULT {
    PostQuitMessage(static_cast<int>(code));
    return 0;
  };
  PostMessageW(attached.plain, NumberMessage, 5, 0);
  PostMessageW(attached.plain, NumberMessage, 6, 0);
  EXPECT_EQ(RunWith(nullptr), 0);
  EXPECT_EQ(attached.plain.GetReceived(NumberMessage),
            (std::vector<PlainWindow::Message>{{NumberMessage, 5, 0}, {NumberMessage, 6, 0}}));
  PostMessageW(attached.plain, QuitMessage, 43, 0);
  EXPECT_EQ(RunWith(nullptr), 43);
  MSG message;
  EXPECT_FALSE(PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE)) << message.message;
}

TEST_F(WinApp, TurnsOffTheSystemsErrorBoxes) {
  SetErrorMode(0);
  AfxWinMain(Instance);
  EXPECT_EQ(SetErrorMode(0) & (SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX),
            UINT{SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX});
}

TEST_F(WinApp, KnowsItsInstanceAndTakesResourcesFromItBeforeInitInstance) {
  AfxWinMain(Instance);
  EXPECT_EQ(app_.instanceInInit, Instance);
  EXPECT_EQ(app_.resourcesInInit, Instance);
  EXPECT_EQ(AfxGetInstanceHandle(), Instance);
}

TEST_F(WinApp, TakesResourcesFromTheModuleThatWasSetUntilTheNextStart) {
  AfxWinMain(Instance);
  AfxSetResourceHandle(Texts);
  EXPECT_EQ(AfxGetResourceHandle(), Texts);
  EXPECT_EQ(AfxGetInstanceHandle(), Instance);
  EXPECT_EQ(app_.m_hInstance, Instance);
  AfxWinMain(Instance);
  EXPECT_EQ(AfxGetResourceHandle(), Instance);
}

TEST(WinAppObject, IsFoundWhileItLives) {
  EXPECT_EQ(AfxGetApp(), nullptr);
  {
    const RecordingApp app;
    EXPECT_EQ(AfxGetApp(), &app);
  }
  EXPECT_EQ(AfxGetApp(), nullptr);
}

std::wstring LibraryPath() {
  return ProgramFolder() + L"\\localized_texts.dll";
}

TEST_F(WinApp, FindsAResourceInTheResourceModuleOrElseInTheProgram) {
  const HINSTANCE program = GetModuleHandleW(nullptr);
  const HINSTANCE texts = LoadLibraryW(LibraryPath().c_str());
  ASSERT_NE(texts, nullptr) << GetLastError();
  AfxWinMain(program);
  // String 1000 is in a block of its own.
  const LPCWSTR string = MAKEINTRESOURCEW(1000 / 16 + 1);
  const struct {
    LPCWSTR name, type;
    HINSTANCE withTexts, withProgram;
  } Cases[] = {{string, RT_STRING, texts, program},
               {MAKEINTRESOURCEW(IDD_LOCALIZED), RT_DIALOG, texts, program},
               {MAKEINTRESOURCEW(IDD_FULL), RT_DIALOG, program, program},
               // Nowhere: the current resource module.
               {MAKEINTRESOURCEW(IDD_MISSING), RT_DIALOG, texts, program},
               {MAKEINTRESOURCEW(IDD_FULL), RT_STRING, texts, program}};
  for (const auto& [name, type, withTexts, withProgram] : Cases) {
    AfxSetResourceHandle(texts);
    EXPECT_EQ(AfxFindResourceHandle(name, type), withTexts) << reinterpret_cast<UINT_PTR>(name);
    AfxSetResourceHandle(program);
    EXPECT_EQ(AfxFindResourceHandle(name, type), withProgram) << reinterpret_cast<UINT_PTR>(name);
  }
  FreeLibrary(texts);
}

TEST(FreeLibrary, UnloadsALibraryThatIsLoadedTwiceTheSecondTime) {
  const std::wstring path = LibraryPath();
  const HINSTANCE library = LoadLibraryW(path.c_str());
  ASSERT_NE(library, nullptr) << GetLastError();
  ASSERT_EQ(LoadLibraryW(path.c_str()), library) << GetLastError();
  EXPECT_TRUE(AfxFreeLibrary(library)) << GetLastError();
  EXPECT_EQ(GetModuleHandleW(path.c_str()), library);
  EXPECT_TRUE(AfxFreeLibrary(library)) << GetLastError();
  EXPECT_EQ(GetModuleHandleW(path.c_str()), nullptr);
}

TEST(FreeLibrary, FailsWithoutALibrary) {
  EXPECT_FALSE(AfxFreeLibrary(Texts));
}

}  // namespace
