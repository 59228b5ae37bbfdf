// The part of the Windows application and dialog framework that the program uses: the application
// object and the current resource module. The names and what they mean are the framework's.
#pragma once

#include "platform/WindowsHeader.h"

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

/// Frees a library as `FreeLibrary` does.
BOOL AfxFreeLibrary(HINSTANCE library);

/// Lets dialogs hold ActiveX controls. The dialogs made here hold the system's own controls only,
/// which need no container, so there is nothing to prepare.
inline void AfxEnableControlContainer() {}
