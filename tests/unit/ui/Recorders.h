// Recorders of calls to the system.
#pragma once

#include <shellapi.h>

#include <functional>
#include <optional>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

#include "tests/support/ReplacedImport.h"

template <void*& Entry, typename Function, bool PassesOn = true>
class CallRecorder;

/// Records the arguments of the test program's calls to an imported function, until the end of the
/// scope. `Entry` is the program's pointer to the function, `__imp_NAME`. The calls are passed on
/// to the function, or else return 0.
template <void*& Entry, typename Result, typename... Arguments, bool PassesOn>
class CallRecorder<Entry, Result(Arguments...), PassesOn> {
  template <typename Argument>
  using Recorded =
      std::conditional_t<std::is_same_v<Argument, LPCWSTR>, std::optional<std::wstring>, Argument>;

 public:
  using Call = std::tuple<Recorded<Arguments>...>;

  CallRecorder() {
    calls.clear();
    onCall = nullptr;
    original = reinterpret_cast<decltype(original)>(replaced_.GetOriginal());
  }

  inline static std::vector<Call> calls;
  /// Called at each call, before it is passed on.
  inline static std::function<void()> onCall;

 private:
  template <typename Argument>
  static Recorded<Argument> Copy(Argument argument) {
    if constexpr (std::is_same_v<Argument, LPCWSTR>) {
      return argument != nullptr ? std::optional<std::wstring>(argument) : std::nullopt;
    } else {
      return argument;
    }
  }

  static Result WINAPI Record(Arguments... arguments) {
    calls.emplace_back(Copy(arguments)...);
    if (onCall) onCall();
    return PassesOn ? original(arguments...) : Result{};
  }

  inline static Result(WINAPI* original)(Arguments...) = nullptr;
  ReplacedImport replaced_{Entry, reinterpret_cast<void*>(&Record)};
};

extern "C" void* __imp_ShellExecuteW;

/// What would be opened; nothing is.
using ShellRecorder = CallRecorder<__imp_ShellExecuteW, decltype(ShellExecuteW), false>;
