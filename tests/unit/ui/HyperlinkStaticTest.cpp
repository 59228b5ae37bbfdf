#include "ui/HyperlinkStatic.h"

#include <commctrl.h>
#include <gtest/gtest.h>
#include <shellapi.h>

#include <memory>
#include <string>
#include <vector>

/// The program's own entry of the call in its table of imports.
extern "C" void* __imp_ShellExecuteW;

namespace {

struct Opening {
  HWND window;
  std::wstring verb;
  std::wstring address;
  bool withoutMore;
  int show;
};

std::vector<Opening> openings;

HINSTANCE WINAPI RecordOpening(HWND window, LPCWSTR verb, LPCWSTR file, LPCWSTR parameters,
                               LPCWSTR folder, INT show) {
  openings.push_back({window, verb, file, parameters == nullptr && folder == nullptr, show});
  // As if nobody could open it.
  return reinterpret_cast<HINSTANCE>(SE_ERR_NOASSOC);
}

/// Notes what this program asks the shell to open, and opens nothing.
class ShellRecorder {
 public:
  ShellRecorder() {
    openings.clear();
    Put(reinterpret_cast<void*>(&RecordOpening));
  }
  ~ShellRecorder() { Put(original_); }
  ShellRecorder(const ShellRecorder&) = delete;
  ShellRecorder& operator=(const ShellRecorder&) = delete;

 private:
  static void Put(void* function) {
    DWORD protection = 0;
    EXPECT_TRUE(VirtualProtect(&__imp_ShellExecuteW, sizeof function, PAGE_READWRITE, &protection));
    __imp_ShellExecuteW = function;
    VirtualProtect(&__imp_ShellExecuteW, sizeof function, protection, &protection);
  }

  void* original_ = __imp_ShellExecuteW;
};

constexpr UINT LinkId = 7;
constexpr UINT_PTR TooltipTimer = 100;
constexpr COLORREF Blue = RGB(0, 0, 255);
constexpr COLORREF White = RGB(255, 255, 255);

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

/// A link in a window, which has a font of its own or none.
class Hyperlink : public testing::Test {
 protected:
  static constexpr int Left = 10;
  static constexpr int Top = 20;
  static constexpr int Width = 300;
  static constexpr int Height = 60;

  void SetUp() override { Make(L"Privacy Policy", true); }
  void TearDown() override { DestroyWindow(parent_); }

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
    ASSERT_TRUE(link_->SubclassWindow(control_));
    SetCursor(nullptr);
  }

  /// Lets the link draw on a white ground, which it leaves to its parent.
  void Paint() {
    const HDC dc = GetDC(control_);
    const RECT area = {0, 0, Width, Height};
    FillRect(dc, &area, static_cast<HBRUSH>(GetStockObject(WHITE_BRUSH)));
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

  ShellRecorder recorder_;
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
  const auto fonts = [] {
    int count = 0;
    for (UINT_PTR index = 1; index < 0x10000; ++index) {
      count += GetObjectType(reinterpret_cast<HGDIOBJ>(index)) == OBJ_FONT;
    }
    return count;
  };
  const int before = fonts();
  Paint();
  ASSERT_EQ(fonts(), before + 1) << "made on the first paint";
  Paint();
  EXPECT_EQ(fonts(), before + 1) << "and once only";
  DestroyWindow(control_);
  EXPECT_EQ(fonts(), before);
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
  ASSERT_EQ(openings.size(), 1U);
  EXPECT_EQ(openings[0].window, control_);
  EXPECT_EQ(openings[0].verb, L"open");
  EXPECT_EQ(openings[0].address, L"https://www.quintar.example/privacy?language=en#top");
  EXPECT_TRUE(openings[0].withoutMore);
  EXPECT_EQ(openings[0].show, SW_SHOWNORMAL);
}

TEST_F(Hyperlink, OpensTheAddressThatWasSetLast) {
  link_->SetAddress(L"https://one.example/");
  Paint();
  link_->SetAddress(L"https://two.example/");
  ClickAt(3, 3);
  ClickAt(3, 3);
  ASSERT_EQ(openings.size(), 2U);
  EXPECT_EQ(openings[0].address, L"https://two.example/");
  EXPECT_EQ(openings[1].address, L"https://two.example/");
}

TEST_F(Hyperlink, AsksForAnEmptyAddressToo) {
  Paint();
  ClickAt(3, 3);
  ASSERT_EQ(openings.size(), 1U);
  EXPECT_EQ(openings[0].address, L"");
}

TEST_F(Hyperlink, OpensNothingOnAClickBesideTheText) {
  Paint();
  const SIZE extent = Extent(L"Privacy Policy");
  ClickAt(extent.cx, 3);
  ClickAt(3, extent.cy);
  ClickAt(-1, 3);
  ClickAt(3, -1);
  ClickAt(Width - 1, Height - 1);
  EXPECT_TRUE(openings.empty());
  ClickAt(extent.cx - 1, extent.cy - 1);
  ClickAt(0, 0);
  EXPECT_EQ(openings.size(), 2U);
}

TEST_F(Hyperlink, OpensNothingBeforeItsFirstPaint) {
  ClickAt(3, 3);
  EXPECT_TRUE(openings.empty());
}

TEST_F(Hyperlink, OpensNothingWithoutAParentsFont) {
  Make(L"Privacy Policy", false);
  Paint();
  ClickAt(3, 3);
  EXPECT_TRUE(openings.empty());
}

TEST_F(Hyperlink, GoesByTheTextThatItHadAtFirst) {
  Make(L"x", true);
  Paint();
  SetWindowTextW(control_, L"A long text");
  ClickAt(Extent(L"x").cx, 3);
  EXPECT_TRUE(openings.empty());
  ClickAt(0, 3);
  EXPECT_EQ(openings.size(), 1U);
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
  EXPECT_TRUE(openings.empty());
  EXPECT_EQ(Count(Blue), 0);
}

/// A tooltip window that does not show by itself.
void MakeTooltip(TestLink& link, HWND parent) {
  const HWND tooltip = CreateWindowExW(0, TOOLTIPS_CLASSW, nullptr, WS_POPUP | TTS_ALWAYSTIP, 0, 0,
                                       0, 0, parent, nullptr, nullptr, nullptr);
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

TEST_F(Hyperlink, LeavesOtherTimersToTheControl) {
  SetTimer(control_, 5, 100'000, nullptr);
  SendMessageW(control_, WM_TIMER, 5, 0);
  EXPECT_TRUE(KillTimer(control_, 5));
}

}  // namespace
