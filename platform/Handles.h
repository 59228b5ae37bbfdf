// Owners of the system's handles. A kind of handle is a type of its own: their "none" values and
// their closing calls differ, and must not be mixed.
#pragma once

#include "platform/WindowsHeader.h"

#include <utility>

/// Move-only owner of one handle. `Traits` gives the handle's type, its "none" value and `Close`.
template <typename Traits>
class UniqueHandle {
 public:
  using Handle = typename Traits::Handle;

  UniqueHandle() = default;
  explicit UniqueHandle(Handle handle) : handle_(handle) {}
  UniqueHandle(UniqueHandle&& other) noexcept : handle_(other.Release()) {}
  UniqueHandle& operator=(UniqueHandle&& other) noexcept {
    Reset(other.Release());
    return *this;
  }
  UniqueHandle(const UniqueHandle&) = delete;
  UniqueHandle& operator=(const UniqueHandle&) = delete;
  ~UniqueHandle() { Reset(); }

  Handle Get() const { return handle_; }
  explicit operator bool() const { return handle_ != Traits::None(); }
  Handle Release() { return std::exchange(handle_, Traits::None()); }
  void Reset(Handle handle = Traits::None()) {
    if (handle_ != Traits::None()) Traits::Close(handle_);
    handle_ = handle;
  }

 private:
  Handle handle_ = Traits::None();
};

/// What `CreateFileW` gives.
struct FileHandleTraits {
  using Handle = HANDLE;
  static Handle None() { return INVALID_HANDLE_VALUE; }
  static void Close(Handle handle) { CloseHandle(handle); }
};

/// What `FindFirstFileW` gives.
struct FindHandleTraits {
  using Handle = HANDLE;
  static Handle None() { return INVALID_HANDLE_VALUE; }
  static void Close(Handle handle) { FindClose(handle); }
};

/// What `LoadLibraryW` gives.
struct LibraryTraits {
  using Handle = HMODULE;
  static Handle None() { return nullptr; }
  static void Close(Handle handle) { FreeLibrary(handle); }
};

using FileHandle = UniqueHandle<FileHandleTraits>;
using FindHandle = UniqueHandle<FindHandleTraits>;
using LibraryHandle = UniqueHandle<LibraryTraits>;
