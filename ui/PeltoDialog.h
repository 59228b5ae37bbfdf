#pragma once

#include <string>

#include "framework/afxdialogex.h"
#include "store/ReportStore.h"
#include "ui/HyperlinkStatic.h"

/// Asks the user whether to take part, for an optional e-mail address and whether to be asked
/// again. OK writes the answer to the settings; Cancel writes nothing (docs/compatibility.md, 58).
class PeltoDialog : public CDialogEx {
 public:
  /// `settings` must outlive the dialog. When it is null, the dialog shows the defaults and stores
  /// nothing. `first` is not used (docs/compatibility.md, 49). A `fade` other than 0 fades the
  /// dialog in.
  PeltoDialog(CReportStore* settings, int first, int fade, CWnd* parent = nullptr);

 protected:
  DECLARE_MESSAGE_MAP()

  void DoDataExchange(CDataExchange* exchange) override;
  BOOL OnInitDialog() override;
  void OnOK() override;

  afx_msg void OnPaint();
  afx_msg HCURSOR OnQueryDragIcon();
  afx_msg void OnTimer(UINT_PTR timer);
  afx_msg LRESULT OnNcHitTest(CPoint point);
  afx_msg BOOL OnEraseBkgnd(CDC* dc);
  afx_msg void OnRemindLater();
  afx_msg HBRUSH OnCtlColor(CDC* dc, CWnd* control, UINT kind);

  using SetLayeredAttributes = BOOL(WINAPI*)(HWND, COLORREF, BYTE, DWORD);
  using UpdateLayered = BOOL(WINAPI*)(HWND, HDC, POINT*, SIZE*, HDC, POINT*, COLORREF,
                                      BLENDFUNCTION*, DWORD);

  // Shared by all dialogs of the process.

  /// The system's functions for layered windows; null where the system lacks them.
  struct LayeredCalls {
    bool lookedUp = false;
    SetLayeredAttributes setAttributes = nullptr;
    /// Never called; it is looked up together with the other (docs/compatibility.md, 50).
    UpdateLayered update = nullptr;
  };
  static LayeredCalls layered_;
  /// Replaced by the next dialog and never freed: the window may still paint it
  /// (docs/compatibility.md, 51).
  static HBITMAP background_;

 private:
  void InitializeOpacity();
  void InitializeControls();
  void ApplyOpacity() const;
  bool IsChecked(int control) const;
  void Check(int control, bool checked) const;

  HICON icon_;
  /// Never used (docs/compatibility.md, 49).
  std::wstring text_;
  CReportStore* settings_;
  /// A spare switch that nothing reads (docs/compatibility.md, 49).
  [[maybe_unused]] int first_;
  int fade_;
  int opacity_;
  CHyperlinkStatic link_;
};
