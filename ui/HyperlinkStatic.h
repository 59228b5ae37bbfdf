#pragma once

#include <string>

#include "framework/afxcmn.h"
#include "framework/afxwin.h"

/// A static text that is a link: underlined and blue, with the hand cursor over its text. A click
/// on the text opens the address in the user's default handler. A failure to open it is not
/// reported.
class CHyperlinkStatic : public CStatic {
 public:
  CHyperlinkStatic();
  ~CHyperlinkStatic() override;

  /// Sets the address that a click opens.
  void SetAddress(std::wstring address);

 protected:
  DECLARE_MESSAGE_MAP()

  /// Takes the text to draw from the control, once: a later change of the control's text is not
  /// drawn (docs/compatibility.md, 62).
  void PreSubclassWindow() override;

  afx_msg void OnLButtonDown(UINT keys, CPoint point);
  afx_msg void OnPaint();
  afx_msg void OnDestroy();
  afx_msg void OnMouseMove(UINT keys, CPoint point);
  afx_msg void OnTimer(UINT_PTR timer);
  afx_msg LRESULT OnMouseLeave(WPARAM, LPARAM);

  // Nothing creates the tooltip's window or enables the tooltip (docs/compatibility.md, 60).
  CToolTipCtrl tooltip_;
  bool tooltipEnabled_ = false;
  std::wstring tooltipText_;

 private:
  void MakeLinkFont();
  void MeasureText();
  bool IsOnText(CPoint point) const;

  std::wstring linkText_;
  std::wstring address_;
  CFont linkFont_;
  SIZE textExtent_ = {};
  BOOL fontMade_ = FALSE;
  BOOL tracking_ = FALSE;
  BOOL extentKnown_ = FALSE;
  HCURSOR handCursor_;
  HCURSOR arrowCursor_;
  CPoint lastPoint_ = {-1, -1};
};
