// A window of the test's own, and what it leaves.
#pragma once

#include <map>
#include <vector>

#include "platform/WindowsHeader.h"

/// A pop-up window, not shown at first, whose procedure writes down every message that it gets.
class PlainWindow {
 public:
  struct Message {
    UINT message;
    WPARAM first;
    LPARAM second;
    bool operator==(const Message&) const = default;
  };

  explicit PlainWindow(HWND owner = nullptr, const RECT& place = {0, 0, 100, 50});
  /// Destroys the window when that is still there.
  ~PlainWindow();
  PlainWindow(const PlainWindow&) = delete;
  PlainWindow& operator=(const PlainWindow&) = delete;

  operator HWND() const { return window_; }
  RECT Place() const;
  /// What the procedure got of the kind `message`.
  std::vector<Message> Received(UINT message) const;
  void Forget() { received_.clear(); }

  /// The procedure's result per message; the system's default processing does the others.
  std::map<UINT, LRESULT> answers;

 private:
  static LRESULT CALLBACK Procedure(HWND, UINT, WPARAM, LPARAM);

  std::vector<Message> received_;
  HWND window_ = nullptr;
};

/// The windows without a parent that the thread has, hidden ones included.
size_t ThreadWindowCount();
/// The GDI objects that the process has, deleted ones not.
size_t GdiObjectCount();
/// Handles the messages that stand in the queue.
void DispatchWaitingMessages();
