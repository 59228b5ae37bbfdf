#include "framework/afxdialogex.h"

namespace {

/// Keeps a window that takes input from doing so.
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
      // It could not be attached, so nobody else would destroy it.
      ::DestroyWindow(window);
    }
  }
  running_ = false;
  // Only now: the system activates the owner in the dialog's place if the owner takes input.
  DestroyWindow();
  return result_;
}

void CDialogEx::EndDialog(int result) {
  result_ = result;
  running_ = false;
  // Wakes the loop that waits for a message.
  PostMessageW(m_hWnd, WM_NULL, 0, 0);
}

INT_PTR CALLBACK CDialogEx::DialogProcedure(HWND window, UINT message, WPARAM, LPARAM parameter) {
  if (message != WM_INITDIALOG) return FALSE;
  auto& dialog = *reinterpret_cast<CDialogEx*>(parameter);
  try {
    dialog.SubclassWindow(window);
    return dialog.OnInitDialog();
  } catch (...) {
    // A half-filled dialog is not shown, and nothing may unwind through the system.
    dialog.EndDialog(-1);
    return FALSE;
  }
}

void CDialogEx::RunModalLoop() {
  bool shown = false;
  // Its window may also go without its doing, as with its owner.
  while (running_ && m_hWnd != nullptr) {
    MSG message = {};
    if (!shown && !PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE)) {
      shown = true;
      ShowWindow(SW_SHOWNORMAL);
      UpdateWindow(m_hWnd);
      continue;
    }
    if (GetMessageW(&message, nullptr, 0, 0) <= 0) {
      // Whoever runs the thread's outer loop wants to know that it is to quit.
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
  // Somebody else destroys the window. Wakes the loop, which may be waiting for a message.
  if (running_) PostMessageW(nullptr /* the thread */, WM_NULL, 0, 0);
}

void CDialogEx::UpdateData(BOOL saveAndValidate) {
  CDataExchange exchange(this, saveAndValidate);
  DoDataExchange(&exchange);
}
