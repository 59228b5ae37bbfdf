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

  /// Makes the dialog, shows it as soon as no message waits, and runs it until `EndDialog`. The
  /// parent is disabled meanwhile. Answers with what `EndDialog` got; -1 when the dialog cannot be
  /// made or initialised, when somebody else destroys its window, or when the thread is to quit.
  virtual INT_PTR DoModal();
  void EndDialog(int result);

 protected:
  /// Fills the dialog before it is shown. TRUE gives the focus to the first control that takes it.
  virtual BOOL OnInitDialog();
  virtual void OnOK();
  virtual void OnCancel();
  /// Names the controls of the members, by `DDX_Control`.
  virtual void DoDataExchange(CDataExchange*) {}
  /// Exchanges between controls and members; see `CDataExchange`.
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
