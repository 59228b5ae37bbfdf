#include <gtest/gtest.h>

#include <string>

#include "framework/afxcmn.h"
#include "tests/support/PlainWindow.h"

#include <commctrl.h>

namespace {

/// A tooltip that can refuse a tool and tells what is relayed to it.
class WatchedToolTip : public CToolTipCtrl {
 public:
  bool refuses = false;
  UINT size = 0;
  MSG relayed = {};
  int relays = 0;

 protected:
  DECLARE_MESSAGE_MAP()

 private:
  LRESULT OnAdd(WPARAM, LPARAM tool) {
    size = reinterpret_cast<TTTOOLINFOW*>(tool)->cbSize;
    return refuses ? FALSE : Default();
  }
  LRESULT OnRelay(WPARAM, LPARAM message) {
    ++relays;
    relayed = *reinterpret_cast<MSG*>(message);
    return Default();
  }
};

BEGIN_MESSAGE_MAP(WatchedToolTip, CToolTipCtrl)
ON_MESSAGE(TTM_ADDTOOLW, &WatchedToolTip::OnAdd)
ON_MESSAGE(TTM_RELAYEVENT, &WatchedToolTip::OnRelay)
END_MESSAGE_MAP()

class ToolTip : public testing::Test {
 protected:
  ToolTip() {
    InitCommonControls();
    const HWND tip = CreateWindowExW(WS_EX_TOPMOST, TOOLTIPS_CLASSW, L"", WS_POPUP | TTS_ALWAYSTIP,
                                     CW_USEDEFAULT, CW_USEDEFAULT, CW_USEDEFAULT, CW_USEDEFAULT,
                                     parent_, nullptr, GetModuleHandleW(nullptr), nullptr);
    EXPECT_TRUE(tip_.SubclassWindow(tip)) << GetLastError();
    EXPECT_TRUE(tool_.SubclassWindow(MakeChild(0)));
    EXPECT_TRUE(other_.SubclassWindow(MakeChild(50)));
  }

  HWND MakeChild(int left) const {
    // A static control is no tool under the mouse without SS_NOTIFY.
    const HWND child =
        CreateWindowExW(0, L"STATIC", L"", WS_CHILD | WS_VISIBLE | SS_NOTIFY, left, 0, 50, 40,
                        parent_, nullptr, GetModuleHandleW(nullptr), nullptr);
    EXPECT_NE(child, nullptr) << GetLastError();
    return child;
  }

  LRESULT ToolCount() { return tip_.SendMessage(TTM_GETTOOLCOUNT); }

  /// What the tooltip has stored about its tool number `index`.
  TTTOOLINFOW Stored(WPARAM index, std::wstring* text) {
    wchar_t buffer[200] = L"";
    TTTOOLINFOW info = {};
    info.cbSize = TTTOOLINFOW_V1_SIZE;
    info.lpszText = buffer;
    EXPECT_TRUE(tip_.SendMessage(TTM_ENUMTOOLSW, index, reinterpret_cast<LPARAM>(&info)));
    tip_.SendMessage(TTM_GETTEXTW, 0, reinterpret_cast<LPARAM>(&info));
    if (text != nullptr) *text = buffer;
    return info;
  }

