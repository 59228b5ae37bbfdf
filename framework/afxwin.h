// The part of the Windows application and dialog framework that the program uses: the application
// object, the current resource module, windows, device contexts and fonts. The names and what they
// mean are the framework's. All of it belongs to the one user-interface thread.
#pragma once

#include "platform/WindowsHeader.h"

#include <string>

/// The application object. A program derives one class from it, makes one object of that class and
/// hands over to `AfxWinMain`.
class CWinApp {
 public:
  CWinApp();
  virtual ~CWinApp();
  CWinApp(const CWinApp&) = delete;
  CWinApp& operator=(const CWinApp&) = delete;

  /// Prepares the program. FALSE ends the process by way of `ExitInstance`; TRUE goes on to `Run`.
  virtual BOOL InitInstance();
  /// Dispatches messages until WM_QUIT and answers with `ExitInstance`. There is no main window to
  /// wait for, so WM_QUIT comes once the messages that stand in the queue are done.
  virtual int Run();
  /// Cleans up; the result is the process's exit code: the one that WM_QUIT brought, else 0.
  virtual int ExitInstance();

  /// The module of the program itself; set before `InitInstance`.
  HINSTANCE m_hInstance = nullptr;

 private:
  MSG message_ = {};
};

/// The one application object, or null.
CWinApp* AfxGetApp();

/// Runs the application object: `InitInstance`, then `Run` or `ExitInstance`. Answers with the
/// exit code. From here on the system shows no error boxes of its own.
int AfxWinMain(HINSTANCE instance);

/// The module of the program itself.
HINSTANCE AfxGetInstanceHandle();

/// The module from which dialogs, texts and pictures are loaded; at first the program itself.
HINSTANCE AfxGetResourceHandle();
void AfxSetResourceHandle(HINSTANCE module);
/// The module that holds the resource `name` of the kind `type`: the current resource module, else
/// the program itself. The current resource module also when neither holds it.
HINSTANCE AfxFindResourceHandle(LPCWSTR name, LPCWSTR type);

/// Frees a library as `FreeLibrary` does.
BOOL AfxFreeLibrary(HINSTANCE library);

/// Lets dialogs hold ActiveX controls. The dialogs made here hold the system's own controls only,
/// which need no container, so there is nothing to prepare.
inline void AfxEnableControlContainer() {}

/// Marks a member function that a message map calls.
#define afx_msg

/// A point in pixels.
struct CPoint : POINT {
  CPoint(LONG left, LONG top) : POINT{left, top} {}
  /// Unpacks the point of a mouse message.
  static CPoint FromParameter(LPARAM parameter);
  bool operator==(const CPoint& other) const { return x == other.x && y == other.y; }
};

/// A font, which it frees.
class CFont {
 public:
  CFont() = default;
  ~CFont() { DeleteObject(); }
  CFont(const CFont&) = delete;
  CFont& operator=(const CFont&) = delete;

  /// Makes the font that `description` asks for. False, with nothing made, when the system has
  /// none to give.
  BOOL CreateFontIndirect(const LOGFONTW* description);
  void DeleteObject();
  operator HFONT() const { return font_; }

 private:
  HFONT font_ = nullptr;
};

/// A device context. Frees what it has made; `CPaintDC` and `CClientDC` do so in their own way.
class CDC {
 public:
  CDC() = default;
  /// A context that stays its owner's.
  explicit CDC(HDC borrowed) : m_hDC(borrowed) {}
  virtual ~CDC();
  CDC(const CDC&) = delete;
  CDC& operator=(const CDC&) = delete;

  /// Makes a context in memory that is compatible with `other`, or with the screen.
  BOOL CreateCompatibleDC(const CDC* other);
  operator HDC() const { return m_hDC; }

  HDC m_hDC = nullptr;

 private:
  bool made_ = false;
};

struct AFX_MSGMAP_ENTRY;

/// The messages that one class answers, and the way to its base's. See afxmsg_.h.
struct AFX_MSGMAP {
  const AFX_MSGMAP* (*baseMap)();
  /// Ends with an entry without a call.
  const AFX_MSGMAP_ENTRY* entries;
};

/// A window that passes its messages to the message map of its class. What no map answers goes to
/// the window's own procedure.
class CWnd {
 public:
  CWnd() = default;
  /// Destroys a window that is still there.
  virtual ~CWnd();
  CWnd(const CWnd&) = delete;
  CWnd& operator=(const CWnd&) = delete;

  /// The object that `window` has been attached to, or null.
  static CWnd* FromHandlePermanent(HWND window);

  /// Takes over the messages of `window`. False when there is no such window, or when it or this
  /// object is attached already.
  BOOL SubclassWindow(HWND window);
  BOOL DestroyWindow();

  /// Puts the window in the middle of its owner or, without a visible one, of the screen that it
  /// stands on; always within that screen's work area.
  void CenterWindow();
  BOOL IsIconic() const { return ::IsIconic(m_hWnd); }
  BOOL IsWindowVisible() const { return ::IsWindowVisible(m_hWnd); }
  std::wstring GetWindowText() const;
  /// Takes from and adds to a window's style, and repaints nothing. False when that changes
  /// nothing.
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
  /// Called when the window is attached and before it passes its messages.
  virtual void PreSubclassWindow() {}
  virtual LRESULT WindowProc(UINT message, WPARAM first, LPARAM second);
  virtual LRESULT DefWindowProc(UINT message, WPARAM first, LPARAM second);
  /// Gives the message that is being handled to the window's own procedure.
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

/// One answered message. A control's notification also names the control and the notification.
struct AFX_MSGMAP_ENTRY {
  UINT message;
  UINT code;
  UINT id;
  /// Unpacks the parameters and calls the handler of `window`; answers with the message's result.
  LRESULT (*call)(CWnd& window, UINT message, WPARAM first, LPARAM second);
};

/// A context to paint a window with, for one WM_PAINT.
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
