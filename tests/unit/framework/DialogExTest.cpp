#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
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

/// A dialog that writes down what is asked of it.
class RecordingDialog : public CDialogEx {
 public:
  using CDialogEx::CDialogEx;

  Calls calls;
  /// Called in OnInitDialog, after the base's.
  std::function<void()> onInit;
  std::function<void()> onPosted;
  BOOL initResult = TRUE;
  bool endsOnOk = true;
  bool visibleInInit = false;
  /// The window, also when it has gone.
  HWND window = nullptr;

  void Exchange(BOOL save) { UpdateData(save); }

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

size_t Count(const Calls& calls, const std::string& call) {
  return static_cast<size_t>(std::count(calls.begin(), calls.end(), call));
}

/// The position of the first such call; behind the last one when there is none.
size_t Position(const Calls& calls, const std::string& call) {
  return static_cast<size_t>(std::find(calls.begin(), calls.end(), call) - calls.begin());
}

class DialogEx : public testing::Test {
 protected:
  // What one test leaves in the thread's message queue would end the next one's loop.
  void TearDown() override {
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
    }
  }

  RecordingDialog dialog_{IDD_FULL};
};

// How it ends.

TEST_F(DialogEx, AnswersWithWhatEndDialogGets) {
  for (const int result : {42, 0, -7, IDCANCEL, 0x7FFFFFFF}) {
    EXPECT_EQ(RunModal(dialog_, [&](HWND) { dialog_.EndDialog(result); }), result);
  }
}

TEST_F(DialogEx, AnswersWithWhatTheLastEndDialogGets) {
  EXPECT_EQ(RunModal(dialog_,
                     [&](HWND) {
                       dialog_.EndDialog(42);
                       dialog_.EndDialog(43);
                     }),
            43);
}

TEST_F(DialogEx, HasNoWindowWhenItIsDone) {
  RunModal(dialog_, [&](HWND window) {
    EXPECT_EQ(dialog_.m_hWnd, window);
    dialog_.EndDialog(1);
  });
  EXPECT_EQ(dialog_.m_hWnd, nullptr);
  EXPECT_FALSE(IsWindow(dialog_.window));
}

TEST_F(DialogEx, LeavesItsDestructionToItsWindowsOwnProcedureToo) {
  class Watching : public CDialogEx {
   public:
    using CDialogEx::CDialogEx;
    int destroyed = 0;
    LRESULT DefWindowProc(UINT message, WPARAM first, LPARAM second) override {
      if (message == WM_DESTROY) ++destroyed;
      return CDialogEx::DefWindowProc(message, first, second);
    }
  };
  Watching dialog(IDD_FULL);
  RunModal(dialog, [&](HWND) { dialog.EndDialog(1); });
  EXPECT_EQ(dialog.destroyed, 1);
}

TEST_F(DialogEx, KeepsItsWindowUntilTheHandlerThatEndsItIsDone) {
  RunModal(dialog_, [&](HWND window) {
    dialog_.EndDialog(1);
    EXPECT_TRUE(IsWindow(window));
    EXPECT_EQ(dialog_.m_hWnd, window);
  });
}

TEST_F(DialogEx, AnswersMinusOneWhenThereIsNoSuchTemplate) {
  RecordingDialog missing(IDD_MISSING);
  EXPECT_EQ(RunModal(missing), -1);
  EXPECT_EQ(missing.calls, Calls{});
  EXPECT_EQ(missing.m_hWnd, nullptr);
}

TEST_F(DialogEx, AnswersMinusOneWhenOnInitDialogThrows) {
  dialog_.onInit = [] { throw std::runtime_error("OnInitDialog"); };
  EXPECT_EQ(RunModal(dialog_), -1);
  EXPECT_EQ(dialog_.calls, (Calls{"OnInitDialog", "load"}));
  EXPECT_EQ(dialog_.m_hWnd, nullptr);
  EXPECT_FALSE(IsWindow(dialog_.window));
}

