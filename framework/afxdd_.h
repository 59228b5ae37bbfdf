// Dialog data exchange: binds the members of a dialog to its controls.
#pragma once

#include "framework/afxwin.h"

/// One exchange between a dialog and its members.
class CDataExchange {
 public:
  CDataExchange(CWnd* dialog, BOOL saveAndValidate)
      : m_bSaveAndValidate(saveAndValidate), m_pDlgWnd(dialog) {}

  /// TRUE from the controls to the members, FALSE the other way.
  BOOL m_bSaveAndValidate;
  CWnd* m_pDlgWnd;
};

/// Lets `member` take over the messages of the control `id`, once. A dialog without such a control,
/// as a localized one may be, leaves the member without a window.
void DDX_Control(CDataExchange* exchange, int id, CWnd& member);
