#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "framework/afxdialogex.h"
#include "tests/support/Deadline.h"
#include "tests/support/DialogDriver.h"
#include "tests/support/PlainWindow.h"
#include "tests/support/TestProcess.h"
#include "tests/unit/framework/dialogs.h"

namespace {

using Calls = std::vector<std::string>;

constexpr UINT PostedMessage = WM_APP + 1;

/// A dialog that records its calls.
class RecordingDialog : public CDialogEx {
 public:
  using CDialogEx::CDialogEx;
  using CDialogEx::UpdateData;

  Calls calls;
  /// Called in OnInitDialog, after the base's.
  std::function<void()> onInit;
  std::function<void()> onPosted;
  std::function<void()> onDestroy;
  BOOL initResult = TRUE;
  bool endsOnOk = true;
  bool visibleInInit = false;
  /// The window; also after its destruction.
  HWND window = nullptr;

  size_t CountCalls(const std::string& call) const {
    return static_cast<size_t>(std::count(calls.begin(), calls.end(), call));
  }
  /// Whether both calls were made, `first` before `second`.
  bool IsBefore(const std::string& first, const std::string& second) const {
    const auto found = std::find(calls.begin(), calls.end(), first);
    return std::find(found, calls.end(), second) != calls.end();
  }

 protected:
  DECLARE_MESSAGE_MAP()

  BOOL OnInitDialog() override {
    calls.emplace_back("OnInitDialog");
    window = m_hWnd;
    EXPECT_EQ(CDialogEx::OnInitDialog(), TRUE);
    visibleInInit = IsWindowVisible();
    if (onInit) onInit();
    return initResult;
  }
  void OnOK() override {
    calls.emplace_back("OnOK");
    if (endsOnOk) CDialogEx::OnOK();
  }
  void OnCancel() override {
    calls.emplace_back("OnCancel");
    CDialogEx::OnCancel();
  }
  void DoDataExchange(CDataExchange* exchange) override {
    EXPECT_EQ(exchange->m_pDlgWnd, this);
    calls.emplace_back(exchange->m_bSaveAndValidate ? "save" : "load");
  }
  LRESULT DefWindowProc(UINT message, WPARAM first, LPARAM second) override {
    if (message == WM_DESTROY) {
      calls.emplace_back("destroyed");
      if (onDestroy) onDestroy();
    }
    return CDialogEx::DefWindowProc(message, first, second);
  }

 private:
  void OnButton() { calls.emplace_back("OnButton"); }
  LRESULT OnPosted(WPARAM, LPARAM) {
    calls.emplace_back(IsWindowVisible() ? "posted, visible" : "posted, hidden");
    if (onPosted) onPosted();
    return 0;
  }
  LRESULT OnShow(WPARAM shown, LPARAM) {
    calls.emplace_back(shown ? "shown" : "hidden");
    return Default();
  }
  void OnPaint() {
    calls.emplace_back("OnPaint");
    CDialogEx::OnPaint();
  }
};

BEGIN_MESSAGE_MAP(RecordingDialog, CDialogEx)
ON_BN_CLICKED(IDC_BUTTON, &RecordingDialog::OnButton)
ON_MESSAGE(PostedMessage, &RecordingDialog::OnPosted)
ON_MESSAGE(WM_SHOWWINDOW, &RecordingDialog::OnShow)
ON_WM_PAINT()
END_MESSAGE_MAP()

void ThrowError() {
  throw std::runtime_error("thrown by a test");
}

class DialogEx : public testing::Test {
 protected:
  // What one test leaves in the thread's message queue would end the next one's loop. The messages
  // are dispatched, because WM_PAINT comes again until the window is painted.
  void TearDown() override { DispatchWaitingMessages(); }

