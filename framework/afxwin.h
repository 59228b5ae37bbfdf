// The part of the Windows application and dialog framework that the program uses: the application
// object, the current resource module, windows, device contexts and fonts. Names and semantics are
// the framework's. Call it from the user-interface thread only.
#pragma once

#include "platform/WindowsHeader.h"

#include <string>

/// The application object. A program derives a class from it, creates one object of that class and
/// calls `AfxWinMain`.
class CWinApp {
 public:
  CWinApp();
  virtual ~CWinApp();
  CWinApp(const CWinApp&) = delete;
  CWinApp& operator=(const CWinApp&) = delete;

  /// Initializes the program. After TRUE follows `Run`, after FALSE `ExitInstance` and the end of
  /// the process.
  virtual BOOL InitInstance();
  /// Dispatches messages until WM_QUIT and returns the result of `ExitInstance`. There is no main
  /// window, so WM_QUIT follows as soon as the message queue is empty.
  virtual int Run();
  /// Cleans up. Returns the process's exit code: that of WM_QUIT, or 0 without one.
  virtual int ExitInstance();

  /// The module of the program itself; set before `InitInstance`.
  HINSTANCE m_hInstance = nullptr;

 private:
  MSG message_ = {};
};

/// The application object, or null when there is none.
CWinApp* AfxGetApp();

/// Runs the application object: `InitInstance`, then `Run` or `ExitInstance`. Returns the exit
/// code. Turns off the system's own error boxes.
int AfxWinMain(HINSTANCE instance);

/// The module of the program itself.
HINSTANCE AfxGetInstanceHandle();

/// The current resource module, from which dialogs, strings and images are loaded. It is the
/// program itself until `AfxSetResourceHandle` sets another.
HINSTANCE AfxGetResourceHandle();
void AfxSetResourceHandle(HINSTANCE module);
/// The module that holds the resource `name` of type `type`: the current resource module or else
/// the program itself. If neither holds it, the current resource module.
HINSTANCE AfxFindResourceHandle(LPCWSTR name, LPCWSTR type);

/// Frees a library as `FreeLibrary` does.
BOOL AfxFreeLibrary(HINSTANCE library);

/// Enables ActiveX controls in dialogs. It does nothing here: the dialogs of this program hold the
/// system's own controls only.
inline void AfxEnableControlContainer() {}

/// Marks a member function that a message map calls.
#define afx_msg

/// A point in pixels.
struct CPoint : POINT {
  CPoint(LONG left, LONG top) : POINT{left, top} {}
  /// The point in the `lParam` of a mouse message.
  explicit CPoint(LPARAM point);
  bool operator==(const CPoint& other) const { return x == other.x && y == other.y; }
};

/// Owns a font.
class CFont {
 public:
  CFont() = default;
  ~CFont() { DeleteObject(); }
  CFont(const CFont&) = delete;
  CFont& operator=(const CFont&) = delete;

  /// Creates the font that `description` describes and frees an earlier one. FALSE on failure; the
  /// object then has no font.
  BOOL CreateFontIndirect(const LOGFONTW* description);
  void DeleteObject();
  operator HFONT() const { return font_; }

 private:
  HFONT font_ = nullptr;
};

/// A device context. Deletes the one that `CreateCompatibleDC` created.
class CDC {
 public:
  CDC() = default;
  /// Uses a context that the caller owns.
  explicit CDC(HDC borrowed) : m_hDC(borrowed) {}
  virtual ~CDC();
  CDC(const CDC&) = delete;
  CDC& operator=(const CDC&) = delete;

  /// Creates a memory context that is compatible with `other` or, if that is null, with the screen.
  BOOL CreateCompatibleDC(const CDC* other);
  operator HDC() const { return m_hDC; }

  HDC m_hDC = nullptr;

 private:
  bool made_ = false;
};

struct AFX_MSGMAP_ENTRY;

