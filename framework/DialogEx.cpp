#include "framework/afxdialogex.h"

namespace {

/// Disables an enabled window until the end of the scope.
class CDisabledWindow {
 public:
  explicit CDisabledWindow(HWND window) : window_(::IsWindowEnabled(window) ? window : nullptr) {
    if (window_ != nullptr) EnableWindow(window_, FALSE);
  }
  ~CDisabledWindow() {
    if (window_ != nullptr) EnableWindow(window_, TRUE);
  }
  CDisabledWindow(const CDisabledWindow&) = delete;
  CDisabledWindow& operator=(const CDisabledWindow&) = delete;

 private:
  HWND window_;
};

}  // namespace

BEGIN_MESSAGE_MAP(CDialogEx, CWnd)
ON_COMMAND(IDOK, &CDialogEx::OnOK)
ON_COMMAND(IDCANCEL, &CDialogEx::OnCancel)
ON_WM_DESTROY()
END_MESSAGE_MAP()

INT_PTR CDialogEx::DoModal() {
  result_ = -1;
  running_ = true;
  {
    const HWND owner = parent_ != nullptr ? parent_->m_hWnd : nullptr;
    const CDisabledWindow disabledOwner(owner);
    const LPCWSTR name = MAKEINTRESOURCEW(templateId_);
    const HWND window =
        CreateDialogParamW(AfxFindResourceHandle(name, RT_DIALOG), name, owner,
                           &CDialogEx::DialogProcedure, reinterpret_cast<LPARAM>(this));
    if (m_hWnd != nullptr) {
      RunModalLoop();
    } else if (window != nullptr) {
      // It could not be attached, so `DestroyWindow` below does not reach it.
      ::DestroyWindow(window);
    }
  }
  running_ = false;
  // After the owner is enabled again: the system activates the owner only if it is enabled.
  DestroyWindow();
  return result_;
}

void CDialogEx::EndDialog(int result) {
  result_ = result;
  running_ = false;
  // Wakes the modal loop, which may be waiting for a message.
  PostMessageW(m_hWnd, WM_NULL, 0, 0);
}

INT_PTR CALLBACK CDialogEx::DialogProcedure(HWND window, UINT message, WPARAM, LPARAM parameter) {
  if (message != WM_INITDIALOG) return FALSE;
  auto& dialog = *reinterpret_cast<CDialogEx*>(parameter);
  try {
    dialog.SubclassWindow(window);
    return dialog.OnInitDialog();
  } catch (...) {
    // An incomplete dialog is not shown, and no exception may unwind through the system's frames.
    dialog.EndDialog(-1);
    return FALSE;
  }
}

void CDialogEx::RunModalLoop() {
  bool shown = false;
  // The window may also be destroyed from outside, for example together with its owner.
  while (running_ && m_hWnd != nullptr) {
    MSG message = {};
    if (!shown && !PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE)) {
      shown = true;
      ShowWindow(SW_SHOWNORMAL);
      UpdateWindow(m_hWnd);
      continue;
    }
    if (GetMessageW(&message, nullptr, 0, 0) <= 0) {
      // Reposts WM_QUIT for the outer loop.
      PostQuitMessage(static_cast<int>(message.wParam));
      result_ = -1;
      return;
    }
    if (!IsDialogMessageW(m_hWnd, &message)) {
      TranslateMessage(&message);
      DispatchMessageW(&message);
    }
  }
}

BOOL CDialogEx::OnInitDialog() {
  UpdateData(FALSE);
  return TRUE;
}

void CDialogEx::OnOK() {
  UpdateData(TRUE);
  EndDialog(IDOK);
}

void CDialogEx::OnCancel() {
  EndDialog(IDCANCEL);
}

void CDialogEx::OnDestroy() {
  CWnd::OnDestroy();
  // Destroyed from outside: wakes the modal loop, which may be waiting for a message.
  if (running_) PostMessageW(nullptr /* the thread */, WM_NULL, 0, 0);
}

void CDialogEx::UpdateData(BOOL saveAndValidate) {
  CDataExchange exchange(this, saveAndValidate);
  DoDataExchange(&exchange);
}