  RecordingDialog dialog_{IDD_FULL};
};

// How it ends.

TEST_F(DialogEx, ReturnsTheValueOfTheLastEndDialogAndHasNoWindowThen) {
  for (const int result : {42, 0, -7, IDCANCEL, 0x7FFFFFFF}) {
    EXPECT_EQ(RunModal(dialog_,
                       [&](HWND window) {
                         dialog_.EndDialog(41);
                         dialog_.EndDialog(result);
                         EXPECT_EQ(dialog_.m_hWnd, window) << "it lives until the handler returns";
                         EXPECT_TRUE(IsWindow(window));
                       }),
              result);
    EXPECT_EQ(dialog_.m_hWnd, nullptr);
    EXPECT_FALSE(IsWindow(dialog_.window));
  }
  EXPECT_EQ(dialog_.CountCalls("destroyed"), 5U);
}

TEST_F(DialogEx, ReturnsMinusOneWithoutATemplate) {
  RecordingDialog missing(IDD_MISSING);
  EXPECT_EQ(RunModal(missing), -1);
  EXPECT_EQ(missing.calls, Calls{});
  EXPECT_EQ(missing.m_hWnd, nullptr);
}

TEST_F(DialogEx, IsNotShownWhenOnInitDialogThrowsOrEndsIt) {
  const std::pair<std::function<void()>, int> Cases[] = {
      {&ThrowError, -1},
      {[this] { dialog_.EndDialog(-1); }, -1},
      {[this] { dialog_.EndDialog(44); }, 44},
      {[this] { PostMessageW(dialog_.m_hWnd, WM_COMMAND, IDCANCEL, 0); }, IDCANCEL}};
  for (const auto& [onInit, result] : Cases) {
    dialog_.onInit = onInit;
    EXPECT_EQ(RunModal(dialog_), result);
    EXPECT_EQ(dialog_.m_hWnd, nullptr);
    EXPECT_FALSE(IsWindow(dialog_.window));
  }
  EXPECT_EQ(dialog_.CountCalls("load"), 4U);
  EXPECT_EQ(dialog_.CountCalls("shown"), 0U);
}

/// The exit code of a WM_QUIT in the queue, which is removed; -1 when there is none.
int TakeQuitMessage() {
  MSG message = {};
  if (!PeekMessageW(&message, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE)) return -1;
  return static_cast<int>(message.wParam);
}

TEST_F(DialogEx, ReturnsMinusOneAndRepostsAQuitMessage) {
  EXPECT_EQ(RunModal(dialog_, [](HWND) { PostQuitMessage(9); }), -1);
  EXPECT_FALSE(IsWindow(dialog_.window));
  EXPECT_EQ(TakeQuitMessage(), 9);
  dialog_.calls.clear();
  dialog_.onInit = [] { PostQuitMessage(10); };
  EXPECT_EQ(RunModal(dialog_), -1);
  EXPECT_EQ(dialog_.CountCalls("shown"), 0U);
  EXPECT_EQ(TakeQuitMessage(), 10);
}

TEST_F(DialogEx, ReturnsMinusOneWhenItsWindowIsDestroyedFromOutside) {
  EXPECT_EQ(RunModal(dialog_, [](HWND window) { DestroyWindow(window); }), -1);
  Attached<> owner;
  RecordingDialog owned(IDD_FULL, &owner.window);
  EXPECT_EQ(RunModal(owned, [&](HWND) { DestroyWindow(owner.plain); }), -1);
  EXPECT_FALSE(IsWindow(owned.window));
}

/// Sends the dialog a message from another thread while its loop waits for a message in the queue.
/// Returns the dialog's result. There is no timer here, because it would wake the loop.
INT_PTR RunWithAMessageOfAnotherThread(RecordingDialog& dialog) {
  const Deadline deadline;
  std::jthread sender;
  dialog.onInit = [&] {
    sender = std::jthread([window = dialog.m_hWnd](const std::stop_token& stop) {
      while (!IsWindowVisible(window) && !stop.stop_requested()) Sleep(10);
      // By then the loop waits.
      Sleep(500);
      SendMessageW(window, PostedMessage, 0, 0);
    });
  };
  return dialog.DoModal();
}

TEST_F(DialogEx, EndsAtOnceWhenAnotherThreadsMessageEndsOrDestroysIt) {
  RecordingDialog dialog(IDD_EMPTY);
  dialog.onPosted = [&dialog] { dialog.EndDialog(45); };
  EXPECT_EQ(RunWithAMessageOfAnotherThread(dialog), 45);
  dialog.onPosted = [&dialog] { DestroyWindow(dialog.m_hWnd); };
  EXPECT_EQ(RunWithAMessageOfAnotherThread(dialog), -1);
}

TEST_F(DialogEx, LeavesNothingInTheQueue) {
  ShowModal(dialog_);
  RunModal(dialog_, [](HWND) { PostQuitMessage(0); });
  MSG message = {};
  ASSERT_TRUE(PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE));
  EXPECT_EQ(message.message, UINT{WM_QUIT});
  EXPECT_FALSE(PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE)) << message.message;
}

