#include "framework/afxwin.h"

BOOL CFont::CreateFontIndirect(const LOGFONTW* description) {
  DeleteObject();
  font_ = ::CreateFontIndirectW(description);
  return font_ != nullptr;
}

void CFont::DeleteObject() {
  if (font_ != nullptr) ::DeleteObject(font_);
  font_ = nullptr;
}

CDC::~CDC() {
  if (made_) DeleteDC(m_hDC);
}

BOOL CDC::CreateCompatibleDC(const CDC* other) {
  m_hDC = ::CreateCompatibleDC(other != nullptr ? other->m_hDC : nullptr /* the screen */);
  made_ = m_hDC != nullptr;
  return made_;
}

CPaintDC::CPaintDC(CWnd* window) : window_(window->m_hWnd) {
  m_hDC = BeginPaint(window_, &paint_);
}

CPaintDC::~CPaintDC() {
  EndPaint(window_, &paint_);
}

CClientDC::CClientDC(CWnd* window) : CDC(GetDC(window->m_hWnd)), window_(window->m_hWnd) {}

CClientDC::~CClientDC() {
  ReleaseDC(window_, m_hDC);
}
