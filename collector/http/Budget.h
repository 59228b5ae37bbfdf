#pragma once

#include <algorithm>
#include <cstddef>

namespace pelto::collector {

/// A number of bytes that all requests share. The last eighth of it is for small bodies: large ones
/// that arrive slowly do not keep them out. Not safe for threads.
class Budget {
 public:
  static constexpr std::size_t largest_small_body = std::size_t{64} * 1024;

  /// A body of `largest_body` bytes alone always has what it needs, if `limit` is not less: the
  /// part for small ones is what remains then.
  Budget(std::size_t limit, std::size_t largest_body)
      : limit_(limit),
        limit_for_large_(std::max(limit - limit / 8, std::min(limit, largest_body))) {}
  Budget(const Budget&) = delete;
  Budget& operator=(const Budget&) = delete;

  std::size_t used() const { return used_; }

 private:
  friend class BudgetShare;

  bool take(std::size_t bytes, bool is_small) {
    const std::size_t limit = is_small ? limit_ : limit_for_large_;
    if (used_ > limit || bytes > limit - used_) return false;
    used_ += bytes;
    return true;
  }
  void give_back(std::size_t bytes) { used_ -= bytes; }

  std::size_t limit_;
  std::size_t limit_for_large_;
  std::size_t used_ = 0;
};

/// What one request has of a budget; given back at its end.
class BudgetShare {
 public:
  explicit BudgetShare(Budget& budget) : budget_(budget) {}
  ~BudgetShare() { budget_.give_back(size_); }
  BudgetShare(const BudgetShare&) = delete;
  BudgetShare& operator=(const BudgetShare&) = delete;

  /// Takes what is missing to `size` bytes of a body that can have up to `most`. Returns whether
  /// the budget had that; nothing changes otherwise. The share does not shrink.
  bool grow_to(std::size_t size, std::size_t most) {
    if (size <= size_) return true;
    if (!budget_.take(size - size_, most <= Budget::largest_small_body)) return false;
    size_ = size;
    return true;
  }

 private:
  Budget& budget_;
  std::size_t size_ = 0;
};

}  // namespace pelto::collector
