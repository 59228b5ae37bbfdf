#include "ui/HyperlinkStatic.h"

#include <commctrl.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/PlainWindow.h"
#include "tests/unit/ui/Recorders.h"

extern "C" void* __imp_DeleteObject;
extern "C" void* __imp_SendMessageW;
extern "C" void* __imp_SetTimer;

namespace {

constexpr int LinkId = 7;
constexpr UINT_PTR TooltipTimer = 100;
constexpr COLORREF Blue = RGB(0, 0, 255);
constexpr COLORREF White = RGB(255, 255, 255);
constexpr COLORREF Red = RGB(255, 0, 0);

using Message = PlainWindow::Message;
using TimerRecorder = CallRecorder<__imp_SetTimer, decltype(SetTimer)>;

/// Gives access to the tooltip and records what reaches the control's own procedure.
class TestLink : public CHyperlinkStatic {
 public:
  using CHyperlinkStatic::tooltip_;
  using CHyperlinkStatic::tooltipEnabled_;
  using CHyperlinkStatic::tooltipText_;

  std::vector<Message> defaults;
  std::function<void(UINT message)> onDefault;

 protected:
  LRESULT DefWindowProc(UINT message, WPARAM first, LPARAM second) override {
    defaults.push_back({message, first, second});
    if (onDefault) onDefault(message);
    return CHyperlinkStatic::DefWindowProc(message, first, second);
  }
};

struct FontDeleter {
  using pointer = HFONT;
  void operator()(HFONT font) const { DeleteObject(font); }
};
using UniqueFont = std::unique_ptr<HFONT, FontDeleter>;

UniqueFont MakeTahoma(bool underlined) {
  LOGFONTW description = {};
  description.lfHeight = -20;
  description.lfWeight = FW_NORMAL;
  description.lfUnderline = underlined;
  std::wcscpy(description.lfFaceName, L"Tahoma");
  return UniqueFont(CreateFontIndirectW(&description));
}

/// A link in a window that has a font.
class Hyperlink : public testing::Test {
 protected:
  static constexpr int Left = 10;
  static constexpr int Top = 20;
  static constexpr int Width = 300;
  static constexpr int Height = 60;

  Hyperlink() {
    parent_.results[WM_GETFONT] = reinterpret_cast<LRESULT>(font_.get());
    ShowWindow(parent_, SW_SHOWNOACTIVATE);
    Make(L"Privacy Policy");
  }

  /// Makes a new link with another text.
  void Make(const std::wstring& text) {
    link_ = std::make_unique<TestLink>();
    Attach(text);
  }

  /// Attaches the link to a new control.
  void Attach(const std::wstring& text) {
    control_ =
        CreateWindowExW(0, L"STATIC", text.c_str(), WS_CHILD | WS_VISIBLE, Left, Top, Width, Height,
                        parent_, reinterpret_cast<HMENU>(UINT_PTR{LinkId}), nullptr, nullptr);
    EXPECT_TRUE(link_->SubclassWindow(control_)) << GetLastError();
    SetCursor(nullptr);
  }

  /// Has the link painted on a background of one color.
  void Paint(COLORREF background = White) const {
    const HDC dc = GetDC(control_);
    const RECT area = {0, 0, Width, Height};
    const HBRUSH brush = CreateSolidBrush(background);
    FillRect(dc, &area, brush);
    DeleteObject(brush);
    ReleaseDC(control_, dc);
    InvalidateRect(control_, nullptr, TRUE);
    UpdateWindow(control_);
  }

  /// The size of a text in the link's font.
  SIZE Measure(const std::wstring& text) const {
    const HDC dc = GetDC(control_);
    const UniqueFont font = MakeTahoma(true);
    const HGDIOBJ previous = SelectObject(dc, font.get());
    SIZE extent;
    GetTextExtentPoint32W(dc, text.c_str(), static_cast<int>(text.size()), &extent);
    SelectObject(dc, previous);
    ReleaseDC(control_, dc);
    return extent;
  }

