#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "framework/afxcmn.h"
#include "tests/support/PlainWindow.h"

#include <commctrl.h>

namespace {

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
    // Without SS_NOTIFY, a static control is not a tool under the mouse.
    const HWND child =
        CreateWindowExW(0, L"STATIC", L"", WS_CHILD | WS_VISIBLE | SS_NOTIFY, left, 0, 50, 40,
                        parent_, nullptr, GetModuleHandleW(nullptr), nullptr);
    EXPECT_NE(child, nullptr) << GetLastError();
    return child;
  }

  LRESULT CountTools() { return tip_.SendMessage(TTM_GETTOOLCOUNT); }

  /// The tooltip's only tool is `tool` with this text.
  void ExpectOneTool(const CWnd& tool, const std::wstring& text) {
    ASSERT_EQ(CountTools(), 1);
    wchar_t buffer[200] = L"";
    TTTOOLINFOW info = {};
    info.cbSize = TTTOOLINFOW_V1_SIZE;
    info.lpszText = buffer;
    EXPECT_TRUE(tip_.SendMessage(TTM_ENUMTOOLSW, 0, reinterpret_cast<LPARAM>(&info)));
    tip_.SendMessage(TTM_GETTEXTW, 0, reinterpret_cast<LPARAM>(&info));
    EXPECT_EQ(buffer, text);
    EXPECT_EQ(info.uId, reinterpret_cast<UINT_PTR>(tool.m_hWnd));
    EXPECT_EQ(info.hwnd, HWND{parent_});
    EXPECT_EQ(info.uFlags & TTF_IDISHWND, UINT{TTF_IDISHWND});
  }

  /// Relays a move of the mouse to the point (5, 6) of the tool.
  void RelayMove() {
    MSG move = {};
    move.hwnd = tool_.m_hWnd;
    move.message = WM_MOUSEMOVE;
    move.lParam = MAKELPARAM(5, 6);
    tip_.RelayEvent(&move);
  }

  PlainWindow parent_{nullptr, RECT{200, 200, 300, 240}};
  ScriptedWindow<CToolTipCtrl> tip_;
  CWnd tool_;
  CWnd other_;
};

TEST_F(ToolTip, HoldsAToolWithACopyOfItsText) {
  EXPECT_EQ(CountTools(), 0);
  UINT size = 0;
  tip_.handlers[TTM_ADDTOOLW] = [&](WPARAM, LPARAM tool) {
    size = reinterpret_cast<TTTOOLINFOW*>(tool)->cbSize;
    return tip_.Default();
  };
  {
    std::wstring text = L"Short-lived";
    EXPECT_TRUE(tip_.AddTool(&tool_, text));
    text.assign(text.size(), L'-');
  }
  ExpectOneTool(tool_, L"Short-lived");
  EXPECT_EQ(size, static_cast<UINT>(TTTOOLINFOW_V1_SIZE)) << "the size that every version accepts";
}

TEST_F(ToolTip, LosesTheToolThatIsRemovedOnly) {
  EXPECT_TRUE(tip_.AddTool(&tool_, L"One"));
  EXPECT_TRUE(tip_.AddTool(&other_, L"Two"));
  EXPECT_EQ(CountTools(), 2);
  // The second time there is no such tool.
  for (int time = 0; time < 2; ++time) {
    tip_.DelTool(&tool_);
    ExpectOneTool(other_, L"Two");
  }
  tip_.DelTool(&other_);
  EXPECT_TRUE(tip_.AddTool(&tool_, L"Another"));
  ExpectOneTool(tool_, L"Another");
}

TEST_F(ToolTip, TellsWhenItRefusesATool) {
  tip_.handlers[TTM_ADDTOOLW] = [](WPARAM, LPARAM) { return FALSE; };
  EXPECT_FALSE(tip_.AddTool(&tool_, L"One"));
  EXPECT_EQ(CountTools(), 0);
}

TEST_F(ToolTip, WithoutAWindowRefusesATool) {
  CToolTipCtrl none;
  EXPECT_FALSE(none.AddTool(&tool_, L"One"));
  none.DelTool(&tool_);
  MSG message = {};
  none.RelayEvent(&message);
  EXPECT_EQ(none.m_hWnd, nullptr);
}

TEST_F(ToolTip, GetsARelayedMessage) {
  tip_.AddTool(&tool_, L"One");
  std::vector<MSG> relayed;
  tip_.handlers[TTM_RELAYEVENT] = [&](WPARAM, LPARAM message) {
    relayed.push_back(*reinterpret_cast<MSG*>(message));
    return tip_.Default();
  };
  RelayMove();
  ASSERT_EQ(relayed.size(), 1U);
  EXPECT_EQ(relayed[0].hwnd, tool_.m_hWnd);
  EXPECT_EQ(relayed[0].message, UINT{WM_MOUSEMOVE});
  EXPECT_EQ(relayed[0].lParam, MAKELPARAM(5, 6));
}

TEST_F(ToolTip, AppearsWhenTheMouseRestsOnATool) {
  ShowWindow(parent_, SW_SHOW);
  SetActiveWindow(parent_);
  tip_.AddTool(&tool_, L"One");
  tip_.SendMessage(TTM_SETDELAYTIME, TTDT_INITIAL, 20);
  ASSERT_TRUE(SetCursorPos(205, 206)) << GetLastError();
  EXPECT_FALSE(tip_.IsWindowVisible());
  RelayMove();
  EXPECT_TRUE(DispatchUntil([this] { return tip_.IsWindowVisible(); }));
}

}  // namespace