TEST_F(DialogEx, AnswersMinusOneWhenOnInitDialogEndsItWithThat) {
  dialog_.onInit = [this] { dialog_.EndDialog(-1); };
  EXPECT_EQ(RunModal(dialog_), -1);
  EXPECT_EQ(dialog_.calls, (Calls{"OnInitDialog", "load"}));
  EXPECT_FALSE(IsWindow(dialog_.window));
}

TEST_F(DialogEx, IsNeverShownWhenOnInitDialogEndsIt) {
  dialog_.onInit = [this] { dialog_.EndDialog(44); };
  EXPECT_EQ(RunModal(dialog_), 44);
  EXPECT_EQ(Count(dialog_.calls, "shown"), 0U);
}

TEST_F(DialogEx, AnswersMinusOneAndQuitsWhenTheThreadIsToQuit) {
  EXPECT_EQ(RunModal(dialog_, [](HWND) { PostQuitMessage(9); }), -1);
  EXPECT_FALSE(IsWindow(dialog_.window));
  MSG message = {};
  ASSERT_TRUE(PeekMessageW(&message, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE));
  EXPECT_EQ(message.wParam, 9U);
}

TEST_F(DialogEx, QuitsBeforeItIsShownWhenTheThreadIsToQuitAlready) {
  dialog_.onInit = [] { PostQuitMessage(10); };
  EXPECT_EQ(RunModal(dialog_), -1);
  EXPECT_EQ(Count(dialog_.calls, "shown"), 0U);
  MSG message = {};
  ASSERT_TRUE(PeekMessageW(&message, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE));
  EXPECT_EQ(message.wParam, 10U);
}

TEST_F(DialogEx, AnswersMinusOneWhenItsWindowIsDestroyed) {
  EXPECT_EQ(RunModal(dialog_, [](HWND window) { DestroyWindow(window); }), -1);
}

TEST_F(DialogEx, AnswersMinusOneWhenItsOwnerIsDestroyed) {
  const PlainWindow plain;
  CWnd owner;
  ASSERT_TRUE(owner.SubclassWindow(plain));
  RecordingDialog dialog(IDD_FULL, &owner);
  EXPECT_EQ(RunModal(dialog, [&](HWND) { DestroyWindow(plain); }), -1);
  EXPECT_FALSE(IsWindow(dialog.window));
}

/// Sends the dialog a message from another thread, which is handled while the loop waits for one of
/// the queue. Answers with the dialog's result. Without a timer that would wake the loop.
INT_PTR RunWithAMessageFromElsewhere(RecordingDialog& dialog) {
  const Deadline deadline;
  std::jthread sender;
  dialog.onInit = [&] {
    sender = std::jthread([window = dialog.m_hWnd](const std::stop_token& stop) {
      while (!IsWindowVisible(window) && !stop.stop_requested()) Sleep(10);
      // By now the loop has nothing left to do.
      Sleep(500);
      SendMessageW(window, PostedMessage, 0, 0);
    });
  };
  return dialog.DoModal();
}

TEST_F(DialogEx, EndsAtOnceWhenAnotherThreadsMessageEndsIt) {
  RecordingDialog dialog(IDD_EMPTY);
  dialog.onPosted = [&dialog] { dialog.EndDialog(45); };
  EXPECT_EQ(RunWithAMessageFromElsewhere(dialog), 45);
}

TEST_F(DialogEx, EndsAtOnceWhenAnotherThreadsMessageDestroysItsWindow) {
  RecordingDialog dialog(IDD_EMPTY);
  dialog.onPosted = [&dialog] { DestroyWindow(dialog.m_hWnd); };
  EXPECT_EQ(RunWithAMessageFromElsewhere(dialog), -1);
}

TEST_F(DialogEx, LeavesNothingInTheQueue) {
  RunModal(dialog_, [&](HWND) { dialog_.EndDialog(1); });
  RunModal(dialog_, [](HWND) { PostQuitMessage(0); });
  MSG message = {};
  ASSERT_TRUE(PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE));
  EXPECT_EQ(message.message, UINT{WM_QUIT});
  EXPECT_FALSE(PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE)) << message.message;
}