  void ClickAt(int x, int y) const {
    SendMessageW(control_, WM_LBUTTONDOWN, MK_LBUTTON, MAKELPARAM(x, y));
  }
  void MoveMouse(int x, int y) const { SendMessageW(control_, WM_MOUSEMOVE, 0, MAKELPARAM(x, y)); }

  /// The cursor that a move to this point sets; null when it sets none.
  HCURSOR CursorAfterMove(int x, int y) const {
    SetCursor(nullptr);
    MoveMouse(x, y);
    return GetCursor();
  }

  /// The pixels of one color in these rows of the control.
  int Count(COLORREF color, int fromRow = 0, int toRow = Height) const {
    const HDC dc = GetDC(control_);
    int count = 0;
    for (int y = fromRow; y < toRow; ++y) {
      for (int x = 0; x < Width; ++x) count += GetPixel(dc, x, y) == color;
    }
    ReleaseDC(control_, dc);
    return count;
  }
  /// The most blue pixels in a row.
  int CountBlueInLongestRow() const {
    int longest = 0;
    for (int y = 0; y < Height; ++y) longest = std::max(longest, Count(Blue, y, y + 1));
    return longest;
  }

  /// The first and the last column with a blue pixel; (Width, -1) if there is none.
  std::pair<int, int> GetBlueColumns() const {
    const HDC dc = GetDC(control_);
    std::pair<int, int> columns(Width, -1);
    for (int x = 0; x < Width; ++x) {
      for (int y = 0; y < Height; ++y) {
        if (GetPixel(dc, x, y) != Blue) continue;
        columns = {std::min(columns.first, x), x};
        break;
      }
    }
    ReleaseDC(control_, dc);
    return columns;
  }

  /// The recorded messages of one kind that reached the control's own procedure.
  std::vector<Message> GetDefaults(UINT message) const {
    std::vector<Message> found = link_->defaults;
    std::erase_if(found, [message](const Message& one) { return one.message != message; });
    return found;
  }

