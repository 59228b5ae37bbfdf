#include <gtest/gtest.h>

#include <functional>

#include "framework/afxdialogex.h"
#include "tests/support/DialogDriver.h"
#include "tests/support/PlainWindow.h"
#include "tests/unit/framework/dialogs.h"

namespace {

constexpr UINT AnsweredMessage = WM_APP + 1;

class AnsweringStatic : public CStatic {
 public:
  int preSubclassed = 0;

 protected:
  DECLARE_MESSAGE_MAP()

  void PreSubclassWindow() override {
    ++preSubclassed;
    CStatic::PreSubclassWindow();
  }

 private:
  LRESULT OnAnswered(WPARAM first, LPARAM second) { return static_cast<LRESULT>(first) + second; }
};

BEGIN_MESSAGE_MAP(AnsweringStatic, CStatic)
ON_MESSAGE(AnsweredMessage, &AnsweringStatic::OnAnswered)
END_MESSAGE_MAP()

class BindingDialog : public CDialogEx {
 public:
  BindingDialog() : CDialogEx(IDD_FULL) {}

  AnsweringStatic note;
  CWnd missing;
  std::function<void()> onInit;

  void Exchange(BOOL save) { UpdateData(save); }

 protected:
  void DoDataExchange(CDataExchange* exchange) override {
    CDialogEx::DoDataExchange(exchange);
    DDX_Control(exchange, IDC_NOTE, note);
    DDX_Control(exchange, IDC_MISSING, missing);
  }
  BOOL OnInitDialog() override {
    CDialogEx::OnInitDialog();
    if (onInit) onInit();
    return TRUE;
  }
};

class Binding : public testing::Test {
 protected:
  /// Runs the dialog with one step.
  void Run(const std::function<void(HWND)>& step) {
    RunModal(dialog_, [&](HWND window) {
      step(window);
      dialog_.EndDialog(1);
    });
  }

  BindingDialog dialog_;
};

TEST_F(Binding, AttachesTheControlInOnInitDialog) {
  HWND bound = nullptr;
  dialog_.onInit = [&] { bound = dialog_.note.m_hWnd; };
  Run([&](HWND window) { EXPECT_EQ(bound, GetDlgItem(window, IDC_NOTE)); });
  EXPECT_NE(bound, nullptr);
}

TEST_F(Binding, PassesTheControlsMessagesToTheMember) {
  Run([](HWND window) {
    EXPECT_EQ(SendDlgItemMessageW(window, IDC_NOTE, AnsweredMessage, 40, 2), 42);
  });
}

TEST_F(Binding, LeavesTheOtherMessagesToTheControl) {
  Run([&](HWND window) {
    EXPECT_EQ(dialog_.note.GetWindowText(), L"A note");
    SetDlgItemTextW(window, IDC_NOTE, L"Another note");
    EXPECT_EQ(dialog_.note.GetWindowText(), L"Another note");
  });
}

TEST_F(Binding, LeavesTheMemberOfAMissingControlWithoutAWindow) {
  Run([&](HWND) { EXPECT_EQ(dialog_.missing.m_hWnd, nullptr); });
}

TEST_F(Binding, HappensOnce) {
  Run([&](HWND window) {
    dialog_.Exchange(FALSE);
    dialog_.Exchange(TRUE);
    EXPECT_EQ(dialog_.note.m_hWnd, GetDlgItem(window, IDC_NOTE));
    EXPECT_EQ(dialog_.note.preSubclassed, 1);
  });
}

TEST_F(Binding, EndsWithTheDialog) {
  Run([](HWND) {});
  EXPECT_EQ(dialog_.note.m_hWnd, nullptr);
}

TEST_F(Binding, IsMadeAnewWhenTheDialogRunsAgain) {
  Run([](HWND) {});
  Run([&](HWND window) { EXPECT_EQ(dialog_.note.m_hWnd, GetDlgItem(window, IDC_NOTE)); });
  EXPECT_EQ(dialog_.note.preSubclassed, 2);
}

class Exchange : public testing::Test {
 protected:
  Exchange() {
    control_ = CreateWindowExW(0, L"STATIC", L"", WS_CHILD, 0, 0, 10, 10, plain_,
                               reinterpret_cast<HMENU>(ULONG_PTR{IDC_NOTE}),
                               GetModuleHandleW(nullptr), nullptr);
    EXPECT_NE(control_, nullptr) << GetLastError();
    EXPECT_TRUE(window_.SubclassWindow(plain_));
  }

  PlainWindow plain_;
  CWnd window_;
  CWnd member_;
  HWND control_ = nullptr;
};

TEST_F(Exchange, KnowsItsDialogAndItsDirection) {
  const CDataExchange load(&window_, FALSE);
  EXPECT_EQ(load.m_pDlgWnd, &window_);
  EXPECT_EQ(load.m_bSaveAndValidate, FALSE);
  const CDataExchange save(&window_, TRUE);
  EXPECT_EQ(save.m_bSaveAndValidate, TRUE);
}

TEST_F(Exchange, FromTheMembersBindsAControl) {
  CDataExchange load(&window_, FALSE);
  DDX_Control(&load, IDC_NOTE, member_);
  EXPECT_EQ(member_.m_hWnd, control_);
  EXPECT_EQ(CWnd::FromHandlePermanent(control_), &member_);
}

TEST_F(Exchange, FromTheControlsBindsNone) {
  CDataExchange save(&window_, TRUE);
  DDX_Control(&save, IDC_NOTE, member_);
  EXPECT_EQ(member_.m_hWnd, nullptr);
  EXPECT_EQ(CWnd::FromHandlePermanent(control_), nullptr);
}

TEST_F(Exchange, LeavesAMemberThatHasAWindow) {
  const PlainWindow other;
  ASSERT_TRUE(member_.SubclassWindow(other));
  CDataExchange load(&window_, FALSE);
  DDX_Control(&load, IDC_NOTE, member_);
  EXPECT_EQ(member_.m_hWnd, HWND{other});
  EXPECT_EQ(CWnd::FromHandlePermanent(control_), nullptr);
}

TEST_F(Exchange, LeavesAControlThatAnotherMemberHas) {
  CWnd first;
  CDataExchange load(&window_, FALSE);
  DDX_Control(&load, IDC_NOTE, first);
  DDX_Control(&load, IDC_NOTE, member_);
  EXPECT_EQ(first.m_hWnd, control_);
  EXPECT_EQ(member_.m_hWnd, nullptr);
}

TEST_F(Exchange, OfAMissingControlBindsNothing) {
  CDataExchange load(&window_, FALSE);
  DDX_Control(&load, IDC_MISSING, member_);
  EXPECT_EQ(member_.m_hWnd, nullptr);
}

}  // namespace
