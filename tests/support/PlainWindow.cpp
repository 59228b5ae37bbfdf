#include "tests/support/PlainWindow.h"

namespace {

constexpr wchar_t ClassName[] = L"PlainWindow";

}  // namespace

PlainWindow::PlainWindow(HWND owner, const RECT& place) {
  WNDCLASSW kind = {};
  kind.lpfnWndProc = &Procedure;
  kind.hInstance = GetModuleHandleW(nullptr);
  kind.lpszClassName = ClassName;
  // Fails when an earlier window has registered the class.
  RegisterClassW(&kind);
  CreateWindowExW(0, ClassName, L"", WS_POPUP, place.left, place.top, place.right - place.left,
                  place.bottom - place.top, owner, nullptr /* no menu */, kind.hInstance, this);
  EXPECT_NE(window_, nullptr) << "no window: " << GetLastError();
  Forget();
}

PlainWindow::~PlainWindow() {
  if (IsWindow(window_)) DestroyWindow(window_);
}

RECT PlainWindow::GetPlace() const {
  RECT place = {};
  GetWindowRect(window_, &place);
  return place;
}

std::vector<PlainWindow::Message> PlainWindow::GetReceived(UINT message) const {
  std::vector<Message> found;
  for (const Message& one : received_) {
    if (one.message == message) found.push_back(one);
  }
  return found;
}

LRESULT CALLBACK PlainWindow::Procedure(HWND handle, UINT message, WPARAM first, LPARAM second) {
  if (message == WM_NCCREATE) {
    void* const object = reinterpret_cast<CREATESTRUCTW*>(second)->lpCreateParams;
    SetWindowLongPtrW(handle, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(object));
    static_cast<PlainWindow*>(object)->window_ = handle;
  }
  auto* const window = reinterpret_cast<PlainWindow*>(GetWindowLongPtrW(handle, GWLP_USERDATA));
  if (window != nullptr) {
    window->received_.push_back({message, first, second});
    const auto result = window->results.find(message);
    if (result != window->results.end()) return result->second;
  }
  return DefWindowProcW(handle, message, first, second);
}

size_t CountThreadWindows() {
  size_t count = 0;
  EnumThreadWindows(
      GetCurrentThreadId(),
      [](HWND, LPARAM counter) -> BOOL {
        ++*reinterpret_cast<size_t*>(counter);
        return TRUE;
      },
      reinterpret_cast<LPARAM>(&count));
  return count;
}

size_t CountGdiObjects(DWORD kind) {
  // GetGuiResources does not count under Wine. The low half of a handle is the object's place in
  // the process's table.
  size_t count = 0;
  for (ULONG_PTR place = 1; place <= 0xFFFF; ++place) {
    const DWORD found = GetObjectType(reinterpret_cast<HGDIOBJ>(place));
    if (found != 0 && (kind == 0 || found == kind)) ++count;
  }
  return count;
}

void DispatchWaitingMessages() {
  MSG message;
  while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
    TranslateMessage(&message);
    DispatchMessageW(&message);
  }
}

bool DispatchUntil(const std::function<bool()>& done) {
  const ULONGLONG start = GetTickCount64();
  while (!done()) {
    if (GetTickCount64() - start > 15'000) return false;
    DispatchWaitingMessages();
    Sleep(1);
  }
  return true;
}