  const ShellRecorder shell_;
  const TimerRecorder timers_;
  const HCURSOR hand_ = LoadCursorW(nullptr, IDC_HAND);
  const HCURSOR arrow_ = LoadCursorW(nullptr, IDC_ARROW);
  const UniqueFont font_ = MakeTahoma(false);
  PlainWindow parent_{nullptr, {100, 100, 500, 300}};
  std::unique_ptr<TestLink> link_;
  HWND control_ = nullptr;
};

TEST_F(Hyperlink, AsksForMouseMessages) {
  EXPECT_TRUE(GetWindowLongW(control_, GWL_STYLE) & SS_NOTIFY);
}

// What it draws.

TEST_F(Hyperlink, DrawsItsTextInBlueOnAnyBackground) {
  for (const COLORREF background : {White, Red}) {
    Paint(background);
    EXPECT_GT(Count(Blue), 100);
    EXPECT_EQ(Count(RGB(0, 0, 0)), 0);
    EXPECT_GT(Count(background), Width * Height / 2);
  }
  EXPECT_EQ(Count(White), 0);
}

TEST_F(Hyperlink, DrawsItsTextUnderlinedInTheTopLeftCorner) {
  Paint();
  const SIZE extent = Measure(L"Privacy Policy");
  EXPECT_EQ(Count(White, extent.cy), Width * (Height - extent.cy));
  const auto [first, last] = GetBlueColumns();
  EXPECT_LE(first, 1);
  EXPECT_LT(last, extent.cx);
  EXPECT_GE(last, extent.cx - 2);
  EXPECT_GE(CountBlueInLongestRow(), extent.cx - 2);
}

TEST_F(Hyperlink, BreaksItsLinesWhereTheTextDoesOnly) {
  Make(L"Privacy\nPolicy");
  Paint();
  const SIZE first = Measure(L"Privacy");
  EXPECT_GT(Count(Blue, 0, first.cy), 50);
  EXPECT_GT(Count(Blue, first.cy, 2 * first.cy), 20);
  EXPECT_LT(GetBlueColumns().second, first.cx);

  const std::wstring tooLong = L"Privacy Policy, Privacy Policy, Privacy Policy, Privacy Policy";
  ASSERT_GT(Measure(tooLong).cx, Width);
  Make(tooLong);
  Paint();
  EXPECT_EQ(Count(Blue, first.cy), 0);
}

TEST_F(Hyperlink, DrawsAnAmpersandAsAPrefixAndMeasuresItAsACharacter) {
  const int plain = Measure(L"Privacy Policy").cx;
  const int whole = Measure(L"Privacy &Policy").cx;
  ASSERT_GT(whole, plain + 5);
  Make(L"Privacy &Policy");
  Paint();
  const int last = GetBlueColumns().second;
  EXPECT_LT(last, plain);
  EXPECT_GE(last, plain - 2);
  MoveMouse(2, 2);
  EXPECT_EQ(CursorAfterMove(whole - 1, 2), hand_);
  EXPECT_EQ(CursorAfterMove(whole, 2), arrow_);
}

TEST_F(Hyperlink, StillDrawsTheTextThatItHadAtFirst) {
  Paint();
  const int before = Count(Blue);
  SetWindowTextW(control_, L"Another text, which is a good deal longer");
  Paint();
  EXPECT_EQ(Count(Blue), before);
}

TEST_F(Hyperlink, WithoutAParentsFontIsPlainBlueTextAndOpensNothing) {
  parent_.results[WM_GETFONT] = 0;
  Paint();
  EXPECT_GT(Count(Blue), 50);
  EXPECT_LT(CountBlueInLongestRow(), 60) << "not underlined";
  MoveMouse(2, 2);
  EXPECT_EQ(CursorAfterMove(2, 2), arrow_);
  ClickAt(3, 3);
  EXPECT_TRUE(shell_.calls.empty());
}

// The cursor.

TEST_F(Hyperlink, LeavesTheCursorOnTheFirstMove) {
  Paint();
  EXPECT_EQ(CursorAfterMove(2, 2), nullptr);
  EXPECT_EQ(CursorAfterMove(2, 2), hand_);
}

TEST_F(Hyperlink, ShowsTheHandOnItsTextOnly) {
  Paint();
  MoveMouse(2, 2);
  const SIZE extent = Measure(L"Privacy Policy");
  ASSERT_LT(extent.cx, Width);
  ASSERT_LT(extent.cy, Height);
  EXPECT_EQ(CursorAfterMove(0, 0), hand_);
  EXPECT_EQ(CursorAfterMove(extent.cx - 1, extent.cy - 1), hand_);
  for (const auto& [x, y] : {std::pair<int, int>(extent.cx, 0),
                             {0, extent.cy},
                             {-1, 0},
                             {0, -1},
                             {Width - 1, Height - 1}}) {
    EXPECT_EQ(CursorAfterMove(x, y), arrow_) << x << ", " << y;
  }
}

TEST_F(Hyperlink, ShowsTheArrowWhenTheMouseLeaves) {
  Paint();
  MoveMouse(2, 2);
  MoveMouse(2, 2);
  ASSERT_EQ(GetCursor(), hand_);
  EXPECT_EQ(SendMessageW(control_, WM_MOUSELEAVE, 0, 0), 0);
  EXPECT_EQ(GetCursor(), arrow_);
  EXPECT_EQ(CursorAfterMove(2, 2), nullptr) << "the next move is a first one again";
}

TEST_F(Hyperlink, AsksForANotificationWhenTheMouseLeaves) {
  TRACKMOUSEEVENT query = {};
  query.cbSize = sizeof query;
  SetCursorPos(100 + Left + 5, 100 + Top + 5);
  MoveMouse(5, 5);
  query.dwFlags = TME_QUERY;
  ASSERT_TRUE(TrackMouseEvent(&query));
  EXPECT_EQ(query.hwndTrack, control_);
  EXPECT_TRUE(query.dwFlags & TME_LEAVE);
}

// Its end.

TEST_F(Hyperlink, FreesItsFontWithItsWindowAfterTheControlsOwnProcedure) {
  const size_t before = CountGdiObjects(OBJ_FONT);
  Paint();
  EXPECT_EQ(CountGdiObjects(OBJ_FONT), before + 1) << "made on the first paint";
  Paint();
  EXPECT_EQ(CountGdiObjects(OBJ_FONT), before + 1) << "and only once";
  size_t inDestroy = 0;
  link_->onDefault = [&inDestroy](UINT message) {
    if (message == WM_DESTROY) inDestroy = CountGdiObjects(OBJ_FONT);
  };
  DestroyWindow(control_);
  EXPECT_EQ(GetDefaults(WM_DESTROY).size(), 1U);
  EXPECT_EQ(inDestroy, before + 1);
  EXPECT_EQ(CountGdiObjects(OBJ_FONT), before);
  EXPECT_EQ(link_->m_hWnd, nullptr);
}

TEST_F(Hyperlink, LeavesTheSystemsHandWhenItEnds) {
  const CallRecorder<__imp_DeleteObject, decltype(DeleteObject)> deletions;
  DestroyWindow(control_);
  link_.reset();
  EXPECT_EQ(deletions.calls, (std::vector<std::tuple<HGDIOBJ>>{{hand_}}));
  EXPECT_NE(CopyImage(hand_, IMAGE_CURSOR, 0, 0, 0), nullptr) << "it is still there";
}

TEST_F(Hyperlink, DrawsAndMeasuresTheTextOfItsNextControl) {
  Paint();
  ClickAt(3, 3);
  DestroyWindow(control_);
  Attach(L"x");
  ClickAt(3, 3);
  EXPECT_EQ(shell_.calls.size(), 1U) << "it is not painted yet";
  Paint();
  ClickAt(Measure(L"x").cx, 3);
  EXPECT_EQ(shell_.calls.size(), 1U) << "beside the text";
  EXPECT_LT(GetBlueColumns().second, Measure(L"x").cx);
}

// Clicks.

TEST_F(Hyperlink, OpensTheAddressThatWasSetLast) {
  const auto opening = [this](const wchar_t* address) {
    return ShellRecorder::Call{control_,     L"open",      address,
                               std::nullopt, std::nullopt, SW_SHOWNORMAL};
  };
  Paint();
  ClickAt(3, 3);
  link_->SetAddress(L"https://one.example/");
  link_->SetAddress(L"https://www.quintar.example/privacy?language=en#top");
  ClickAt(3, 3);
  ClickAt(3, 3);
  EXPECT_EQ(
      shell_.calls,
      (std::vector{opening(L""), opening(L"https://www.quintar.example/privacy?language=en#top"),
                   opening(L"https://www.quintar.example/privacy?language=en#top")}));
}

TEST_F(Hyperlink, OpensNothingOnAClickBesideTheText) {
  Paint();
  const SIZE extent = Measure(L"Privacy Policy");
  ClickAt(extent.cx, 3);
  ClickAt(3, extent.cy);
  ClickAt(-1, 3);
  ClickAt(3, -1);
  ClickAt(Width - 1, Height - 1);
  EXPECT_TRUE(shell_.calls.empty());
  ClickAt(extent.cx - 1, extent.cy - 1);
  ClickAt(0, 0);
  EXPECT_EQ(shell_.calls.size(), 2U);
}

TEST_F(Hyperlink, OpensNothingBeforeItsFirstPaint) {
  ValidateRect(control_, nullptr);
  ClickAt(3, 3);
  EXPECT_TRUE(shell_.calls.empty());
  MoveMouse(2, 2);
  EXPECT_EQ(CursorAfterMove(2, 2), arrow_);
  Paint();
  EXPECT_EQ(CursorAfterMove(2, 2), hand_);
}

TEST_F(Hyperlink, GoesByTheTextThatItHadAtFirst) {
  Make(L"x");
  Paint();
  SetWindowTextW(control_, L"A long text");
  ClickAt(Measure(L"x").cx, 3);
  EXPECT_TRUE(shell_.calls.empty());
  ClickAt(0, 3);
  EXPECT_EQ(shell_.calls.size(), 1U);
}

TEST_F(Hyperlink, WithAnEmptyTextDrawsAndOpensNothing) {
  Make(L"");
  Paint();
  ClickAt(0, 0);
  EXPECT_TRUE(shell_.calls.empty());
  EXPECT_EQ(Count(Blue), 0);
}

TEST_F(Hyperlink, PassesNoClickToTheControlOrItsParent) {
  // With SS_NOTIFY, the control's own procedure would notify the parent.
  Paint();
  ClickAt(3, 3);
  ClickAt(Width - 1, 3);
  EXPECT_EQ(GetDefaults(WM_LBUTTONDOWN), std::vector<Message>{});
  EXPECT_TRUE(parent_.GetReceived(WM_COMMAND).empty());
}

TEST_F(Hyperlink, PassesOtherTimersAndAllMouseMovesToTheControl) {
  Paint();
  link_->defaults.clear();
  const Message timer = {WM_TIMER, 5, 0};
  const std::vector<Message> moves = {{WM_MOUSEMOVE, MK_SHIFT, MAKELPARAM(2, 3)},
                                      {WM_MOUSEMOVE, MK_CONTROL, MAKELPARAM(Width - 1, 4)}};
  SendMessageW(control_, WM_TIMER, timer.first, 0);
  for (const Message& move : moves) SendMessageW(control_, WM_MOUSEMOVE, move.first, move.second);
  SendMessageW(control_, WM_TIMER, TooltipTimer, 0);
  EXPECT_EQ(GetDefaults(WM_TIMER), std::vector<Message>{timer});
  EXPECT_EQ(GetDefaults(WM_MOUSEMOVE), moves);
}

// The tooltip.

TEST_F(Hyperlink, HasItsTooltipSwitchedOff) {
  EXPECT_FALSE(link_->tooltipEnabled_);
  EXPECT_EQ(link_->tooltipText_, L"");
  EXPECT_EQ(link_->tooltip_.m_hWnd, nullptr);
  Paint();
  MoveMouse(2, 2);
  MoveMouse(3, 3);
  EXPECT_TRUE(timers_.calls.empty());
}

/// What the link sent to the tooltip window, a text for each message.
std::vector<std::wstring> tooltipCalls;
WNDPROC tooltipProcedure = nullptr;

LRESULT CALLBACK RecordTooltip(HWND window, UINT message, WPARAM first, LPARAM second) {
  if (message == TTM_ADDTOOLW || message == TTM_DELTOOLW) {
    const auto& info = *reinterpret_cast<const TTTOOLINFOW*>(second);
    const int tool = GetDlgCtrlID(reinterpret_cast<HWND>(info.uId));
    tooltipCalls.push_back((message == TTM_ADDTOOLW ? L"add " : L"delete ") +
                           std::to_wstring(tool) + (message == TTM_ADDTOOLW ? info.lpszText : L""));
  } else if (message == TTM_RELAYEVENT) {
    const MSG& relayed = *reinterpret_cast<const MSG*>(second);
    tooltipCalls.push_back(L"relay " + std::to_wstring(GetDlgCtrlID(relayed.hwnd)) + L' ' +
                           std::to_wstring(relayed.message) + L' ' +
                           std::to_wstring(CPoint(relayed.lParam).x) + L' ' +
                           std::to_wstring(CPoint(relayed.lParam).y));
  }
  return CallWindowProcW(tooltipProcedure, window, message, first, second);
}

/// A link with a tooltip window that does not appear by itself.
class HyperlinkTooltip : public Hyperlink {
 protected:
  HyperlinkTooltip() {
    const HWND tooltip = CreateWindowExW(0, TOOLTIPS_CLASSW, nullptr, WS_POPUP | TTS_ALWAYSTIP, 0,
                                         0, 0, 0, parent_, nullptr, nullptr, nullptr);
    EXPECT_NE(tooltip, nullptr) << GetLastError();
    tooltipProcedure = reinterpret_cast<WNDPROC>(
        SetWindowLongPtrW(tooltip, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(&RecordTooltip)));
    EXPECT_TRUE(link_->tooltip_.SubclassWindow(tooltip));
    link_->tooltipEnabled_ = true;
    link_->tooltipText_ = L" Opens the policy";
    tooltipCalls.clear();
    Paint();
  }
};

TEST_F(HyperlinkTooltip, StartsItsTimerWhenTheMouseMovesOnTheText) {
  const TimerRecorder::Call timer{control_, TooltipTimer, 100, nullptr};
  using Calls = std::vector<TimerRecorder::Call>;
  MoveMouse(2, 2);
  EXPECT_EQ(timers_.calls, Calls{}) << "nothing is measured on the first move";
  MoveMouse(2, 2);
  EXPECT_EQ(timers_.calls, Calls{}) << "the mouse has not moved";
  MoveMouse(Width - 1, 2);
  EXPECT_EQ(timers_.calls, Calls{}) << "beside the text";
  MoveMouse(3, 3);
  EXPECT_EQ(timers_.calls, Calls{timer});
  SendMessageW(control_, WM_MOUSELEAVE, 0, 0);
  MoveMouse(3, 3);
  EXPECT_EQ(timers_.calls, (Calls{timer, timer})) << "it came back to the same point";
}

TEST_F(HyperlinkTooltip, StartsNoTimerWhenItIsVisibleDisabledOrWithoutAWindow) {
  MoveMouse(2, 2);
  ShowWindow(link_->tooltip_.m_hWnd, SW_SHOWNA);
  MoveMouse(3, 3);
  ShowWindow(link_->tooltip_.m_hWnd, SW_HIDE);
  link_->tooltipEnabled_ = false;
  MoveMouse(4, 4);
  link_->tooltipEnabled_ = true;
  const HWND tooltip = std::exchange(link_->tooltip_.m_hWnd, nullptr);
  MoveMouse(5, 5);
  link_->tooltip_.m_hWnd = tooltip;
  EXPECT_TRUE(timers_.calls.empty());
  MoveMouse(6, 6);
  EXPECT_EQ(timers_.calls.size(), 1U);
}

TEST_F(HyperlinkTooltip, AddsItsToolAgainAndRelaysTheMouseWhenTheTimerComes) {
  SetTimer(control_, TooltipTimer, 100'000, nullptr);
  // The second place is above and to the left of the control.
  for (const CPoint& place : {CPoint(7, 9), CPoint(-5, -6)}) {
    ASSERT_TRUE(SetCursorPos(100 + Left + place.x, 100 + Top + place.y));
    SendMessageW(control_, WM_TIMER, TooltipTimer, 0);
  }
  EXPECT_FALSE(KillTimer(control_, TooltipTimer)) << "it comes only once";
  EXPECT_EQ(tooltipCalls, (std::vector<std::wstring>{
                              L"delete 7", L"add 7 Opens the policy", L"relay 7 512 7 9",
                              L"delete 7", L"add 7 Opens the policy", L"relay 7 512 -5 -6"}));
}

TEST_F(HyperlinkTooltip, EndsItsTimerAndSendsNothingWithoutATextOrAWindow) {
  using SendRecorder = CallRecorder<__imp_SendMessageW, decltype(SendMessageW)>;
  for (const bool hasWindow : {true, false}) {
    if (hasWindow) {
      link_->tooltipText_.clear();
    } else {
      link_->tooltipText_ = L"Opens the policy";
      link_->tooltip_.DestroyWindow();
    }
    SetTimer(control_, TooltipTimer, 100'000, nullptr);
    const SendRecorder sent;
    SendMessageW(control_, WM_TIMER, TooltipTimer, 0);
    EXPECT_FALSE(KillTimer(control_, TooltipTimer)) << hasWindow;
    EXPECT_EQ(sent.calls.size(), 1U) << "only the test's own";
  }
}

TEST_F(HyperlinkTooltip, LosesItsToolWhenTheMouseLeavesUnlessItIsDisabled) {
  link_->tooltipEnabled_ = false;
  SendMessageW(control_, WM_MOUSELEAVE, 0, 0);
  EXPECT_TRUE(tooltipCalls.empty());
  link_->tooltipEnabled_ = true;
  SendMessageW(control_, WM_MOUSELEAVE, 0, 0);
  EXPECT_EQ(tooltipCalls, std::vector<std::wstring>{L"delete 7"});
}

}  // namespace