TEST_F(DialogEx, HandlesNoMessageAfterItsEnd) {
  EXPECT_EQ(RunModal(dialog_,
                     [&](HWND window) {
                       dialog_.EndDialog(46);
                       PostMessageW(window, PostedMessage, 0, 0);
                     }),
            46);
  EXPECT_EQ(dialog_.CountCalls("posted, visible"), 0U);
}

TEST_F(DialogEx, SurvivesAHandlerThatThrows) {
  dialog_.onPosted = &ThrowError;
  ShowModal(dialog_, [](HWND window) { EXPECT_EQ(SendMessageW(window, PostedMessage, 0, 0), 0); });
}

// OK, Cancel and the keyboard.

TEST_F(DialogEx, EndsWithOkOrCancel) {
  const struct {
    UINT dialog;
    DialogStep step;
    int result;
  } Cases[] = {
      {IDD_FULL, [](HWND window) { Click(window, IDOK); }, IDOK},
      {IDD_FULL, [](HWND window) { PressKey(window, VK_RETURN); }, IDOK},
      {IDD_EMPTY, [](HWND window) { PressKey(window, VK_RETURN); }, IDOK},
      {IDD_FULL, [](HWND window) { Click(window, IDCANCEL); }, IDCANCEL},
      {IDD_FULL, [](HWND window) { PressKey(window, VK_ESCAPE); }, IDCANCEL},
      {IDD_EMPTY, [](HWND window) { PressKey(window, VK_ESCAPE); }, IDCANCEL},
      {IDD_FULL, [](HWND window) { PostMessageW(window, WM_CLOSE, 0, 0); }, IDCANCEL},
      {IDD_EMPTY, [](HWND window) { PostMessageW(window, WM_CLOSE, 0, 0); }, IDCANCEL},
      {IDD_FULL, [](HWND window) { PostMessageW(window, WM_SYSCOMMAND, SC_CLOSE, 0); }, IDCANCEL},
  };
  for (const auto& example : Cases) {
    const bool isOk = example.result == IDOK;
    RecordingDialog dialog(example.dialog);
    EXPECT_EQ(RunModal(dialog, example.step), example.result);
    EXPECT_EQ(dialog.CountCalls("OnOK"), isOk ? 1U : 0U);
    EXPECT_EQ(dialog.CountCalls("OnCancel"), isOk ? 0U : 1U);
    EXPECT_EQ(dialog.CountCalls("load"), 1U);
    EXPECT_EQ(dialog.CountCalls("save"), isOk ? 1U : 0U);
    EXPECT_EQ(dialog.IsBefore("OnOK", "save"), isOk);
  }
}

TEST_F(DialogEx, GoesOnWhenItsOnOkDoesNotEndIt) {
  dialog_.endsOnOk = false;
  ShowModal(
      dialog_, [](HWND window) { Click(window, IDOK); },
      [](HWND window) { EXPECT_TRUE(IsWindowVisible(window)); });
  EXPECT_EQ(dialog_.CountCalls("OnOK"), 1U);
}

