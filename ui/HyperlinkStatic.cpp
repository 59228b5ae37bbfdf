#include "ui/HyperlinkStatic.h"

#include <commctrl.h>
#include <shellapi.h>

#include <utility>

namespace {

constexpr COLORREF LinkColor = RGB(0, 0, 255);
constexpr UINT_PTR TooltipTimer = 100;
constexpr UINT TooltipDelayMilliseconds = 100;

}  // namespace

BEGIN_MESSAGE_MAP(CHyperlinkStatic, CStatic)
ON_WM_LBUTTONDOWN()
ON_WM_PAINT()
ON_WM_DESTROY()
ON_WM_MOUSEMOVE()
ON_WM_TIMER()
ON_MESSAGE(WM_MOUSELEAVE, &CHyperlinkStatic::OnMouseLeave)
END_MESSAGE_MAP()

CHyperlinkStatic::CHyperlinkStatic()
    : handCursor_(LoadCursorW(nullptr /* the system's */, IDC_HAND)),
      arrowCursor_(LoadCursorW(nullptr /* the system's */, IDC_ARROW)) {}

CHyperlinkStatic::~CHyperlinkStatic() {
  // The system's shared cursor is not freed by this (docs/compatibility.md, 59).
  DeleteObject(handCursor_);
}

void CHyperlinkStatic::SetAddress(std::wstring address) {
  address_ = std::move(address);
}

void CHyperlinkStatic::PreSubclassWindow() {
  // A static control gets mouse messages only with this style.
  ModifyStyle(0, SS_NOTIFY);
  GetWindowText(linkText_);
  extentKnown_ = FALSE;
  CStatic::PreSubclassWindow();
}

void CHyperlinkStatic::OnLButtonDown(UINT, CPoint point) {
  MeasureText();
  if (!IsOnText(point)) return;
  ShellExecuteW(m_hWnd, L"open", address_.c_str(), nullptr /* no parameters */,
                nullptr /* no directory */, SW_SHOWNORMAL);
}

void CHyperlinkStatic::OnPaint() {
  if (!fontMade_) MakeLinkFont();
  const CPaintDC dc(this);
  const HGDIOBJ previousFont = fontMade_ ? SelectObject(dc, linkFont_) : nullptr;
  SetBkMode(dc, TRANSPARENT);
  SetTextColor(dc, LinkColor);
  RECT area;
  GetClientRect(m_hWnd, &area);
  DrawTextW(dc, linkText_.c_str(), static_cast<int>(linkText_.size()), &area, DT_VCENTER);
  if (previousFont != nullptr) SelectObject(dc, previousFont);
}

void CHyperlinkStatic::OnDestroy() {
  CStatic::OnDestroy();
  linkFont_.DeleteObject();
  fontMade_ = FALSE;
}

void CHyperlinkStatic::OnMouseMove(UINT keys, CPoint point) {
  if (tracking_) {
    MeasureText();
    SetCursor(IsOnText(point) ? handCursor_ : arrowCursor_);
  } else {
    TRACKMOUSEEVENT leave = {};
    leave.cbSize = sizeof leave;
    leave.dwFlags = TME_LEAVE;
    leave.hwndTrack = m_hWnd;
    // This first move leaves the cursor unchanged (docs/compatibility.md, 63).
    _TrackMouseEvent(&leave);
    tracking_ = TRUE;
  }

  if (tooltipEnabled_) {
    if (tooltip_.m_hWnd != nullptr && !(point == lastPoint_) && IsOnText(point) &&
        !tooltip_.IsWindowVisible()) {
      SetTimer(m_hWnd, TooltipTimer, TooltipDelayMilliseconds, nullptr /* WM_TIMER */);
    }
    lastPoint_ = point;
  }
  CStatic::OnMouseMove(keys, point);
}

void CHyperlinkStatic::OnTimer(UINT_PTR timer) {
  if (timer != TooltipTimer) {
    CStatic::OnTimer(timer);
    return;
  }
  KillTimer(m_hWnd, TooltipTimer);
  if (tooltip_.m_hWnd == nullptr || tooltipText_.empty()) return;
  POINT cursor;
  GetCursorPos(&cursor);
  ScreenToClient(m_hWnd, &cursor);
  tooltip_.DelTool(this);
  tooltip_.AddTool(this, tooltipText_);
  MSG move = {};
  move.hwnd = m_hWnd;
  move.message = WM_MOUSEMOVE;
  move.lParam = MAKELPARAM(cursor.x, cursor.y);
  tooltip_.RelayEvent(&move);
}

LRESULT CHyperlinkStatic::OnMouseLeave(WPARAM, LPARAM) {
  tracking_ = FALSE;
  SetCursor(arrowCursor_);
  if (tooltipEnabled_) {
    lastPoint_ = {-1, -1};
    tooltip_.DelTool(this);
  }
  return 0;
}

void CHyperlinkStatic::MakeLinkFont() {
  auto* const parentFont =
      reinterpret_cast<HFONT>(::SendMessageW(GetParent(m_hWnd), WM_GETFONT, 0, 0));
  LOGFONTW description;
  if (parentFont == nullptr ||
      GetObjectW(parentFont, sizeof description, &description) != sizeof description) {
    return;
  }
  description.lfUnderline = TRUE;
  fontMade_ = linkFont_.CreateFontIndirect(&description);
}

void CHyperlinkStatic::MeasureText() {
  // Without the link font, which the first paint makes, there is no extent, and a click opens
  // nothing (docs/compatibility.md, 61).
  if (!fontMade_ || extentKnown_) return;
  const CClientDC dc(this);
  const HGDIOBJ previousFont = SelectObject(dc, linkFont_);
  GetTextExtentPoint32W(dc, linkText_.c_str(), static_cast<int>(linkText_.size()), &textExtent_);
  SelectObject(dc, previousFont);
  extentKnown_ = TRUE;
}

bool CHyperlinkStatic::IsOnText(CPoint point) const {
  return extentKnown_ && point.x >= 0 && point.x < textExtent_.cx && point.y >= 0 &&
         point.y < textExtent_.cy;
}