TEST_F(DialogEx, HandlesNothingMoreOnceItHasEnded) {
  EXPECT_EQ(RunModal(dialog_,
                     [&](HWND window) {
                       dialog_.EndDialog(46);
                       PostMessageW(window, PostedMessage, 0, 0);
                     }),
            46);
  EXPECT_EQ(Count(dialog_.calls, "posted, visible"), 0U);
}

TEST_F(DialogEx, SurvivesAHandlerThatThrows) {
  dialog_.onPosted = [] { throw std::runtime_error("OnPosted"); };
  EXPECT_EQ(
      RunModal(
          dialog_, [](HWND window) { EXPECT_EQ(SendMessageW(window, PostedMessage, 0, 0), 0); },
          [&](HWND) { dialog_.EndDialog(47); }),
      47);
}

// OK and Cancel.

TEST_F(DialogEx, EndsWithOkWhenItsButtonIsClicked) {
  EXPECT_EQ(RunModal(dialog_, [](HWND window) { Click(window, IDOK); }), IDOK);
  EXPECT_EQ(Count(dialog_.calls, "OnOK"), 1U);
  EXPECT_EQ(Count(dialog_.calls, "OnCancel"), 0U);
}

TEST_F(DialogEx, EndsWithCancelWhenItsButtonIsClicked) {
  EXPECT_EQ(RunModal(dialog_, [](HWND window) { Click(window, IDCANCEL); }), IDCANCEL);
  EXPECT_EQ(Count(dialog_.calls, "OnCancel"), 1U);
  EXPECT_EQ(Count(dialog_.calls, "OnOK"), 0U);
}

TEST_F(DialogEx, EndsWithCancelOnEscape) {
  EXPECT_EQ(RunModal(dialog_, [](HWND window) { PressKey(window, VK_ESCAPE); }), IDCANCEL);
  EXPECT_EQ(Count(dialog_.calls, "OnCancel"), 1U);
}

TEST_F(DialogEx, EndsWithCancelOnEscapeWithoutACancelButton) {
  RecordingDialog dialog(IDD_EMPTY);
  EXPECT_EQ(RunModal(dialog, [](HWND window) { PressKey(window, VK_ESCAPE); }), IDCANCEL);
  EXPECT_EQ(Count(dialog.calls, "OnCancel"), 1U);
}

TEST_F(DialogEx, EndsWithOkOnEnter) {
  EXPECT_EQ(RunModal(dialog_, [](HWND window) { PressKey(window, VK_RETURN); }), IDOK);
  EXPECT_EQ(Count(dialog_.calls, "OnOK"), 1U);
}

TEST_F(DialogEx, EndsWithOkOnEnterWithoutAnOkButton) {
  RecordingDialog dialog(IDD_EMPTY);
  EXPECT_EQ(RunModal(dialog, [](HWND window) { PressKey(window, VK_RETURN); }), IDOK);
}

TEST_F(DialogEx, EndsWithCancelWhenItIsClosed) {
  EXPECT_EQ(RunModal(dialog_, [](HWND window) { PostMessageW(window, WM_CLOSE, 0, 0); }), IDCANCEL);
  EXPECT_EQ(Count(dialog_.calls, "OnCancel"), 1U);
}

TEST_F(DialogEx, EndsWithCancelWhenItIsClosedWithoutACancelButton) {
  RecordingDialog dialog(IDD_EMPTY);
  EXPECT_EQ(RunModal(dialog, [](HWND window) { PostMessageW(window, WM_CLOSE, 0, 0); }), IDCANCEL);
}

TEST_F(DialogEx, EndsWithCancelWhenItsSystemMenuClosesIt) {
  EXPECT_EQ(
      RunModal(dialog_, [](HWND window) { PostMessageW(window, WM_SYSCOMMAND, SC_CLOSE, 0); }),
      IDCANCEL);
}