  PlainWindow parent_{nullptr, RECT{200, 200, 300, 240}};
  WatchedToolTip tip_;
  CWnd tool_;
  CWnd other_;
};

TEST_F(ToolTip, HasNoToolAtFirst) {
  EXPECT_EQ(ToolCount(), 0);
}

TEST_F(ToolTip, GetsATool) {
  EXPECT_TRUE(tip_.AddTool(&tool_, L"https://www.example.com/"));
  ASSERT_EQ(ToolCount(), 1);
  std::wstring text;
  const TTTOOLINFOW info = Stored(0, &text);
  EXPECT_EQ(text, L"https://www.example.com/");
  EXPECT_EQ(info.uId, reinterpret_cast<UINT_PTR>(tool_.m_hWnd));
  EXPECT_EQ(info.hwnd, HWND{parent_});
  EXPECT_EQ(info.uFlags & TTF_IDISHWND, UINT{TTF_IDISHWND});
}

TEST_F(ToolTip, KeepsATextOfItsOwn) {
  {
    std::wstring text = L"Short-lived";
    EXPECT_TRUE(tip_.AddTool(&tool_, text));
    text.assign(text.size(), L'-');
  }
  std::wstring stored;
  Stored(0, &stored);
  EXPECT_EQ(stored, L"Short-lived");
}

TEST_F(ToolTip, GetsTheRecordThatEveryVersionTakes) {
  EXPECT_TRUE(tip_.AddTool(&tool_, L"One"));
  EXPECT_EQ(tip_.size, static_cast<UINT>(TTTOOLINFOW_V1_SIZE));
}

TEST_F(ToolTip, GetsSeveralTools) {
  EXPECT_TRUE(tip_.AddTool(&tool_, L"One"));
  EXPECT_TRUE(tip_.AddTool(&other_, L"Two"));
  EXPECT_EQ(ToolCount(), 2);
}

TEST_F(ToolTip, LosesATool) {
  tip_.AddTool(&tool_, L"One");
  tip_.AddTool(&other_, L"Two");
  tip_.DelTool(&tool_);
  ASSERT_EQ(ToolCount(), 1);
  std::wstring text;
  EXPECT_EQ(Stored(0, &text).uId, reinterpret_cast<UINT_PTR>(other_.m_hWnd));
  EXPECT_EQ(text, L"Two");
}

TEST_F(ToolTip, DoesNotLoseAToolThatItHasNot) {
  tip_.AddTool(&other_, L"Two");
  tip_.DelTool(&tool_);
  EXPECT_EQ(ToolCount(), 1);
}

TEST_F(ToolTip, GetsAToolAgain) {
  tip_.AddTool(&tool_, L"One");
  tip_.DelTool(&tool_);
  EXPECT_TRUE(tip_.AddTool(&tool_, L"Another"));
  ASSERT_EQ(ToolCount(), 1);
  std::wstring text;
  Stored(0, &text);
  EXPECT_EQ(text, L"Another");
}

TEST_F(ToolTip, TellsWhenItRefusesATool) {
  tip_.refuses = true;
  EXPECT_FALSE(tip_.AddTool(&tool_, L"One"));
  EXPECT_EQ(ToolCount(), 0);
}

TEST_F(ToolTip, WithoutAWindowRefusesATool) {
  CToolTipCtrl none;
  EXPECT_FALSE(none.AddTool(&tool_, L"One"));
  none.DelTool(&tool_);
  MSG message = {};
  none.RelayEvent(&message);
  EXPECT_EQ(none.m_hWnd, nullptr);
}

TEST_F(ToolTip, SeesARelayedMessage) {
  tip_.AddTool(&tool_, L"One");
  MSG move = {};
  move.hwnd = tool_.m_hWnd;
  move.message = WM_MOUSEMOVE;
  move.lParam = MAKELPARAM(5, 6);
  tip_.RelayEvent(&move);
  EXPECT_EQ(tip_.relays, 1);
  EXPECT_EQ(tip_.relayed.hwnd, tool_.m_hWnd);
  EXPECT_EQ(tip_.relayed.message, UINT{WM_MOUSEMOVE});
  EXPECT_EQ(tip_.relayed.lParam, MAKELPARAM(5, 6));
}

TEST_F(ToolTip, ComesUpWhenTheMouseRestsOnATool) {
  ShowWindow(parent_, SW_SHOW);
  SetActiveWindow(parent_);
  tip_.AddTool(&tool_, L"One");
  tip_.SendMessage(TTM_SETDELAYTIME, TTDT_INITIAL, 20);
  ASSERT_TRUE(SetCursorPos(205, 206)) << GetLastError();
  EXPECT_FALSE(tip_.IsWindowVisible());
  MSG move = {};
  move.hwnd = tool_.m_hWnd;
  move.message = WM_MOUSEMOVE;
  move.lParam = MAKELPARAM(5, 6);
  tip_.RelayEvent(&move);
  const ULONGLONG start = GetTickCount64();
  while (!tip_.IsWindowVisible() && GetTickCount64() - start < 5000) {
    DispatchWaitingMessages();
    Sleep(1);
  }
  EXPECT_TRUE(tip_.IsWindowVisible());
}

}  // namespace
