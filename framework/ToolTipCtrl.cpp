#include "framework/afxcmn.h"

#include <commctrl.h>

namespace {

/// Describes the whole of `tool`, in the first version of the structure, which every version of the
/// common controls accepts.
TTTOOLINFOW MakeToolInfo(const CWnd* tool) {
  TTTOOLINFOW info = {};
  info.cbSize = TTTOOLINFOW_V1_SIZE;
  info.uFlags = TTF_IDISHWND;
  info.hwnd = GetParent(tool->m_hWnd);
  info.uId = reinterpret_cast<UINT_PTR>(tool->m_hWnd);
  return info;
}

}  // namespace

BOOL CToolTipCtrl::AddTool(CWnd* tool, const std::wstring& text) {
  std::wstring copy = text;
  TTTOOLINFOW info = MakeToolInfo(tool);
  info.lpszText = copy.data();
  return SendMessage(TTM_ADDTOOLW, 0, reinterpret_cast<LPARAM>(&info)) != 0;
}

void CToolTipCtrl::DelTool(CWnd* tool) {
  TTTOOLINFOW info = MakeToolInfo(tool);
  SendMessage(TTM_DELTOOLW, 0, reinterpret_cast<LPARAM>(&info));
}

void CToolTipCtrl::RelayEvent(MSG* message) {
  SendMessage(TTM_RELAYEVENT, 0, reinterpret_cast<LPARAM>(message));
}