TEST_F(DialogEx, GoesOnWhenItsOnOkDoesNotEndIt) {
  dialog_.endsOnOk = false;
  EXPECT_EQ(RunModal(
                dialog_, [](HWND window) { Click(window, IDOK); },
                [](HWND window) { EXPECT_TRUE(IsWindowVisible(window)); },
                [&](HWND) { dialog_.EndDialog(48); }),
            48);
  EXPECT_EQ(Count(dialog_.calls, "OnOK"), 1U);
}

TEST_F(DialogEx, AnswersItsOtherButtons) {
  RunModal(
      dialog_, [](HWND window) { Click(window, IDC_BUTTON); }, [&](HWND) { dialog_.EndDialog(1); });
  EXPECT_EQ(Count(dialog_.calls, "OnButton"), 1U);
}

TEST_F(DialogEx, TakesTypedCharacters) {
  RunModal(
      dialog_,
      [](HWND window) {
        const HWND name = GetDlgItem(window, IDC_NAME);
        SetFocus(name);
        PressKey(window, 'A');
      },
      [&](HWND window) {
        wchar_t text[9] = L"";
        GetDlgItemTextW(window, IDC_NAME, text, 9);
        EXPECT_STREQ(text, L"a");
        dialog_.EndDialog(1);
      });
}

TEST_F(DialogEx, LetsTheThreadsOtherWindowsTakeTypedCharactersToo) {
  const PlainWindow other;
  RunModal(
      dialog_,
      [&](HWND) { EXPECT_TRUE(PostMessageW(other, WM_KEYDOWN, 'A', 1)) << GetLastError(); },
      [&](HWND) {
        EXPECT_EQ(other.Received(WM_CHAR).size(), 1U);
        dialog_.EndDialog(1);
      });
}

TEST_F(DialogEx, MovesTheFocusOnTab) {
  RunModal(
      dialog_,
      [](HWND window) {
        SetFocus(GetDlgItem(window, IDC_NAME));
        PressKey(window, VK_TAB);
      },
      [&](HWND window) {
        EXPECT_EQ(GetDlgCtrlID(GetFocus()), IDC_BUTTON);
        EXPECT_TRUE(IsWindow(window));
        dialog_.EndDialog(1);
      });
}

// Exchange.

TEST_F(DialogEx, LoadsOnceAndSavesOnOk) {
  RunModal(dialog_, [](HWND window) { Click(window, IDOK); });
  EXPECT_EQ(Count(dialog_.calls, "load"), 1U);
  EXPECT_EQ(Count(dialog_.calls, "save"), 1U);
  EXPECT_LT(Position(dialog_.calls, "OnOK"), Position(dialog_.calls, "save"));
}

TEST_F(DialogEx, DoesNotSaveOnCancel) {
  RunModal(dialog_, [](HWND window) { Click(window, IDCANCEL); });
  EXPECT_EQ(Count(dialog_.calls, "save"), 0U);
}

TEST_F(DialogEx, ExchangesWhenAsked) {
  RunModal(dialog_, [&](HWND) {
    dialog_.calls.clear();
    dialog_.Exchange(TRUE);
    dialog_.Exchange(FALSE);
    EXPECT_EQ(dialog_.calls, (Calls{"save", "load"}));
    dialog_.EndDialog(1);
  });
}

// When it is shown.

TEST_F(DialogEx, IsHiddenInOnInitDialog) {
  RunModal(dialog_, [&](HWND) { dialog_.EndDialog(1); });
  EXPECT_FALSE(dialog_.visibleInInit);
}

