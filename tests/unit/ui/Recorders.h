// What the tested code asks of the system, written down.
#pragma once

#include <shellapi.h>

#include <string>
#include <vector>

#include "platform/WindowsHeader.h"
#include "tests/support/ReplacedImport.h"

/// The program's own entries of the calls in its table of imports.
extern "C" void* __imp_ShellExecuteW;
extern "C" void* __imp_SetTimer;

/// Notes what this program asks the shell to open, and opens nothing.
class ShellRecorder {
 public:
  struct Opening {
    HWND window;
    std::wstring verb;
    std::wstring address;
    bool withoutMore;
    int show;
  };

  ShellRecorder() { openings.clear(); }

  inline static std::vector<Opening> openings;

 private:
  static HINSTANCE WINAPI Record(HWND window, LPCWSTR verb, LPCWSTR file, LPCWSTR parameters,
                                 LPCWSTR folder, INT show) {
    openings.push_back({window, verb, file, parameters == nullptr && folder == nullptr, show});
    // As if nobody could open it.
    return reinterpret_cast<HINSTANCE>(SE_ERR_NOASSOC);
  }

  ReplacedImport shellExecute_{__imp_ShellExecuteW, reinterpret_cast<void*>(&Record)};
};

/// Notes the timers that this program sets.
class TimerRecorder {
 public:
  struct Timer {
    HWND window;
    UINT_PTR id;
    UINT period;
    /// When the call was made, in milliseconds.
    ULONGLONG time;
  };

  TimerRecorder() {
    timers.clear();
    original = reinterpret_cast<decltype(original)>(setTimer_.GetOriginal());
  }

  /// The timers of one number, in order.
  static std::vector<Timer> Of(UINT_PTR id) {
    std::vector<Timer> found;
    for (const Timer& timer : timers) {
      if (timer.id == id) found.push_back(timer);
    }
    return found;
  }

 private:
  static UINT_PTR WINAPI Record(HWND window, UINT_PTR id, UINT period, TIMERPROC procedure) {
    timers.push_back({window, id, period, GetTickCount64()});
    return original(window, id, period, procedure);
  }

  inline static std::vector<Timer> timers;
  inline static decltype(&SetTimer) original = nullptr;
  ReplacedImport setTimer_{__imp_SetTimer, reinterpret_cast<void*>(&Record)};
};
