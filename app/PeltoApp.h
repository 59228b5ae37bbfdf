#pragma once

#include "framework/afxwin.h"

/// The application: prepares the user interface, chooses the resource module, executes the command
/// line and ends. It makes no main window.
class CPeltoApp : public CWinApp {
 public:
  BOOL InitInstance() override;
  int ExitInstance() override;

 private:
  HINSTANCE resourceModule_ = nullptr;
};