TEST_F(DialogEx, IsShownOnceNoMessageWaits) {
  dialog_.onInit = [this] {
    PostMessageW(dialog_.m_hWnd, PostedMessage, 0, 0);
    PostMessageW(dialog_.m_hWnd, PostedMessage, 0, 0);
  };
  RunModal(dialog_, [&](HWND) { dialog_.EndDialog(1); });
  EXPECT_EQ(Count(dialog_.calls, "posted, hidden"), 2U);
  EXPECT_EQ(Count(dialog_.calls, "posted, visible"), 0U);
  EXPECT_EQ(Count(dialog_.calls, "shown"), 1U);
}

TEST_F(DialogEx, IsNeverShownWhenAMessageOfTheQueueEndsItFirst) {
  dialog_.onInit = [this] { PostMessageW(dialog_.m_hWnd, WM_COMMAND, IDCANCEL, 0); };
  EXPECT_EQ(RunModal(dialog_), IDCANCEL);
  EXPECT_EQ(Count(dialog_.calls, "shown"), 0U);
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
  RunModal(
      dialog, [](HWND) {}, [&](HWND) { dialog.EndDialog(1); });
  ASSERT_EQ(Count(dialog.calls, "posted, visible"), 1U);
  EXPECT_LT(Position(dialog.calls, "OnPaint"), Position(dialog.calls, "posted, visible"));
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
  EXPECT_EQ(Count(dialog_.calls, "shown"), 1U);
  EXPECT_EQ(Count(dialog_.calls, "posted, hidden"), 1U);
}

TEST_F(DialogEx, BecomesTheActiveWindow) {
  RunModal(dialog_, [&](HWND window) {
    EXPECT_EQ(GetActiveWindow(), window);
    dialog_.EndDialog(1);
  });
}

TEST_F(DialogEx, BecomesTheActiveWindowAlsoWhenNothingGetsTheFocus) {
  dialog_.initResult = FALSE;
  RunModal(dialog_, [&](HWND window) {
    EXPECT_EQ(GetActiveWindow(), window);
    dialog_.EndDialog(1);
  });
}

// The focus.

TEST_F(DialogEx, GivesTheFocusToItsFirstControl) {
  RunModal(dialog_, [&](HWND) {
    EXPECT_EQ(GetDlgCtrlID(GetFocus()), IDC_NAME);
    dialog_.EndDialog(1);
  });
}

TEST_F(DialogEx, LeavesTheFocusWhereOnInitDialogPutIt) {
  dialog_.onInit = [this] { SetFocus(GetDlgItem(dialog_.m_hWnd, IDC_BUTTON)); };
  dialog_.initResult = FALSE;
  RunModal(dialog_, [&](HWND) {
    EXPECT_EQ(GetDlgCtrlID(GetFocus()), IDC_BUTTON);
    dialog_.EndDialog(1);
  });
}

TEST_F(DialogEx, TakesTheFocusFromWhereOnInitDialogPutItWhenThatAnswersTrue) {
  dialog_.onInit = [this] { SetFocus(GetDlgItem(dialog_.m_hWnd, IDC_BUTTON)); };
  RunModal(dialog_, [&](HWND) {
    EXPECT_EQ(GetDlgCtrlID(GetFocus()), IDC_NAME);
    dialog_.EndDialog(1);
  });
}

// Its owner.

class OwnedDialog : public DialogEx {
 protected:
  OwnedDialog() { EXPECT_TRUE(owner_.SubclassWindow(plain_)); }

  PlainWindow plain_{nullptr, RECT{10, 10, 400, 300}};
  CWnd owner_;
  RecordingDialog owned_{IDD_FULL, &owner_};
};

TEST_F(OwnedDialog, BelongsToItsOwner) {
  RunModal(owned_, [&](HWND window) {
    EXPECT_EQ(GetWindow(window, GW_OWNER), HWND{plain_});
    owned_.EndDialog(1);
  });
  EXPECT_TRUE(IsWindow(plain_));
}

TEST_F(OwnedDialog, DisablesItsOwnerMeanwhile) {
  bool enabledInInit = true;
  owned_.onInit = [&] { enabledInInit = IsWindowEnabled(plain_); };
  RunModal(owned_, [&](HWND) {
    EXPECT_FALSE(IsWindowEnabled(plain_));
    owned_.EndDialog(1);
  });
  EXPECT_FALSE(enabledInInit);
  EXPECT_TRUE(IsWindowEnabled(plain_));
}