TEST_F(DialogEx, HandlesItsOtherButtons) {
  ShowModal(dialog_, [](HWND window) { Click(window, IDC_BUTTON); });
  EXPECT_EQ(dialog_.CountCalls("OnButton"), 1U);
}

TEST_F(DialogEx, TakesTypedCharactersAndMovesTheFocusOnTab) {
  ShowModal(
      dialog_,
      [](HWND window) {
        SetFocus(GetDlgItem(window, IDC_NAME));
        PressKey(window, 'A');
        PressKey(window, VK_TAB);
      },
      [](HWND window) {
        EXPECT_EQ(GetText(window, IDC_NAME), L"a");
        EXPECT_EQ(GetDlgCtrlID(GetFocus()), IDC_BUTTON);
      });
}

TEST_F(DialogEx, TranslatesKeystrokesForTheThreadsOtherWindows) {
  const PlainWindow other;
  ShowModal(
      dialog_,
      [&](HWND) { EXPECT_TRUE(PostMessageW(other, WM_KEYDOWN, 'A', 1)) << GetLastError(); },
      [&](HWND) { EXPECT_EQ(other.GetReceived(WM_CHAR).size(), 1U); });
}

TEST_F(DialogEx, ExchangesOnRequest) {
  ShowModal(dialog_, [&](HWND) {
    dialog_.calls.clear();
    dialog_.UpdateData();
    dialog_.UpdateData(FALSE);
    EXPECT_EQ(dialog_.calls, (Calls{"save", "load"}));
  });
}

// When it is shown.

TEST_F(DialogEx, IsShownOnceAndWhenTheQueueIsEmpty) {
  dialog_.onInit = [this] {
    PostMessageW(dialog_.m_hWnd, PostedMessage, 0, 0);
    PostMessageW(dialog_.m_hWnd, PostedMessage, 0, 0);
  };
  ShowModal(dialog_);
  EXPECT_FALSE(dialog_.visibleInInit);
  EXPECT_EQ(dialog_.CountCalls("posted, hidden"), 2U);
  EXPECT_EQ(dialog_.CountCalls("posted, visible"), 0U);
  EXPECT_EQ(dialog_.CountCalls("shown"), 1U);
}

TEST_F(DialogEx, IsPaintedBeforeItsNextMessage) {
  class Posting : public RecordingDialog {
   public:
    using RecordingDialog::RecordingDialog;
    LRESULT WindowProc(UINT message, WPARAM first, LPARAM second) override {
      if (message == WM_SHOWWINDOW && first) PostMessageW(m_hWnd, PostedMessage, 0, 0);
      return RecordingDialog::WindowProc(message, first, second);
    }
  };
  Posting dialog(IDD_FULL);
  ShowModal(dialog, [](HWND) {});
  ASSERT_EQ(dialog.CountCalls("posted, visible"), 1U);
  EXPECT_TRUE(dialog.IsBefore("OnPaint", "posted, visible"));
}

TEST_F(DialogEx, ThatHidesItselfIsNotShownAgain) {
  dialog_.onPosted = [this] { dialog_.EndDialog(49); };
  EXPECT_EQ(RunModal(dialog_,
                     [&](HWND window) {
                       dialog_.ShowWindow(SW_HIDE);
                       // Later, so that the loop is idle in between.
                       SetTimer(window, 1, 100, [](HWND hidden, UINT, UINT_PTR, DWORD) {
                         PostMessageW(hidden, PostedMessage, 0, 0);
                       });
                     }),
            49);
  EXPECT_EQ(dialog_.CountCalls("shown"), 1U);
  EXPECT_EQ(dialog_.CountCalls("posted, hidden"), 1U);
}

