#include <algorithm>
#include <map>

#include "framework/afxwin.h"

namespace {

/// The windows that are attached to an object. Never released, because windows may still get
/// messages while the process ends.
std::map<HWND, CWnd*>& GetAttachedWindows() {
  static auto& windows = *new std::map<HWND, CWnd*>;
  return windows;
}

/// The message that is being handled, for `Default`.
struct CurrentMessage {
  UINT message = 0;
  WPARAM first = 0;
  LPARAM second = 0;
};

CurrentMessage current;

/// Restores the outer message: a handler may send messages, which are handled before it returns.
class CCurrentMessageScope {
 public:
  explicit CCurrentMessageScope(const CurrentMessage& message) : outer_(current) {
    current = message;
  }
  ~CCurrentMessageScope() { current = outer_; }
  CCurrentMessageScope(const CCurrentMessageScope&) = delete;
  CCurrentMessageScope& operator=(const CCurrentMessageScope&) = delete;

 private:
  CurrentMessage outer_;
};

const AFX_MSGMAP_ENTRY* FindEntry(const AFX_MSGMAP* map, UINT message, WPARAM first) {
  const bool color = message >= WM_CTLCOLORMSGBOX && message <= WM_CTLCOLORSTATIC;
  const UINT target = color ? WM_CTLCOLOR : message;
  const UINT code = message == WM_COMMAND ? HIWORD(first) : 0;
  const UINT id = message == WM_COMMAND ? LOWORD(first) : 0;
  while (map != nullptr) {
    for (const AFX_MSGMAP_ENTRY* entry = map->entries; entry->call != nullptr; ++entry) {
      if (entry->message == target && entry->code == code && entry->id == id) return entry;
    }
    map = map->baseMap != nullptr ? map->baseMap() : nullptr;
  }
  return nullptr;
}

}  // namespace

// Both halves are signed: a second screen may be to the left of the first.
CPoint::CPoint(LPARAM point)
    : CPoint(static_cast<SHORT>(LOWORD(point)), static_cast<SHORT>(HIWORD(point))) {}

/// The procedure of every attached window.
LRESULT CALLBACK AfxWndProc(HWND handle, UINT message, WPARAM first, LPARAM second) {
  CWnd* const window = CWnd::FromHandlePermanent(handle);
  if (window == nullptr) return DefWindowProcW(handle, message, first, second);
  const CCurrentMessageScope scope({message, first, second});
  LRESULT result = 0;
  try {
    result = window->WindowProc(message, first, second);
  } catch (...) {
    // No exception may unwind through the system's frames between the sender and this procedure.
    // The message counts as handled; the user can try again or close the window.
  }
  // WM_NCDESTROY is the last message that a window gets.
  if (message == WM_NCDESTROY) window->Detach();
  return result;
}

CWnd::~CWnd() {
  DestroyWindow();
}

CWnd* CWnd::FromHandlePermanent(HWND window) {
  const auto found = GetAttachedWindows().find(window);
  return found != GetAttachedWindows().end() ? found->second : nullptr;
}

BOOL CWnd::SubclassWindow(HWND window) {
  if (m_hWnd != nullptr || !::IsWindow(window)) return FALSE;
  if (!GetAttachedWindows().emplace(window, this).second) return FALSE;
  m_hWnd = window;
  try {
    PreSubclassWindow();
  } catch (...) {
    // The window does not pass its messages yet, so WM_NCDESTROY would not detach it.
    Detach();
    throw;
  }
  ownProcedure_ = reinterpret_cast<WNDPROC>(
      SetWindowLongPtrW(m_hWnd, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(&AfxWndProc)));
  return TRUE;
}

void CWnd::Detach() {
  GetAttachedWindows().erase(m_hWnd);
  m_hWnd = nullptr;
  ownProcedure_ = nullptr;
}

BOOL CWnd::DestroyWindow() {
  return m_hWnd != nullptr && ::DestroyWindow(m_hWnd);
}

void CWnd::CenterWindow() {
  RECT window;
  GetWindowRect(m_hWnd, &window);
  const LONG width = window.right - window.left;
  const LONG height = window.bottom - window.top;

  const HWND owner = GetWindow(m_hWnd, GW_OWNER);
  const bool onOwner = ::IsWindowVisible(owner) && !::IsIconic(owner);
  MONITORINFO monitor = {};
  monitor.cbSize = sizeof monitor;
  GetMonitorInfoW(MonitorFromWindow(onOwner ? owner : m_hWnd, MONITOR_DEFAULTTOPRIMARY), &monitor);
  const RECT& area = monitor.rcWork;
  RECT center = area;
  if (onOwner) GetWindowRect(owner, &center);

  LONG left = (center.left + center.right) / 2 - width / 2;
  LONG top = (center.top + center.bottom) / 2 - height / 2;
  left = std::max(area.left, std::min(left, area.right - width));
  top = std::max(area.top, std::min(top, area.bottom - height));
  SetWindowPos(m_hWnd, nullptr /* unused: SWP_NOZORDER */, left, top, 0 /* width */, 0 /* height */,
               SWP_NOSIZE | SWP_NOZORDER | SWP_NOACTIVATE);
}

void CWnd::GetWindowText(std::wstring& text) const {
  text.resize(static_cast<size_t>(GetWindowTextLengthW(m_hWnd)));
  const int length = ::GetWindowTextW(m_hWnd, text.data(), static_cast<int>(text.size() + 1));
  text.resize(static_cast<size_t>(length));
}

BOOL CWnd::ModifyStyle(HWND window, DWORD remove, DWORD add) {
  const auto style = static_cast<DWORD>(GetWindowLongW(window, GWL_STYLE));
  const DWORD changed = (style & ~remove) | add;
  if (changed == style) return FALSE;
  SetWindowLongW(window, GWL_STYLE, static_cast<LONG>(changed));
  return TRUE;
}

const AFX_MSGMAP* CWnd::GetThisMessageMap() {
  static const AFX_MSGMAP_ENTRY entries[] = {{0, 0, 0, nullptr}};
  static const AFX_MSGMAP map = {nullptr, entries};
  return &map;
}

const AFX_MSGMAP* CWnd::GetMessageMap() const {
  return GetThisMessageMap();
}

LRESULT CWnd::WindowProc(UINT message, WPARAM first, LPARAM second) {
  const AFX_MSGMAP_ENTRY* const entry = FindEntry(GetMessageMap(), message, first);
  if (entry == nullptr) return DefWindowProc(message, first, second);
  return entry->call(*this, message, first, second);
}

LRESULT CWnd::DefWindowProc(UINT message, WPARAM first, LPARAM second) {
  return CallWindowProcW(ownProcedure_, m_hWnd, message, first, second);
}

LRESULT CWnd::Default() {
  return DefWindowProc(current.message, current.first, current.second);
}
