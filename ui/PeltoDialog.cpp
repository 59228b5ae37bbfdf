#include "ui/PeltoDialog.h"

#include "ui/BackgroundPicture.h"
#include "ui/ConsentAnswer.h"
#include "ui/FadeIn.h"
#include "ui/resource.h"

namespace {

constexpr UINT_PTR FadeTimer = 1026;
/// In characters, the closing NUL included. A longer e-mail address is cut.
constexpr int EmailBufferLength = 1040;
constexpr int TitleBufferLength = 128;

template <typename Function>
Function FindFunction(HMODULE library, const char* name) {
  return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(library, name)));
}

/// The string `id` of the current resource module or, when that has none, of the program.
std::wstring LoadText(UINT id) {
  for (const HINSTANCE module : {AfxGetResourceHandle(), AfxGetInstanceHandle()}) {
    // With a buffer size of 0, the call returns a pointer to the resource, which has no closing
    // NUL.
    const wchar_t* text = nullptr;
    const int length = LoadStringW(module, id, reinterpret_cast<LPWSTR>(&text), 0);
    if (length > 0) return {text, static_cast<size_t>(length)};
  }
  return {};
}

}  // namespace

PeltoDialog::LayeredCalls PeltoDialog::layered_;
HBITMAP PeltoDialog::background_ = nullptr;

BEGIN_MESSAGE_MAP(PeltoDialog, CDialogEx)
ON_WM_PAINT()
ON_WM_QUERYDRAGICON()
ON_BN_CLICKED(IDOK, &PeltoDialog::OnOK)
ON_WM_TIMER()
ON_WM_NCHITTEST()
ON_WM_ERASEBKGND()
ON_BN_CLICKED(IDC_REMIND_LATER, &PeltoDialog::OnRemindLater)
ON_WM_CTLCOLOR()
END_MESSAGE_MAP()

PeltoDialog::PeltoDialog(CReportStore* settings, int first, int fade, CWnd* parent)
    : CDialogEx(IDD_PELTO, parent),
      icon_(LoadIconW(AfxFindResourceHandle(MAKEINTRESOURCEW(IDI_PELTO), RT_GROUP_ICON),
                      MAKEINTRESOURCEW(IDI_PELTO))),
      settings_(settings),
      first_(first),
      fade_(fade),
      opacity_(FullOpacity) {}

void PeltoDialog::DoDataExchange(CDataExchange* exchange) {
  CDialogEx::DoDataExchange(exchange);
  DDX_Control(exchange, IDC_PRIVACY_POLICY, link_);
}

BOOL PeltoDialog::OnInitDialog() {
  CDialogEx::OnInitDialog();
  InitializeOpacity();
  CenterWindow();
  SendMessage(WM_SETICON, ICON_BIG, reinterpret_cast<LPARAM>(icon_));
  SendMessage(WM_SETICON, ICON_SMALL, reinterpret_cast<LPARAM>(icon_));
  // The modal loop shows the window as soon as it is idle.
  ShowWindow(SW_HIDE);
  link_.SetAddress(LoadText(IDS_PRIVACY_POLICY));
  InitializeControls();
  if (const HBITMAP picture = LoadBackgroundPicture()) background_ = picture;
  if (fade_) {
    // Not applied here, so the window has its full opacity until the first step applies the next
    // value (docs/compatibility.md, 52).
    opacity_ = FadeStartOpacity;
    SetTimer(m_hWnd, FadeTimer, FadePeriodMilliseconds, nullptr /* WM_TIMER */);
  }
  return TRUE;
}

void PeltoDialog::InitializeOpacity() {
  if (!layered_.lookedUp) {
    const HMODULE library = GetModuleHandleW(L"USER32.DLL");
    layered_.setAttributes =
        FindFunction<SetLayeredAttributes>(library, "SetLayeredWindowAttributes");
    layered_.update = FindFunction<UpdateLayered>(library, "UpdateLayeredWindow");
    layered_.lookedUp = true;
  }
  if (layered_.setAttributes == nullptr) return;
  SetWindowLongW(m_hWnd, GWL_EXSTYLE, GetWindowLongW(m_hWnd, GWL_EXSTYLE) | WS_EX_LAYERED);
  ApplyOpacity();
}

