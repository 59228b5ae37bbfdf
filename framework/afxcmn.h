// Common controls.
#pragma once

#include <string>

#include "framework/afxwin.h"

/// A tooltip window over the controls of a dialog.
class CToolTipCtrl : public CWnd {
 public:
  /// Shows `text` over the whole of `tool`. False when the tooltip window refuses.
  BOOL AddTool(CWnd* tool, const std::wstring& text);
  void DelTool(CWnd* tool);
  /// Lets the tooltip window see a mouse message of one of its tools.
  void RelayEvent(MSG* message);
};