/// The messages that one class handles, and the function that returns its base's map. See
/// afxmsg_.h.
struct AFX_MSGMAP {
  const AFX_MSGMAP* (*baseMap)();
  /// The last entry has no `call`.
  const AFX_MSGMAP_ENTRY* entries;
};

/// A window whose messages go to the handlers in the message map of its class. Messages without a
/// handler go to the window's own procedure.
class CWnd {
 public:
  CWnd() = default;
  /// Destroys the window if it still exists.
  virtual ~CWnd();
  CWnd(const CWnd&) = delete;
  CWnd& operator=(const CWnd&) = delete;

  /// The object that is attached to `window`, or null.
  static CWnd* FromHandlePermanent(HWND window);

  /// Attaches this object to `window`, whose messages it then handles. FALSE when there is no such
  /// window or when the window or this object is attached already.
  BOOL SubclassWindow(HWND window);
  BOOL DestroyWindow();

  /// Moves the window to the middle of its owner or, without a visible owner, of the work area of
  /// the screen that it is on; always within that work area.
  void CenterWindow();
  BOOL IsIconic() const { return ::IsIconic(m_hWnd); }
  BOOL IsWindowVisible() const { return ::IsWindowVisible(m_hWnd); }
  void GetWindowText(std::wstring& text) const;
  /// Removes and adds window styles without repainting the window. FALSE when the style is
  /// unchanged.
  static BOOL ModifyStyle(HWND window, DWORD remove, DWORD add);
  BOOL ModifyStyle(DWORD remove, DWORD add) { return ModifyStyle(m_hWnd, remove, add); }
  LRESULT SendMessage(UINT message, WPARAM first = 0, LPARAM second = 0) {
    return ::SendMessageW(m_hWnd, message, first, second);
  }
  BOOL ShowWindow(int command) { return ::ShowWindow(m_hWnd, command); }

  HWND m_hWnd = nullptr;

 protected:
  static const AFX_MSGMAP* GetThisMessageMap();
  virtual const AFX_MSGMAP* GetMessageMap() const;
  /// Called when the window is attached, before its messages reach this object.
  virtual void PreSubclassWindow() {}
  virtual LRESULT WindowProc(UINT message, WPARAM first, LPARAM second);
  virtual LRESULT DefWindowProc(UINT message, WPARAM first, LPARAM second);
  /// Passes the message that is being handled to the window's own procedure.
  LRESULT Default();

  afx_msg void OnDestroy() { Default(); }
  afx_msg void OnMouseMove(UINT, CPoint) { Default(); }
  afx_msg void OnPaint() { Default(); }
  afx_msg HCURSOR OnQueryDragIcon() { return reinterpret_cast<HCURSOR>(Default()); }
  afx_msg void OnTimer(UINT_PTR) { Default(); }

 private:
  friend LRESULT CALLBACK AfxWndProc(HWND, UINT, WPARAM, LPARAM);

  void Detach();

  WNDPROC ownProcedure_ = nullptr;
};

/// One handled message. For WM_COMMAND, `id` names the control and `code` its notification.
struct AFX_MSGMAP_ENTRY {
  UINT message;
  UINT code;
  UINT id;
  /// Unpacks the parameters, calls the handler of `window` and returns the message's result.
  LRESULT (*call)(CWnd& window, UINT message, WPARAM first, LPARAM second);
};

/// A context that paints a window, for one WM_PAINT.
class CPaintDC : public CDC {
 public:
  explicit CPaintDC(CWnd* window);
  ~CPaintDC() override;

 private:
  HWND window_;
  PAINTSTRUCT paint_ = {};
};

/// A context of a window's client area.
class CClientDC : public CDC {
 public:
  explicit CClientDC(CWnd* window);
  ~CClientDC() override;

 private:
  HWND window_;
};

/// A static control.
class CStatic : public CWnd {};

#include "framework/afxmsg_.h"