TEST_F(DialogEx, BecomesActiveAndSetsTheFocusToItsFirstControl) {
  ShowModal(dialog_, [](HWND window) {
    EXPECT_EQ(GetActiveWindow(), window);
    EXPECT_EQ(GetDlgCtrlID(GetFocus()), IDC_NAME);
  });
  // No focus is set, which would activate it as well.
  dialog_.initResult = FALSE;
  ShowModal(dialog_, [](HWND window) { EXPECT_EQ(GetActiveWindow(), window); });
}

TEST_F(DialogEx, LeavesTheFocusOfOnInitDialogOnlyWhenThatReturnsFalse) {
  dialog_.onInit = [this] { SetFocus(GetDlgItem(dialog_.m_hWnd, IDC_BUTTON)); };
  for (const bool sets : {false, true}) {
    dialog_.initResult = sets;
    ShowModal(dialog_, [sets](HWND window) {
      EXPECT_EQ(GetActiveWindow(), window);
      EXPECT_EQ(GetDlgCtrlID(GetFocus()), sets ? IDC_NAME : IDC_BUTTON);
    });
  }
}

// Its owner.

class OwnedDialog : public DialogEx {
 protected:
  OwnedDialog() { EXPECT_TRUE(owner_.SubclassWindow(plain_)); }

  PlainWindow plain_{nullptr, RECT{10, 10, 400, 300}};
  CWnd owner_;
  RecordingDialog owned_{IDD_FULL, &owner_};
};

TEST_F(OwnedDialog, DisablesItsOwnerFromItsCreationToBeforeItsDestruction) {
  bool enabledInInit = true;
  bool enabledInDestroy = false;
  owned_.onInit = [&] { enabledInInit = IsWindowEnabled(plain_); };
  owned_.onDestroy = [&] { enabledInDestroy = IsWindowEnabled(plain_); };
  ShowModal(owned_, [&](HWND window) {
    EXPECT_EQ(GetWindow(window, GW_OWNER), HWND{plain_});
    EXPECT_FALSE(IsWindowEnabled(plain_));
  });
  EXPECT_FALSE(enabledInInit);
  EXPECT_TRUE(enabledInDestroy);
  EXPECT_TRUE(IsWindow(plain_));
  EXPECT_TRUE(IsWindowEnabled(plain_));
}

TEST_F(OwnedDialog, LeavesADisabledOwnerDisabled) {
  EnableWindow(plain_, FALSE);
  ShowModal(owned_, [&](HWND) { EXPECT_FALSE(IsWindowEnabled(plain_)); });
  EXPECT_FALSE(IsWindowEnabled(plain_));
}

TEST_F(OwnedDialog, LeavesTheActivationToItsOwner) {
  owner_.ShowWindow(SW_SHOW);
  SetActiveWindow(plain_);
  RunModal(owned_, [&](HWND window) {
    EXPECT_EQ(GetActiveWindow(), window);
    owned_.EndDialog(1);
  });
  EXPECT_EQ(GetActiveWindow(), HWND{plain_});
}

TEST_F(OwnedDialog, EnablesItsOwnerAlsoWhenItFails) {
  RecordingDialog missing(IDD_MISSING, &owner_);
  EXPECT_EQ(RunModal(missing), -1);
  EXPECT_TRUE(IsWindowEnabled(plain_));
  owned_.onInit = &ThrowError;
  EXPECT_EQ(RunModal(owned_), -1);
  EXPECT_TRUE(IsWindowEnabled(plain_));
  owned_.onInit = nullptr;
  EXPECT_EQ(RunModal(owned_, [](HWND) { PostQuitMessage(0); }), -1);
  EXPECT_TRUE(IsWindowEnabled(plain_));
}

TEST_F(OwnedDialog, MayHaveAnOwnerWithoutAWindow) {
  CWnd none;
  RecordingDialog dialog(IDD_FULL, &none);
  ShowModal(dialog, [](HWND window) { EXPECT_EQ(GetWindow(window, GW_OWNER), nullptr); });
}

