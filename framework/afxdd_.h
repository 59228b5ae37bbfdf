// Dialog data exchange: binds the members of a dialog to its controls.
#pragma once

#include "framework/afxwin.h"

/// One exchange between a dialog and its members.
class CDataExchange {
 public:
  CDataExchange(CWnd* dialog, BOOL saveAndValidate)
      : m_bSaveAndValidate(saveAndValidate), m_pDlgWnd(dialog) {}

  /// TRUE: from the controls to the members; FALSE: from the members to the controls.
  BOOL m_bSaveAndValidate;
  CWnd* m_pDlgWnd;
};

/// Subclasses the control `id` with `member` if `member` has no window yet. Unlike the full
/// framework, a dialog without such a control, as a localized one may be, is not an error: `member`
/// stays without a window.
void DDX_Control(CDataExchange* exchange, int id, CWnd& member);