TEST_F(OwnedDialog, LeavesADisabledOwnerDisabled) {
  EnableWindow(plain_, FALSE);
  RunModal(owned_, [&](HWND) {
    EXPECT_FALSE(IsWindowEnabled(plain_));
    owned_.EndDialog(1);
  });
  EXPECT_FALSE(IsWindowEnabled(plain_));
}

TEST_F(OwnedDialog, EnablesItsOwnerBeforeItsWindowGoes) {
  class Watching : public CDialogEx {
   public:
    using CDialogEx::CDialogEx;
    HWND owner = nullptr;
    bool destroyed = false;
    bool ownerEnabled = false;
    LRESULT WindowProc(UINT message, WPARAM first, LPARAM second) override {
      if (message == WM_DESTROY) {
        destroyed = true;
        ownerEnabled = IsWindowEnabled(owner);
      }
      return CDialogEx::WindowProc(message, first, second);
    }
  };
  Watching dialog(IDD_FULL, &owner_);
  dialog.owner = plain_;
  RunModal(dialog, [&](HWND) { dialog.EndDialog(1); });
  EXPECT_TRUE(dialog.destroyed);
  EXPECT_TRUE(dialog.ownerEnabled);
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

TEST_F(OwnedDialog, EnablesItsOwnerWhenThereIsNoSuchTemplate) {
  RecordingDialog missing(IDD_MISSING, &owner_);
  EXPECT_EQ(RunModal(missing), -1);
  EXPECT_TRUE(IsWindowEnabled(plain_));
}

TEST_F(OwnedDialog, EnablesItsOwnerWhenOnInitDialogThrows) {
  owned_.onInit = [] { throw std::runtime_error("OnInitDialog"); };
  EXPECT_EQ(RunModal(owned_), -1);
  EXPECT_TRUE(IsWindowEnabled(plain_));
}

TEST_F(OwnedDialog, EnablesItsOwnerWhenTheThreadIsToQuit) {
  EXPECT_EQ(RunModal(owned_, [](HWND) { PostQuitMessage(0); }), -1);
  EXPECT_TRUE(IsWindowEnabled(plain_));
}

TEST_F(OwnedDialog, MayHaveAnOwnerWithoutAWindow) {
  CWnd none;
  RecordingDialog dialog(IDD_FULL, &none);
  EXPECT_EQ(RunModal(dialog,
                     [&](HWND window) {
                       EXPECT_EQ(GetWindow(window, GW_OWNER), nullptr);
                       dialog.EndDialog(50);
                     }),
            50);
}

TEST_F(OwnedDialog, MayOwnADialogItself) {
  RecordingDialog inner(IDD_EMPTY, &owned_);
  INT_PTR innerResult = 0;
  const INT_PTR result = RunModal(
      owned_,
      [&](HWND window) {
        innerResult = RunModal(inner, [&](HWND innerWindow) {
          EXPECT_EQ(GetWindow(innerWindow, GW_OWNER), window);
          EXPECT_FALSE(IsWindowEnabled(window));
          inner.EndDialog(51);
        });
        EXPECT_TRUE(IsWindowEnabled(window));
        EXPECT_FALSE(IsWindowEnabled(plain_));
      },
      [&](HWND) { owned_.EndDialog(52); });
  EXPECT_EQ(innerResult, 51);
  EXPECT_EQ(result, 52);
}

// Again.

TEST_F(DialogEx, RunsASecondTime) {
  EXPECT_EQ(RunModal(dialog_, [&](HWND) { dialog_.EndDialog(53); }), 53);
  dialog_.calls.clear();
  EXPECT_EQ(RunModal(dialog_, [](HWND window) { Click(window, IDOK); }), IDOK);
  EXPECT_EQ(Count(dialog_.calls, "OnInitDialog"), 1U);
  EXPECT_EQ(Count(dialog_.calls, "shown"), 1U);
}

TEST_F(DialogEx, RunsAfterOnInitDialogHasThrown) {
  dialog_.onInit = [] { throw std::runtime_error("OnInitDialog"); };
  EXPECT_EQ(RunModal(dialog_), -1);
  dialog_.onInit = nullptr;
  EXPECT_EQ(RunModal(dialog_, [&](HWND) { dialog_.EndDialog(54); }), 54);
}

TEST_F(DialogEx, DoesNotKeepAnEarlierResult) {
  EXPECT_EQ(RunModal(dialog_, [&](HWND) { dialog_.EndDialog(55); }), 55);
  EXPECT_EQ(RunModal(dialog_, [](HWND window) { DestroyWindow(window); }), -1);
}

TEST_F(DialogEx, LeavesNoWindowsAndObjectsAfterTwoHundredRounds) {
  const auto round = [this] {
    dialog_.calls.clear();
    EXPECT_EQ(RunModal(dialog_, [&](HWND) { dialog_.EndDialog(1); }), 1);
  };
  // The system keeps some windows and objects from their first use on.
  for (int count = 0; count < 5; ++count) round();
  const size_t windows = ThreadWindowCount();
  const size_t objects = GdiObjectCount();
  for (int count = 0; count < 200; ++count) round();
  EXPECT_EQ(ThreadWindowCount(), windows);
  EXPECT_EQ(GdiObjectCount(), objects);
}

TEST_F(DialogEx, LeavesNoWindowsWhenItCannotBeInitialised) {
  const auto round = [this] {
    dialog_.onInit = [] { throw std::runtime_error("OnInitDialog"); };
    EXPECT_EQ(RunModal(dialog_), -1);
  };
  round();
  const size_t windows = ThreadWindowCount();
  for (int count = 0; count < 20; ++count) round();
  EXPECT_EQ(ThreadWindowCount(), windows);
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
      if (throws) throw std::runtime_error("PreSubclassWindow");
    }
  };
  Unattachable dialog(IDD_FULL);
  EXPECT_EQ(RunModal(dialog), -1);
  ASSERT_NE(dialog.window, nullptr);
  EXPECT_FALSE(IsWindow(dialog.window));
  dialog.throws = false;
  EXPECT_EQ(RunModal(dialog, [&](HWND) { dialog.EndDialog(56); }), 56);
}