TEST_F(OwnedDialog, MayOwnADialogItself) {
  RecordingDialog inner(IDD_EMPTY, &owned_);
  ShowModal(owned_, [&](HWND window) {
    ShowModal(inner, [window](HWND innerWindow) {
      EXPECT_EQ(GetWindow(innerWindow, GW_OWNER), window);
      EXPECT_FALSE(IsWindowEnabled(window));
    });
    EXPECT_TRUE(IsWindowEnabled(window));
    EXPECT_FALSE(IsWindowEnabled(plain_));
  });
}

// Again.

TEST_F(DialogEx, RunsAgainWithoutKeepingAResult) {
  dialog_.onInit = &ThrowError;
  EXPECT_EQ(RunModal(dialog_), -1);
  dialog_.onInit = nullptr;
  ShowModal(dialog_);
  EXPECT_EQ(RunModal(dialog_, [](HWND window) { DestroyWindow(window); }), -1);
  dialog_.calls.clear();
  ShowModal(dialog_);
  EXPECT_EQ(dialog_.CountCalls("OnInitDialog"), 1U);
  EXPECT_EQ(dialog_.CountCalls("shown"), 1U);
}

TEST_F(DialogEx, LeavesNoWindowsAndObjectsAfterTwoHundredRuns) {
  const auto run = [this] {
    dialog_.calls.clear();
    EXPECT_EQ(RunModal(dialog_, [&](HWND) { dialog_.EndDialog(1); }), 1);
  };
  // The system keeps some windows and objects from their first use on.
  for (int count = 0; count < 5; ++count) run();
  const size_t windows = CountThreadWindows();
  const size_t objects = CountGdiObjects();
  for (int count = 0; count < 200; ++count) run();
  EXPECT_EQ(CountThreadWindows(), windows);
  EXPECT_EQ(CountGdiObjects(), objects);
}

TEST_F(DialogEx, LeavesNoWindowsWhenItCannotBeInitialized) {
  dialog_.onInit = &ThrowError;
  EXPECT_EQ(RunModal(dialog_), -1);
  const size_t windows = CountThreadWindows();
  for (int count = 0; count < 20; ++count) EXPECT_EQ(RunModal(dialog_), -1);
  EXPECT_EQ(CountThreadWindows(), windows);
}

TEST_F(DialogEx, LeavesNoWindowWhenItCannotBeAttached) {
  class Unattachable : public CDialogEx {
   public:
    using CDialogEx::CDialogEx;
    bool throws = true;
    HWND window = nullptr;

   protected:
    void PreSubclassWindow() override {
      window = m_hWnd;
      if (throws) ThrowError();
    }
  };
  Unattachable dialog(IDD_FULL);
  EXPECT_EQ(RunModal(dialog), -1);
  ASSERT_NE(dialog.window, nullptr);
  EXPECT_FALSE(IsWindow(dialog.window));
  dialog.throws = false;
  ShowModal(dialog);
}

// Where its template comes from.

std::wstring GetCaption(UINT id) {
  std::wstring caption;
  RecordingDialog dialog(id);
  dialog.onInit = [&] {
    caption = GetText(dialog.m_hWnd);
    dialog.EndDialog(1);
  };
  EXPECT_EQ(RunModal(dialog), 1);
  return caption;
}

TEST_F(DialogEx, TakesItsTemplateFromTheResourceModuleOrElseFromTheProgram) {
  const HINSTANCE previous = AfxGetResourceHandle();
  const HINSTANCE texts = LoadLibraryW((ProgramFolder() + L"\\localized_texts.dll").c_str());
  ASSERT_NE(texts, nullptr) << GetLastError();
  EXPECT_EQ(GetCaption(IDD_LOCALIZED), L"The program's text");
  AfxSetResourceHandle(texts);
  EXPECT_EQ(GetCaption(IDD_LOCALIZED), L"The localized text");
  EXPECT_EQ(GetCaption(IDD_FULL), L"The program's dialog");
  AfxSetResourceHandle(previous);
  FreeLibrary(texts);
}

}  // namespace
