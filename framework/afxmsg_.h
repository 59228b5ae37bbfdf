// Message maps: for each class a table of the messages that it handles, searched from the most
// derived class to its bases. Included by afxwin.h.
#pragma once

#include "framework/afxwin.h"

/// The pseudo-message of `ON_WM_CTLCOLOR`, for WM_CTLCOLORMSGBOX to WM_CTLCOLORSTATIC.
constexpr UINT WM_CTLCOLOR = 0x0019;

#define DECLARE_MESSAGE_MAP()                   \
 protected:                                     \
  static const AFX_MSGMAP* GetThisMessageMap(); \
  const AFX_MSGMAP* GetMessageMap() const override;

#define BEGIN_MESSAGE_MAP(theClass, baseClass)        \
  const AFX_MSGMAP* theClass::GetMessageMap() const { \
    return GetThisMessageMap();                       \
  }                                                   \
  const AFX_MSGMAP* theClass::GetThisMessageMap() {   \
    using ThisClass [[maybe_unused]] = theClass;      \
    using TheBaseClass = baseClass;                   \
    static const AFX_MSGMAP_ENTRY entries[] = {
#define END_MESSAGE_MAP()                                                    \
  { 0, 0, 0, nullptr }                                                       \
  }                                                                          \
  ;                                                                          \
  static const AFX_MSGMAP map = {&TheBaseClass::GetThisMessageMap, entries}; \
  return &map;                                                               \
  }

// Each of these functions unpacks a message's parameters for one kind of handler.

template <class Window, auto Handler>
LRESULT AfxCall(CWnd& window, UINT, WPARAM, LPARAM) {
  (static_cast<Window&>(window).*Handler)();
  return 0;
}

template <class Window, auto Handler>
LRESULT AfxCallMessage(CWnd& window, UINT, WPARAM first, LPARAM second) {
  return (static_cast<Window&>(window).*Handler)(first, second);
}

template <class Window, auto Handler>
LRESULT AfxCallTimer(CWnd& window, UINT, WPARAM timer, LPARAM) {
  (static_cast<Window&>(window).*Handler)(timer);
  return 0;
}

template <class Window, auto Handler>
LRESULT AfxCallMouse(CWnd& window, UINT, WPARAM keys, LPARAM point) {
  (static_cast<Window&>(window).*Handler)(static_cast<UINT>(keys), CPoint(point));
  return 0;
}

template <class Window, auto Handler>
LRESULT AfxCallHitTest(CWnd& window, UINT, WPARAM, LPARAM point) {
  return (static_cast<Window&>(window).*Handler)(CPoint(point));
}

template <class Window, auto Handler>
LRESULT AfxCallCursor(CWnd& window, UINT, WPARAM, LPARAM) {
  return reinterpret_cast<LRESULT>((static_cast<Window&>(window).*Handler)());
}

template <class Window, auto Handler>
LRESULT AfxCallErase(CWnd& window, UINT, WPARAM context, LPARAM) {
  CDC dc(reinterpret_cast<HDC>(context));
  return (static_cast<Window&>(window).*Handler)(&dc);
}

template <class Window, auto Handler>
LRESULT AfxCallColor(CWnd& window, UINT message, WPARAM context, LPARAM control) {
  CDC dc(reinterpret_cast<HDC>(context));
  return reinterpret_cast<LRESULT>((static_cast<Window&>(window).*Handler)(
      &dc, CWnd::FromHandlePermanent(reinterpret_cast<HWND>(control)),
      message - WM_CTLCOLORMSGBOX));
}

/// Any message. `handler` is a member function `LRESULT Handler(WPARAM, LPARAM)`.
#define ON_MESSAGE(message, handler) {message, 0, 0, &AfxCallMessage<ThisClass, handler>},
/// A command of a control or, in a dialog, of Enter (IDOK) or Escape (IDCANCEL).
#define ON_COMMAND(id, handler) {WM_COMMAND, 0, id, &AfxCall<ThisClass, handler>},
#define ON_BN_CLICKED(id, handler) {WM_COMMAND, BN_CLICKED, id, &AfxCall<ThisClass, handler>},

#define ON_WM_CTLCOLOR() {WM_CTLCOLOR, 0, 0, &AfxCallColor<ThisClass, &ThisClass::OnCtlColor>},
#define ON_WM_DESTROY() {WM_DESTROY, 0, 0, &AfxCall<ThisClass, &ThisClass::OnDestroy>},
#define ON_WM_ERASEBKGND() \
  {WM_ERASEBKGND, 0, 0, &AfxCallErase<ThisClass, &ThisClass::OnEraseBkgnd>},
#define ON_WM_LBUTTONDOWN() \
  {WM_LBUTTONDOWN, 0, 0, &AfxCallMouse<ThisClass, &ThisClass::OnLButtonDown>},
#define ON_WM_MOUSEMOVE() {WM_MOUSEMOVE, 0, 0, &AfxCallMouse<ThisClass, &ThisClass::OnMouseMove>},
#define ON_WM_NCHITTEST() {WM_NCHITTEST, 0, 0, &AfxCallHitTest<ThisClass, &ThisClass::OnNcHitTest>},
#define ON_WM_PAINT() {WM_PAINT, 0, 0, &AfxCall<ThisClass, &ThisClass::OnPaint>},
#define ON_WM_QUERYDRAGICON() \
  {WM_QUERYDRAGICON, 0, 0, &AfxCallCursor<ThisClass, &ThisClass::OnQueryDragIcon>},
#define ON_WM_TIMER() {WM_TIMER, 0, 0, &AfxCallTimer<ThisClass, &ThisClass::OnTimer>},