// Where its template comes from.

class DialogTemplate : public DialogEx {
 protected:
  DialogTemplate() { EXPECT_NE(texts_, nullptr) << GetLastError(); }
  ~DialogTemplate() override {
    AfxSetResourceHandle(previous_);
    FreeLibrary(texts_);
  }

  static std::wstring Caption(UINT id) {
    std::wstring caption;
    RecordingDialog dialog(id);
    dialog.onInit = [&] {
      caption = dialog.GetWindowText();
      dialog.EndDialog(1);
    };
    EXPECT_EQ(RunModal(dialog), 1);
    return caption;
  }

  HINSTANCE previous_ = AfxGetResourceHandle();
  HINSTANCE texts_ = LoadLibraryW((ProgramFolder() + L"\\localized_texts.dll").c_str());
};

TEST_F(DialogTemplate, ComesFromTheCurrentResourceModule) {
  AfxSetResourceHandle(texts_);
  EXPECT_EQ(Caption(IDD_LOCALIZED), L"The localized text");
}

TEST_F(DialogTemplate, ComesFromTheProgramWhenTheResourceModuleHasNone) {
  AfxSetResourceHandle(texts_);
  EXPECT_EQ(Caption(IDD_FULL), L"The program's dialog");
}

TEST_F(DialogTemplate, ComesFromTheProgramWhenThatIsTheResourceModule) {
  EXPECT_EQ(Caption(IDD_LOCALIZED), L"The program's text");
}

}  // namespace
