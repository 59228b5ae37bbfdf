#include <gtest/gtest.h>

#include "framework/afxdialogex.h"
#include "tests/support/DialogDriver.h"
#include "tests/support/PlainWindow.h"
#include "tests/unit/framework/dialogs.h"

namespace {

constexpr UINT SumMessage = WM_APP + 1;

class BindingDialog : public CDialogEx {
 public:
  BindingDialog() : CDialogEx(IDD_FULL) {
    note.onPreSubclass = [this] { ++preSubclassed; };
    note.handlers[SumMessage] = [](WPARAM first, LPARAM second) {
      return static_cast<LRESULT>(first) + second;
    };
  }

  ScriptedWindow<CStatic> note;
  int preSubclassed = 0;
  CWnd missing;
  HWND boundInInit = nullptr;

  using CDialogEx::UpdateData;

 protected:
  void DoDataExchange(CDataExchange* exchange) override {
    CDialogEx::DoDataExchange(exchange);
    DDX_Control(exchange, IDC_NOTE, note);
    DDX_Control(exchange, IDC_MISSING, missing);
  }
  BOOL OnInitDialog() override {
    CDialogEx::OnInitDialog();
    boundInInit = note.m_hWnd;
    return TRUE;
  }
};

TEST(Binding, AttachesTheControlOncePerRunFromOnInitDialogToTheEnd) {
  BindingDialog dialog;
  for (int run = 1; run <= 2; ++run) {
    ShowModal(dialog, [&](HWND window) {
      const HWND control = GetDlgItem(window, IDC_NOTE);
      EXPECT_EQ(dialog.boundInInit, control);
      dialog.UpdateData(FALSE);
      dialog.UpdateData(TRUE);
      EXPECT_EQ(dialog.note.m_hWnd, control);
      EXPECT_EQ(dialog.preSubclassed, run);
    });
    EXPECT_EQ(dialog.note.m_hWnd, nullptr);
  }
}

TEST(Binding, PassesTheControlsMessagesToTheMember) {
  BindingDialog dialog;
  ShowModal(dialog, [&](HWND window) {
    EXPECT_EQ(SendDlgItemMessageW(window, IDC_NOTE, SumMessage, 40, 2), 42);
    EXPECT_EQ(GetText(dialog.note.m_hWnd), L"A note") << "the others go to the control";
    SetDlgItemTextW(window, IDC_NOTE, L"Another note");
    EXPECT_EQ(GetText(dialog.note.m_hWnd), L"Another note");
  });
}

TEST(Binding, LeavesTheMemberOfAMissingControlWithoutAWindow) {
  BindingDialog dialog;
  ShowModal(dialog, [&](HWND) { EXPECT_EQ(dialog.missing.m_hWnd, nullptr); });
}

class Exchange : public testing::Test, protected Attached<> {
 protected:
  Exchange() {
    control_ = CreateWindowExW(0, L"STATIC", L"", WS_CHILD, 0, 0, 10, 10, plain,
                               reinterpret_cast<HMENU>(ULONG_PTR{IDC_NOTE}),
                               GetModuleHandleW(nullptr), nullptr);
    EXPECT_NE(control_, nullptr) << GetLastError();
  }

  CWnd member_;
  HWND control_ = nullptr;
  CDataExchange load_{&window, FALSE};
  CDataExchange save_{&window, TRUE};
};

TEST_F(Exchange, KnowsItsDialogAndItsDirection) {
  EXPECT_EQ(load_.m_pDlgWnd, &window);
  EXPECT_EQ(load_.m_bSaveAndValidate, FALSE);
  EXPECT_EQ(save_.m_bSaveAndValidate, TRUE);
}

TEST_F(Exchange, BindsAControlFromTheMembersToTheControlsOnly) {
  DDX_Control(&save_, IDC_NOTE, member_);
  EXPECT_EQ(member_.m_hWnd, nullptr);
  EXPECT_EQ(CWnd::FromHandlePermanent(control_), nullptr);
  DDX_Control(&load_, IDC_NOTE, member_);
  EXPECT_EQ(member_.m_hWnd, control_);
  EXPECT_EQ(CWnd::FromHandlePermanent(control_), &member_);
}

TEST_F(Exchange, LeavesAMemberThatHasAWindow) {
  const PlainWindow other;
  ASSERT_TRUE(member_.SubclassWindow(other));
  DDX_Control(&load_, IDC_NOTE, member_);
  EXPECT_EQ(member_.m_hWnd, HWND{other});
  EXPECT_EQ(CWnd::FromHandlePermanent(control_), nullptr);
}

TEST_F(Exchange, LeavesAControlThatAnotherMemberHas) {
  CWnd first;
  DDX_Control(&load_, IDC_NOTE, first);
  DDX_Control(&load_, IDC_NOTE, member_);
  EXPECT_EQ(first.m_hWnd, control_);
  EXPECT_EQ(member_.m_hWnd, nullptr);
}

}  // namespace
