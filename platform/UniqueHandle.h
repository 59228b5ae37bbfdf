#pragma once

#include <utility>

/// Move-only owner of one handle. `Traits` gives the handle's type, its "none" value and `Close`.
template <typename Traits>
class CUniqueHandle {
 public:
  using Handle = typename Traits::Handle;

  CUniqueHandle() = default;
  explicit CUniqueHandle(Handle handle) : handle_(handle) {}
  CUniqueHandle(CUniqueHandle&& other) noexcept : handle_(other.Release()) {}
  CUniqueHandle& operator=(CUniqueHandle&& other) noexcept {
    Reset(other.Release());
    return *this;
  }
  CUniqueHandle(const CUniqueHandle&) = delete;
  CUniqueHandle& operator=(const CUniqueHandle&) = delete;
  ~CUniqueHandle() { Reset(); }

  Handle Get() const { return handle_; }
  explicit operator bool() const { return handle_ != Traits::GetInvalid(); }
  Handle Release() { return std::exchange(handle_, Traits::GetInvalid()); }
  void Reset(Handle handle = Traits::GetInvalid()) {
    if (handle_ != Traits::GetInvalid()) Traits::Close(handle_);
    handle_ = handle;
  }

 private:
  Handle handle_ = Traits::GetInvalid();
};
