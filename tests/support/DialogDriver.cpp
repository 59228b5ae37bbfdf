#include "tests/support/DialogDriver.h"

#include <map>

#include "tests/support/Deadline.h"

namespace {

constexpr UINT TickMilliseconds = 10;
constexpr ULONGLONG LimitMilliseconds = 20'000;
constexpr int NeverEnded = -20'000;

/// Drives one dialog by a timer of the thread, whose messages every message loop dispatches.
class DialogDriver {
 public:
  DialogDriver(CDialogEx& dialog, std::vector<DialogStep> steps)
      : dialog_(dialog),
        steps_(std::move(steps)),
        timer_(SetTimer(nullptr, 0 /* the system picks one */, TickMilliseconds, &Tick)) {
    EXPECT_NE(timer_, 0U) << "no timer: " << GetLastError();
    Drivers()[timer_] = this;
  }
  ~DialogDriver() {
    KillTimer(nullptr, timer_);
    Drivers().erase(timer_);
  }
  DialogDriver(const DialogDriver&) = delete;
  DialogDriver& operator=(const DialogDriver&) = delete;

  size_t StepsLeft() const { return steps_.size() - done_; }

 private:
  /// By timer, because a step may run another dialog.
  static std::map<UINT_PTR, DialogDriver*>& Drivers() {
    static std::map<UINT_PTR, DialogDriver*> drivers;
    return drivers;
  }

  static void CALLBACK Tick(HWND, UINT, UINT_PTR timer, DWORD) {
    // A tick may still be in the queue after its driver's destruction.
    const auto found = Drivers().find(timer);
    if (found != Drivers().end()) found->second->DoNext();
  }

  void DoNext() {
    if (GetTickCount64() - started_ > LimitMilliseconds) {
      if (!ended_) ADD_FAILURE() << "the dialog did not end; steps left: " << StepsLeft();
      ended_ = true;
      dialog_.EndDialog(NeverEnded);
      return;
    }
    // A step may run a message loop of its own.
    if (busy_ || StepsLeft() == 0 || !IsWindowVisible(dialog_.m_hWnd)) return;
    busy_ = true;
    steps_[done_++](dialog_.m_hWnd);
    busy_ = false;
  }

  CDialogEx& dialog_;
  std::vector<DialogStep> steps_;
  size_t done_ = 0;
  bool busy_ = false;
  bool ended_ = false;
  ULONGLONG started_ = GetTickCount64();
  UINT_PTR timer_;
};

}  // namespace

INT_PTR RunModalSteps(CDialogEx& dialog, std::vector<DialogStep> steps) {
  const Deadline deadline;
  const DialogDriver driver(dialog, std::move(steps));
  const INT_PTR result = dialog.DoModal();
  EXPECT_EQ(driver.StepsLeft(), 0U) << "the dialog ended too early, with " << result;
  return result;
}

void Click(HWND window, int id) {
  const HWND button = GetDlgItem(window, id);
  EXPECT_NE(button, nullptr) << "no button " << id;
  SendMessageW(button, BM_CLICK, 0, 0);
}

void PressKey(HWND window, WPARAM key) {
  const HWND focus = GetFocus();
  const HWND target = focus != nullptr && IsChild(window, focus) ? focus : window;
  EXPECT_TRUE(PostMessageW(target, WM_KEYDOWN, key, 0)) << GetLastError();
  EXPECT_TRUE(PostMessageW(target, WM_KEYUP, key, 0)) << GetLastError();
}

std::wstring GetText(HWND window) {
  std::wstring text(static_cast<size_t>(GetWindowTextLengthW(window)), L'\0');
  GetWindowTextW(window, text.data(), static_cast<int>(text.size() + 1));
  return text;
}

std::wstring GetText(HWND window, int id) {
  return GetText(GetDlgItem(window, id));
}
