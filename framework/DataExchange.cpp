#include "framework/afxdd_.h"

void DDX_Control(CDataExchange* exchange, int id, CWnd& member) {
  if (exchange->m_bSaveAndValidate || member.m_hWnd != nullptr) return;
  member.SubclassWindow(GetDlgItem(exchange->m_pDlgWnd->m_hWnd, id));
}