void PeltoDialog::InitializeControls() {
  // There is no caption, but the taskbar and screen readers show the window's text.
  wchar_t title[TitleBufferLength] = L"";
  GetDlgItemTextW(m_hWnd, IDC_TITLE, title, TitleBufferLength);
  SetWindowTextW(m_hWnd, title);

  const HWND participate = GetDlgItem(m_hWnd, IDC_PARTICIPATE);
  if (participate != nullptr && GetDlgItem(m_hWnd, IDC_DECLINE) != nullptr) {
    // In the template, the group of the radio buttons starts with the text above them. An arrow key
    // would move the focus to that text, at least under Wine.
    ModifyStyle(participate, 0, WS_GROUP);
    const bool participates =
        settings_ != nullptr && PreselectsParticipation(settings_->GetConsentState());
    Check(participates ? IDC_PARTICIPATE : IDC_DECLINE, true);
  }
  const HWND emailField = GetDlgItem(m_hWnd, IDC_EMAIL);
  const std::wstring email = settings_ != nullptr ? settings_->GetEmail() : std::wstring();
  if (!email.empty() && emailField != nullptr) {
    SetWindowTextW(emailField, email.c_str());
  }
  Check(IDC_SILENCE, settings_ != nullptr && !settings_->GetShowMessage());
  // The button is hidden although it has a handler (docs/compatibility.md, 53).
  if (const HWND button = GetDlgItem(m_hWnd, IDC_REMIND_LATER)) {
    ModifyStyle(button, WS_VISIBLE, 0);
  }
}

void PeltoDialog::OnOK() {
  wchar_t email[EmailBufferLength] = L"";
  if (const HWND emailField = GetDlgItem(m_hWnd, IDC_EMAIL)) {
    ::GetWindowTextW(emailField, email, EmailBufferLength);
  }
  const ConsentAnswer answer =
      MakeAnswer(IsChecked(IDC_PARTICIPATE), email, IsChecked(IDC_SILENCE));
  if (settings_ != nullptr) {
    settings_->SetConsentState(answer.state);
    settings_->SetEmail(answer.email);
    settings_->SetShowMessage(answer.showsMessage);
  }
  EndDialog(IDOK);
}

void PeltoDialog::OnRemindLater() {
  EndDialog(0);
  if (settings_ != nullptr) settings_->SetConsentState(RemindLaterState);
}

void PeltoDialog::OnPaint() {
  if (!IsIconic()) {
    CDialogEx::OnPaint();
    return;
  }
  const CPaintDC dc(this);
  SendMessage(WM_ICONERASEBKGND, reinterpret_cast<WPARAM>(HDC{dc}));
  RECT area;
  GetClientRect(m_hWnd, &area);
  const int left = (area.right - area.left - GetSystemMetrics(SM_CXICON) + 1) / 2;
  const int top = (area.bottom - area.top - GetSystemMetrics(SM_CYICON) + 1) / 2;
  DrawIcon(dc, left, top, icon_);
}

HCURSOR PeltoDialog::OnQueryDragIcon() {
  return CDialogEx::OnQueryDragIcon();
}

void PeltoDialog::OnTimer(UINT_PTR timer) {
  if (timer != FadeTimer) {
    CDialogEx::OnTimer(timer);
    return;
  }
  opacity_ = ComputeNextOpacity(opacity_);
  if (opacity_ == FullOpacity) KillTimer(m_hWnd, FadeTimer);
  if (layered_.setAttributes != nullptr) ApplyOpacity();
}

LRESULT PeltoDialog::OnNcHitTest(CPoint) {
  // There is no caption, so the whole surface drags the window (docs/compatibility.md, 55).
  return HTCAPTION;
}

BOOL PeltoDialog::OnEraseBkgnd(CDC* dc) {
  CDC memory;
  memory.CreateCompatibleDC(nullptr /* the screen */);
  BITMAP picture = {};
  GetObjectW(background_, sizeof picture, &picture);
  SelectObject(memory, background_);
  BitBlt(*dc, 0, 0, picture.bmWidth, picture.bmHeight, memory, 0, 0, SRCCOPY);
  return FALSE;
}

HBRUSH PeltoDialog::OnCtlColor(CDC* dc, CWnd*, UINT) {
  SetBkMode(*dc, TRANSPARENT);
  return static_cast<HBRUSH>(GetStockObject(WHITE_BRUSH));
}

void PeltoDialog::ApplyOpacity() const {
  layered_.setAttributes(m_hWnd, 0 /* no color key */, static_cast<BYTE>(opacity_), LWA_ALPHA);
}

bool PeltoDialog::IsChecked(int control) const {
  const HWND button = GetDlgItem(m_hWnd, control);
  return button != nullptr && ::SendMessageW(button, BM_GETCHECK, 0, 0) == BST_CHECKED;
}

void PeltoDialog::Check(int control, bool checked) const {
  const HWND button = GetDlgItem(m_hWnd, control);
  if (button == nullptr) return;
  ::SendMessageW(button, BM_SETCHECK, checked ? BST_CHECKED : BST_UNCHECKED, 0);
}
