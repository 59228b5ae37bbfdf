#pragma once

#include <string>

#include "framework/afxdialogex.h"
#include "store/ReportStore.h"
#include "ui/HyperlinkStatic.h"

/// Asks the user whether to take part, for an optional e-mail address and whether to be asked
/// again. OK writes the answer to the settings; leaving the dialog in another way writes nothing.
class PeltoDialog : public CDialogEx {
 public:
  /// `settings` must outlive the dialog. When it is null, the dialog shows the defaults and stores
  /// nothing. `fade` lets the dialog come up gradually.
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

  // What all dialogs of the process share.

  /// The system's calls for windows that let something through, by name: a system may lack them.
  struct LayeredCalls {
    bool lookedUp = false;
    SetLayeredAttributes setAttributes = nullptr;
    /// Nothing calls it; it is looked up because it belongs to the other.
    UpdateLayered update = nullptr;
  };
  static LayeredCalls layered_;
  /// Deliberately never freed: the next dialog puts its own in its place.
  static HBITMAP background_;

 private:
  void InitializeOpacity();
  void InitializeControls();
  void ApplyOpacity() const;
  bool IsChecked(int control) const;
  void Check(int control, bool checked) const;

  HICON icon_;
  /// Stays empty: nothing in the dialog uses it.
  std::wstring text_;
  CReportStore* settings_;
  /// A spare switch: nothing in the dialog reads it.
  [[maybe_unused]] int first_;
  int fade_;
  int opacity_;
  CHyperlinkStatic link_;
};
