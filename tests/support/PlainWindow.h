// A window of the test's own, and what is left of windows.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <vector>

#include "framework/afxwin.h"

/// A hidden pop-up window whose procedure records every message.
class PlainWindow {
 public:
  struct Message {
    UINT message;
    WPARAM first;
    LPARAM second;
    bool operator==(const Message&) const = default;
  };

  explicit PlainWindow(HWND owner = nullptr, const RECT& place = {0, 0, 100, 50});
  /// Destroys the window if it still exists.
  ~PlainWindow();
  PlainWindow(const PlainWindow&) = delete;
  PlainWindow& operator=(const PlainWindow&) = delete;

  operator HWND() const { return window_; }
  RECT GetPlace() const;
  /// The recorded messages of one kind.
  std::vector<Message> GetReceived(UINT message) const;
  void Forget() { received_.clear(); }

  /// The procedure's result for some messages. The others get the system's default processing.
  std::map<UINT, LRESULT> results;

 private:
  static LRESULT CALLBACK Procedure(HWND, UINT, WPARAM, LPARAM);

  std::vector<Message> received_;
  HWND window_ = nullptr;
};

/// An object of a window class whose handlers a test sets.
template <class Base = CWnd>
class ScriptedWindow : public Base {
 public:
  /// By message. A handler returns the message's result. The others go the way of `Base`.
  std::map<UINT, std::function<LRESULT(WPARAM first, LPARAM second)>> handlers;
  std::function<void()> onPreSubclass;

  using Base::Default;

 protected:
  void PreSubclassWindow() override {
    if (onPreSubclass) onPreSubclass();
    Base::PreSubclassWindow();
  }
  LRESULT WindowProc(UINT message, WPARAM first, LPARAM second) override {
    const auto handler = handlers.find(message);
    if (handler != handlers.end()) return handler->second(first, second);
    return Base::WindowProc(message, first, second);
  }
};

/// An object of a window class, attached to a window of the test's own.
template <class Window = CWnd>
struct Attached {
  explicit Attached(HWND owner = nullptr, const RECT& place = {0, 0, 100, 50})
      : plain(owner, place) {
    EXPECT_TRUE(window.SubclassWindow(plain));
  }

  PlainWindow plain;
  Window window;
};

/// The number of the thread's windows without a parent, hidden ones included.
size_t CountThreadWindows();
/// The number of the process's GDI objects of one kind, as `GetObjectType` names it, or of all.
size_t CountGdiObjects(DWORD kind = 0);
/// Dispatches the messages in the queue.
void DispatchWaitingMessages();
/// Dispatches messages until `done` returns true. Returns false if it does not within 15 s.
bool DispatchUntil(const std::function<bool()>& done);
