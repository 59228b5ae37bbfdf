// Modal dialogs made from a template.
#pragma once

#include "framework/afxdd_.h"
#include "framework/afxwin.h"

/// A modal dialog. Its template comes from the current resource module or, when that has none, from
/// the program.
class CDialogEx : public CWnd {
 public:
  explicit CDialogEx(UINT templateId, CWnd* parent = nullptr)
      : templateId_(templateId), parent_(parent) {}

  /// Creates the dialog, shows it as soon as the message queue is empty and runs it until
  /// `EndDialog`. The parent is disabled meanwhile. Returns the value passed to `EndDialog`, or -1
  /// when the dialog cannot be created or initialized, when its window is destroyed from outside or
  /// when WM_QUIT arrives.
  virtual INT_PTR DoModal();
  /// Ends `DoModal`, which returns `result` and destroys the window.
  void EndDialog(int result);

 protected:
  /// Initializes the dialog before it is shown. TRUE: the system sets the focus to the first
  /// control that can have it.
  virtual BOOL OnInitDialog();
  virtual void OnOK();
  virtual void OnCancel();
  /// Binds members to controls by `DDX_Control`.
  virtual void DoDataExchange(CDataExchange*) {}
  /// Calls `DoDataExchange`; for the direction see `CDataExchange`.
  void UpdateData(BOOL saveAndValidate = TRUE);

  afx_msg void OnDestroy();

 private:
  static INT_PTR CALLBACK DialogProcedure(HWND, UINT, WPARAM, LPARAM);

  void RunModalLoop();

  UINT templateId_;
  CWnd* parent_;
  bool running_ = false;
  INT_PTR result_ = -1;

  DECLARE_MESSAGE_MAP()
};
