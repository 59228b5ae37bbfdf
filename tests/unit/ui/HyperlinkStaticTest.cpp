#include "ui/HyperlinkStatic.h"

#include <commctrl.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tests/unit/ui/Recorders.h"

/// The program's own entry of the call in its table of imports.
extern "C" void* __imp_SendMessageW;

namespace {

constexpr UINT LinkId = 7;
constexpr UINT_PTR TooltipTimer = 100;
constexpr COLORREF Blue = RGB(0, 0, 255);
constexpr COLORREF White = RGB(255, 255, 255);
constexpr COLORREF Red = RGB(255, 0, 0);

/// Opens what a test may look at and switch on.
class TestLink : public CHyperlinkStatic {
 public:
  using CHyperlinkStatic::tooltip_;
  using CHyperlinkStatic::tooltipEnabled_;
  using CHyperlinkStatic::tooltipText_;
};

struct FontDeleter {
  using pointer = HFONT;
  void operator()(HFONT font) const { DeleteObject(font); }
};

int notifications = 0;

LRESULT CALLBACK ParentProcedure(HWND window, UINT message, WPARAM first, LPARAM second) {
  if (message == WM_COMMAND) ++notifications;
  if (message == WM_GETFONT) return GetWindowLongPtrW(window, GWLP_USERDATA);
  return DefWindowProcW(window, message, first, second);
}

/// A message without what it means to its receiver.
struct Message {
  UINT message;
  WPARAM first;
  LPARAM second;
  bool operator==(const Message&) const = default;
};

/// What got through to the control's own procedure.
std::vector<Message> received;
/// Called by that procedure.
std::function<void(UINT message)> onReceived;
WNDPROC staticProcedure = nullptr;

LRESULT CALLBACK ControlProcedure(HWND window, UINT message, WPARAM first, LPARAM second) {
  received.push_back({message, first, second});
  if (onReceived) onReceived(message);
  return CallWindowProcW(staticProcedure, window, message, first, second);
}

std::vector<Message> Received(UINT message) {
  std::vector<Message> found;
  for (const Message& one : received) {
    if (one.message == message) found.push_back(one);
  }
  return found;
}

int FontCount() {
  int count = 0;
  for (UINT_PTR index = 1; index < 0x10000; ++index) {
    count += GetObjectType(reinterpret_cast<HGDIOBJ>(index)) == OBJ_FONT;
  }
  return count;
}

/// A link in a window, which has a font of its own or none.
class Hyperlink : public testing::Test {
 protected:
  static constexpr int Left = 10;
  static constexpr int Top = 20;
  static constexpr int Width = 300;
  static constexpr int Height = 60;

  void SetUp() override { Make(L"Privacy Policy", true); }
  void TearDown() override {
    onReceived = nullptr;
    DestroyWindow(parent_);
  }

  void Make(const std::wstring& text, bool withFont) {
    DestroyWindow(parent_);
    link_ = std::make_unique<TestLink>();
    LOGFONTW description = {};
    description.lfHeight = -20;
    description.lfWeight = FW_NORMAL;
    std::wcscpy(description.lfFaceName, L"Tahoma");
    font_.reset(CreateFontIndirectW(&description));
    parent_ = CreateWindowExW(WS_EX_TOPMOST, L"STATIC", L"", WS_POPUP | WS_VISIBLE, 100, 100, 400,
                              200, nullptr, nullptr, nullptr, nullptr);
    ASSERT_NE(parent_, nullptr) << GetLastError();
    SetWindowLongPtrW(parent_, GWLP_USERDATA,
                      withFont ? reinterpret_cast<LONG_PTR>(font_.get()) : 0);
    SetWindowLongPtrW(parent_, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(&ParentProcedure));
    control_ =
        CreateWindowExW(0, L"STATIC", text.c_str(), WS_CHILD | WS_VISIBLE, Left, Top, Width, Height,
                        parent_, reinterpret_cast<HMENU>(UINT_PTR{LinkId}), nullptr, nullptr);
    ASSERT_NE(control_, nullptr) << GetLastError();
    staticProcedure = reinterpret_cast<WNDPROC>(
        SetWindowLongPtrW(control_, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(&ControlProcedure)));
    ASSERT_TRUE(link_->SubclassWindow(control_));
    received.clear();
    SetCursor(nullptr);
  }

