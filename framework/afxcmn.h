// Common controls.
#pragma once

#include <string>

#include "framework/afxwin.h"

/// A tooltip window over the controls of a dialog.
class CToolTipCtrl : public CWnd {
 public:
  /// Registers the whole of `tool`, over which `text` is shown. FALSE when the tooltip window
  /// refuses it.
  BOOL AddTool(CWnd* tool, const std::wstring& text);
  /// Removes `tool`.
  void DelTool(CWnd* tool);
  /// Passes a mouse message of a tool to the tooltip window.
  void RelayEvent(MSG* message);
};