  /// Lets the link draw on a ground of one color, which it leaves to its parent.
  void Paint(COLORREF ground = White) {
    const HDC dc = GetDC(control_);
    const RECT area = {0, 0, Width, Height};
    const HBRUSH brush = CreateSolidBrush(ground);
    FillRect(dc, &area, brush);
    DeleteObject(brush);
    ReleaseDC(control_, dc);
    InvalidateRect(control_, nullptr, TRUE);
    UpdateWindow(control_);
  }

  /// The text's size in the link's font.
  SIZE Extent(const std::wstring& text) const {
    const HDC dc = GetDC(control_);
    LOGFONTW description;
    GetObjectW(font_.get(), sizeof description, &description);
    description.lfUnderline = TRUE;
    const std::unique_ptr<HFONT, FontDeleter> underlined(CreateFontIndirectW(&description));
    const HGDIOBJ previous = SelectObject(dc, underlined.get());
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

  /// The cursor that a move to this point leaves, when the one before was none.
  HCURSOR CursorAfterMove(int x, int y) const {
    SetCursor(nullptr);
    MoveMouse(x, y);
    return GetCursor();
  }

  /// Pixels of one color in what the control draws.
  int Count(COLORREF color, int fromRow = 0, int toRow = Height) const {
    const HDC dc = GetDC(control_);
    int count = 0;
    for (int y = fromRow; y < toRow; ++y) {
      for (int x = 0; x < Width; ++x) count += GetPixel(dc, x, y) == color;
    }
    ReleaseDC(control_, dc);
    return count;
  }

  /// The first and the last column in which the control draws; (Width, -1) without any.
  std::pair<int, int> BlueColumns() const {
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

  ShellRecorder shell_;
  TimerRecorder timers_;
  HCURSOR hand_ = LoadCursorW(nullptr, IDC_HAND);
  HCURSOR arrow_ = LoadCursorW(nullptr, IDC_ARROW);
  std::unique_ptr<HFONT, FontDeleter> font_;
  std::unique_ptr<TestLink> link_;
  HWND parent_ = nullptr;
  HWND control_ = nullptr;
};

TEST_F(Hyperlink, AsksForMouseMessages) {
  EXPECT_TRUE(GetWindowLongW(control_, GWL_STYLE) & SS_NOTIFY);
}

TEST_F(Hyperlink, DrawsItsTextInBlueOnTheParentsGround) {
  Paint();
  EXPECT_GT(Count(Blue), 100);
  EXPECT_EQ(Count(RGB(0, 0, 0)), 0);
  EXPECT_GT(Count(White), Width * Height / 2);
}

TEST_F(Hyperlink, DrawsAtTheTopAndNotInTheMiddle) {
  Paint();
  EXPECT_EQ(Count(White, Extent(L"Privacy Policy").cy), Width * (Height - Extent(L"x").cy));
}

TEST_F(Hyperlink, LetsEveryGroundShowBehindItsText) {
  Paint(Red);
  EXPECT_GT(Count(Blue), 100);
  EXPECT_EQ(Count(White), 0);
  EXPECT_GT(Count(Red), Width * Height / 2);
}

TEST_F(Hyperlink, DrawsFromTheLeftEdge) {
  Paint();
  const auto [first, last] = BlueColumns();
  EXPECT_LE(first, 1);
  const int width = Extent(L"Privacy Policy").cx;
  EXPECT_LT(last, width);
  EXPECT_GE(last, width - 2);
}

TEST_F(Hyperlink, BreaksItsLinesWhereTheTextDoes) {
  Make(L"Privacy\nPolicy", true);
  Paint();
  const SIZE first = Extent(L"Privacy");
  EXPECT_GT(Count(Blue, 0, first.cy), 50);
  EXPECT_GT(Count(Blue, first.cy, 2 * first.cy), 20);
  EXPECT_LT(BlueColumns().second, first.cx);
}

TEST_F(Hyperlink, DrawsALineThatIsTooLongInOne) {
  Make(L"Privacy Policy, Privacy Policy, Privacy Policy, Privacy Policy", true);
  Paint();
  const SIZE extent = Extent(L"Privacy Policy, Privacy Policy, Privacy Policy, Privacy Policy");
  ASSERT_GT(extent.cx, Width);
  EXPECT_EQ(Count(Blue, extent.cy), 0);
}

TEST_F(Hyperlink, TakesAnAmpersandForAPrefixWhenItDraws) {
  const int plain = Extent(L"Privacy Policy").cx;
  const int whole = Extent(L"Privacy &Policy").cx;
  ASSERT_GT(whole, plain + 5);
  Make(L"Privacy &Policy", true);
  Paint();
  const int last = BlueColumns().second;
  EXPECT_LT(last, plain);
  EXPECT_GE(last, plain - 2);
  // It is measured as any other character.
  MoveMouse(2, 2);
  EXPECT_EQ(CursorAfterMove(whole - 1, 2), hand_);
  EXPECT_EQ(CursorAfterMove(whole, 2), arrow_);
}

TEST_F(Hyperlink, UnderlinesItsText) {
  Paint();
  const SIZE extent = Extent(L"Privacy Policy");
  int longest = 0;
  for (int y = 0; y < extent.cy; ++y) longest = std::max(longest, Count(Blue, y, y + 1));
  EXPECT_GE(longest, extent.cx - 2);
}

TEST_F(Hyperlink, StillDrawsTheTextThatItHadAtFirst) {
  Paint();
  const int before = Count(Blue);
  SetWindowTextW(control_, L"Another text, which is a good deal longer");
  Paint();
  EXPECT_EQ(Count(Blue), before);
}

TEST_F(Hyperlink, WithoutAParentsFontIsDrawnInTheSystemsFontAndNotUnderlined) {
  Make(L"Privacy Policy", false);
  Paint();
  EXPECT_GT(Count(Blue), 50);
  int longest = 0;
  for (int y = 0; y < Height; ++y) longest = std::max(longest, Count(Blue, y, y + 1));
  EXPECT_LT(longest, 60);
}

TEST_F(Hyperlink, WithoutAParentsFontIsNoLinkAnywhere) {
  Make(L"Privacy Policy", false);
  Paint();
  MoveMouse(2, 2);
  EXPECT_EQ(CursorAfterMove(2, 2), arrow_);
}

TEST_F(Hyperlink, LeavesTheCursorOnTheFirstMove) {
  Paint();
  EXPECT_EQ(CursorAfterMove(2, 2), nullptr);
  EXPECT_EQ(CursorAfterMove(2, 2), hand_);
}

TEST_F(Hyperlink, ShowsTheHandOnItsTextOnly) {
  Paint();
  MoveMouse(2, 2);
  const SIZE extent = Extent(L"Privacy Policy");
  ASSERT_LT(extent.cx, Width);
  ASSERT_LT(extent.cy, Height);
  EXPECT_EQ(CursorAfterMove(0, 0), hand_);
  EXPECT_EQ(CursorAfterMove(extent.cx - 1, extent.cy - 1), hand_);
  EXPECT_EQ(CursorAfterMove(extent.cx, 0), arrow_);
  EXPECT_EQ(CursorAfterMove(0, extent.cy), arrow_);
  EXPECT_EQ(CursorAfterMove(-1, 0), arrow_);
  EXPECT_EQ(CursorAfterMove(0, -1), arrow_);
  EXPECT_EQ(CursorAfterMove(Width - 1, Height - 1), arrow_);
}

TEST_F(Hyperlink, IsNoLinkBeforeItsFirstPaint) {
  ValidateRect(control_, nullptr);
  MoveMouse(2, 2);
  EXPECT_EQ(CursorAfterMove(2, 2), arrow_);
  Paint();
  EXPECT_EQ(CursorAfterMove(2, 2), hand_);
}

TEST_F(Hyperlink, TurnsTheCursorBackWhenTheMouseLeaves) {
  Paint();
  MoveMouse(2, 2);
  MoveMouse(2, 2);
  ASSERT_EQ(GetCursor(), hand_);
  EXPECT_EQ(SendMessageW(control_, WM_MOUSELEAVE, 0, 0), 0);
  EXPECT_EQ(GetCursor(), arrow_);
  EXPECT_EQ(CursorAfterMove(2, 2), nullptr) << "the next move is a first one again";
}

TEST_F(Hyperlink, AsksToBeToldWhenTheMouseLeaves) {
  TRACKMOUSEEVENT query = {};
  query.cbSize = sizeof query;
  SetCursorPos(100 + Left + 5, 100 + Top + 5);
  MoveMouse(5, 5);
  query.dwFlags = TME_QUERY;
  ASSERT_TRUE(TrackMouseEvent(&query));
  EXPECT_EQ(query.hwndTrack, control_);
  EXPECT_TRUE(query.dwFlags & TME_LEAVE);
}

TEST_F(Hyperlink, FreesItsFontWithItsWindow) {
  const int before = FontCount();
  Paint();
  ASSERT_EQ(FontCount(), before + 1) << "made on the first paint";
  Paint();
  EXPECT_EQ(FontCount(), before + 1) << "and once only";
  DestroyWindow(control_);
  EXPECT_EQ(FontCount(), before);
  EXPECT_EQ(link_->m_hWnd, nullptr);
}

TEST_F(Hyperlink, LeavesTheSystemsHandWhenItEnds) {
  DestroyWindow(control_);
  link_.reset();
  EXPECT_NE(CopyImage(hand_, IMAGE_CURSOR, 0, 0, 0), nullptr) << "the hand is still there";
}

TEST_F(Hyperlink, OpensItsAddressOnAClickOnTheText) {
  link_->SetAddress(L"https://www.quintar.example/privacy?language=en#top");
  Paint();
  ClickAt(3, 3);
  ASSERT_EQ(ShellRecorder::openings.size(), 1U);
  EXPECT_EQ(ShellRecorder::openings[0].window, control_);
  EXPECT_EQ(ShellRecorder::openings[0].verb, L"open");
  EXPECT_EQ(ShellRecorder::openings[0].address,
            L"https://www.quintar.example/privacy?language=en#top");
  EXPECT_TRUE(ShellRecorder::openings[0].withoutMore);
  EXPECT_EQ(ShellRecorder::openings[0].show, SW_SHOWNORMAL);
}

TEST_F(Hyperlink, OpensTheAddressThatWasSetLast) {
  link_->SetAddress(L"https://one.example/");
  Paint();
  link_->SetAddress(L"https://two.example/");
  ClickAt(3, 3);
  ClickAt(3, 3);
  ASSERT_EQ(ShellRecorder::openings.size(), 2U);
  EXPECT_EQ(ShellRecorder::openings[0].address, L"https://two.example/");
  EXPECT_EQ(ShellRecorder::openings[1].address, L"https://two.example/");
}

TEST_F(Hyperlink, AsksForAnEmptyAddressToo) {
  Paint();
  ClickAt(3, 3);
  ASSERT_EQ(ShellRecorder::openings.size(), 1U);
  EXPECT_EQ(ShellRecorder::openings[0].address, L"");
}

TEST_F(Hyperlink, OpensNothingOnAClickBesideTheText) {
  Paint();
  const SIZE extent = Extent(L"Privacy Policy");
  ClickAt(extent.cx, 3);
  ClickAt(3, extent.cy);
  ClickAt(-1, 3);
  ClickAt(3, -1);
  ClickAt(Width - 1, Height - 1);
  EXPECT_TRUE(ShellRecorder::openings.empty());
  ClickAt(extent.cx - 1, extent.cy - 1);
  ClickAt(0, 0);
  EXPECT_EQ(ShellRecorder::openings.size(), 2U);
}

TEST_F(Hyperlink, OpensNothingBeforeItsFirstPaint) {
  ClickAt(3, 3);
  EXPECT_TRUE(ShellRecorder::openings.empty());
}

TEST_F(Hyperlink, OpensNothingWithoutAParentsFont) {
  Make(L"Privacy Policy", false);
  Paint();
  ClickAt(3, 3);
  EXPECT_TRUE(ShellRecorder::openings.empty());
}

TEST_F(Hyperlink, GoesByTheTextThatItHadAtFirst) {
  Make(L"x", true);
  Paint();
  SetWindowTextW(control_, L"A long text");
  ClickAt(Extent(L"x").cx, 3);
  EXPECT_TRUE(ShellRecorder::openings.empty());
  ClickAt(0, 3);
  EXPECT_EQ(ShellRecorder::openings.size(), 1U);
}

TEST_F(Hyperlink, DoesNotTellItsParentOfTheClick) {
  // A static control with this style would send its parent a notification.
  Paint();
  notifications = 0;
  ClickAt(3, 3);
  ClickAt(Width - 1, 3);
  EXPECT_EQ(notifications, 0);
}

TEST_F(Hyperlink, WithAnEmptyTextIsNoLink) {
  Make(L"", true);
  Paint();
  ClickAt(0, 0);
  EXPECT_TRUE(ShellRecorder::openings.empty());
  EXPECT_EQ(Count(Blue), 0);
}

// What it leaves to the control.

TEST_F(Hyperlink, LeavesOtherTimersToTheControl) {
  SendMessageW(control_, WM_TIMER, 5, 0);
  EXPECT_EQ(received, (std::vector<Message>{{WM_TIMER, 5, 0}}));
}

TEST_F(Hyperlink, KeepsTheTimerOfItsTooltipFromTheControl) {
  SendMessageW(control_, WM_TIMER, TooltipTimer, 0);
  EXPECT_EQ(received, std::vector<Message>{});
}

TEST_F(Hyperlink, LeavesEveryMouseMoveToTheControl) {
  Paint();
  received.clear();
  SendMessageW(control_, WM_MOUSEMOVE, MK_SHIFT, MAKELPARAM(2, 3));
  SendMessageW(control_, WM_MOUSEMOVE, MK_CONTROL, MAKELPARAM(Width - 1, 4));
  EXPECT_EQ(Received(WM_MOUSEMOVE),
            (std::vector<Message>{{WM_MOUSEMOVE, MK_SHIFT, MAKELPARAM(2, 3)},
                                  {WM_MOUSEMOVE, MK_CONTROL, MAKELPARAM(Width - 1, 4)}}));
}

TEST_F(Hyperlink, KeepsEveryClickFromTheControl) {
  Paint();
  ClickAt(3, 3);
  ClickAt(Width - 1, 3);
  EXPECT_EQ(ShellRecorder::openings.size(), 1U);
  EXPECT_EQ(Received(WM_LBUTTONDOWN), std::vector<Message>{});
}

TEST_F(Hyperlink, TellsTheControlOfItsEndBeforeItFreesItsFont) {
  const int before = FontCount();
  Paint();
  int whenTold = -1;
  onReceived = [&whenTold](UINT message) {
    if (message == WM_DESTROY) whenTold = FontCount();
  };
  DestroyWindow(control_);
  EXPECT_EQ(Received(WM_DESTROY).size(), 1U);
  EXPECT_EQ(whenTold, before + 1);
  EXPECT_EQ(FontCount(), before);
}

// The tooltip.

/// A message that the link sends its tooltip.
struct TooltipCall {
  UINT message;
  /// Of a tool.
  UINT_PTR tool;
  std::wstring text;
  /// Of a message that is passed on.
  MSG relayed;
};

std::vector<TooltipCall> tooltipCalls;
WNDPROC tooltipProcedure = nullptr;

LRESULT CALLBACK RecordTooltip(HWND window, UINT message, WPARAM first, LPARAM second) {
  if (message == TTM_ADDTOOLW || message == TTM_DELTOOLW) {
    const auto& info = *reinterpret_cast<const TTTOOLINFOW*>(second);
    tooltipCalls.push_back({message, info.uId, message == TTM_ADDTOOLW ? info.lpszText : L"", {}});
  } else if (message == TTM_RELAYEVENT) {
    tooltipCalls.push_back({message, 0, L"", *reinterpret_cast<const MSG*>(second)});
  }
  return CallWindowProcW(tooltipProcedure, window, message, first, second);
}

/// A tooltip window that does not show by itself.
void MakeTooltip(TestLink& link, HWND parent) {
  const HWND tooltip = CreateWindowExW(0, TOOLTIPS_CLASSW, nullptr, WS_POPUP | TTS_ALWAYSTIP, 0, 0,
                                       0, 0, parent, nullptr, nullptr, nullptr);
  ASSERT_NE(tooltip, nullptr) << GetLastError();
  tooltipCalls.clear();
  tooltipProcedure = reinterpret_cast<WNDPROC>(
      SetWindowLongPtrW(tooltip, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(&RecordTooltip)));
  ASSERT_TRUE(link.tooltip_.SubclassWindow(tooltip));
}

TEST_F(Hyperlink, HasItsTooltipSwitchedOff) {
  EXPECT_FALSE(link_->tooltipEnabled_);
  EXPECT_EQ(link_->tooltipText_, L"");
  EXPECT_EQ(link_->tooltip_.m_hWnd, nullptr);
  Paint();
  MoveMouse(2, 2);
  MoveMouse(3, 3);
  EXPECT_FALSE(KillTimer(control_, TooltipTimer)) << "no timer runs";
}

TEST_F(Hyperlink, StartsNoTooltipTimerWithoutATooltipWindow) {
  link_->tooltipEnabled_ = true;
  Paint();
  MoveMouse(2, 2);
  MoveMouse(3, 3);
  EXPECT_FALSE(KillTimer(control_, TooltipTimer));
}

TEST_F(Hyperlink, WithATooltipStartsItsTimerWhenTheMouseMovesOnTheText) {
  MakeTooltip(*link_, parent_);
  link_->tooltipEnabled_ = true;
  Paint();
  MoveMouse(2, 2);
  EXPECT_FALSE(KillTimer(control_, TooltipTimer)) << "nothing is measured on the first move";
  MoveMouse(2, 2);
  EXPECT_FALSE(KillTimer(control_, TooltipTimer)) << "the mouse stands still";
  MoveMouse(Width - 1, 2);
  EXPECT_FALSE(KillTimer(control_, TooltipTimer)) << "beside the text";
  MoveMouse(3, 3);
  EXPECT_TRUE(KillTimer(control_, TooltipTimer));
  SendMessageW(control_, WM_MOUSELEAVE, 0, 0);
  MoveMouse(3, 3);
  EXPECT_TRUE(KillTimer(control_, TooltipTimer)) << "it has come back to the same point";
}

int ToolCount(const TestLink& link) {
  return static_cast<int>(SendMessageW(link.tooltip_.m_hWnd, TTM_GETTOOLCOUNT, 0, 0));
}

TEST_F(Hyperlink, WithATooltipNamesItsToolWhenTheTimerComes) {
  MakeTooltip(*link_, parent_);
  link_->tooltipEnabled_ = true;
  SetTimer(control_, TooltipTimer, 100'000, nullptr);
  SendMessageW(control_, WM_TIMER, TooltipTimer, 0);
  EXPECT_FALSE(KillTimer(control_, TooltipTimer)) << "it came once";
  EXPECT_EQ(ToolCount(*link_), 0) << "there is no text to show";
  link_->tooltipText_ = L"Opens the policy";
  SendMessageW(control_, WM_TIMER, TooltipTimer, 0);
  SendMessageW(control_, WM_TIMER, TooltipTimer, 0);
  EXPECT_EQ(ToolCount(*link_), 1);
  SendMessageW(control_, WM_MOUSELEAVE, 0, 0);
  EXPECT_EQ(ToolCount(*link_), 0);
}

TEST_F(Hyperlink, WithATooltipWaits100MillisecondsForIt) {
  MakeTooltip(*link_, parent_);
  link_->tooltipEnabled_ = true;
  Paint();
  MoveMouse(2, 2);
  MoveMouse(3, 3);
  const std::vector<TimerRecorder::Timer> timers = TimerRecorder::Of(TooltipTimer);
  ASSERT_EQ(timers.size(), 1U);
  EXPECT_EQ(timers[0].window, control_);
  EXPECT_EQ(timers[0].period, 100U);
}

TEST_F(Hyperlink, StartsNoTimerWhileItsTooltipIsVisible) {
  MakeTooltip(*link_, parent_);
  link_->tooltipEnabled_ = true;
  Paint();
  MoveMouse(2, 2);
  ShowWindow(link_->tooltip_.m_hWnd, SW_SHOWNA);
  MoveMouse(3, 3);
  EXPECT_TRUE(TimerRecorder::Of(TooltipTimer).empty());
  ShowWindow(link_->tooltip_.m_hWnd, SW_HIDE);
  MoveMouse(4, 4);
  EXPECT_EQ(TimerRecorder::Of(TooltipTimer).size(), 1U);
}

TEST_F(Hyperlink, WithItsTooltipSwitchedOffStartsNoTimerOnItsText) {
  MakeTooltip(*link_, parent_);
  Paint();
  MoveMouse(2, 2);
  MoveMouse(3, 3);
  EXPECT_TRUE(TimerRecorder::Of(TooltipTimer).empty());
}

TEST_F(Hyperlink, PutsTheToolAnewAndPassesTheMouseOnWhenTheTimerComes) {
  MakeTooltip(*link_, parent_);
  link_->tooltipEnabled_ = true;
  link_->tooltipText_ = L"Opens the policy";
  const auto tool = reinterpret_cast<UINT_PTR>(control_);
  // The second place is above and to the left of the control.
  for (const CPoint& place : {CPoint(7, 9), CPoint(-5, -6)}) {
    ASSERT_TRUE(SetCursorPos(100 + Left + place.x, 100 + Top + place.y));
    tooltipCalls.clear();
    SendMessageW(control_, WM_TIMER, TooltipTimer, 0);
    ASSERT_EQ(tooltipCalls.size(), 3U);
    EXPECT_EQ(tooltipCalls[0].message, UINT{TTM_DELTOOLW});
    EXPECT_EQ(tooltipCalls[0].tool, tool);
    EXPECT_EQ(tooltipCalls[1].message, UINT{TTM_ADDTOOLW});
    EXPECT_EQ(tooltipCalls[1].tool, tool);
    EXPECT_EQ(tooltipCalls[1].text, L"Opens the policy");
    EXPECT_EQ(tooltipCalls[2].message, UINT{TTM_RELAYEVENT});
    EXPECT_EQ(tooltipCalls[2].relayed.hwnd, control_);
    EXPECT_EQ(tooltipCalls[2].relayed.message, UINT{WM_MOUSEMOVE});
    EXPECT_EQ(tooltipCalls[2].relayed.lParam, MAKELPARAM(place.x, place.y));
  }
}

TEST_F(Hyperlink, TellsItsTooltipNothingWithoutAText) {
  MakeTooltip(*link_, parent_);
  link_->tooltipEnabled_ = true;
  SendMessageW(control_, WM_TIMER, TooltipTimer, 0);
  EXPECT_TRUE(tooltipCalls.empty());
}

TEST_F(Hyperlink, TellsItsTooltipThatTheMouseLeftOnlyWhenThatIsSwitchedOn) {
  MakeTooltip(*link_, parent_);
  SendMessageW(control_, WM_MOUSELEAVE, 0, 0);
  EXPECT_TRUE(tooltipCalls.empty());
  link_->tooltipEnabled_ = true;
  SendMessageW(control_, WM_MOUSELEAVE, 0, 0);
  ASSERT_EQ(tooltipCalls.size(), 1U);
  EXPECT_EQ(tooltipCalls[0].message, UINT{TTM_DELTOOLW});
}

int messagesToNobody = 0;
decltype(&SendMessageW) sendMessage = nullptr;

LRESULT WINAPI CountMessageToNobody(HWND window, UINT message, WPARAM first, LPARAM second) {
  messagesToNobody += window == nullptr;
  return sendMessage(window, message, first, second);
}

TEST_F(Hyperlink, WithoutATooltipWindowEndsTheTimerAndTellsNobody) {
  link_->tooltipEnabled_ = true;
  link_->tooltipText_ = L"Opens the policy";
  SetTimer(control_, TooltipTimer, 100'000, nullptr);
  messagesToNobody = 0;
  const ReplacedImport replaced(__imp_SendMessageW, reinterpret_cast<void*>(&CountMessageToNobody));
  sendMessage = reinterpret_cast<decltype(sendMessage)>(replaced.GetOriginal());
  SendMessageW(control_, WM_TIMER, TooltipTimer, 0);
  EXPECT_EQ(messagesToNobody, 0);
  EXPECT_FALSE(KillTimer(control_, TooltipTimer));
}

}  // namespace
