#pragma once

#include <cstddef>

namespace pelto::collector {

/// A number of bytes that all requests share. Not safe for threads.
class Budget {
 public:
  explicit Budget(std::size_t limit) : limit_(limit) {}
  Budget(const Budget&) = delete;
  Budget& operator=(const Budget&) = delete;

  std::size_t used() const { return used_; }

 private:
  friend class BudgetShare;

  bool take(std::size_t bytes) {
    if (bytes > limit_ - used_) return false;
    used_ += bytes;
    return true;
  }
  void give_back(std::size_t bytes) { used_ -= bytes; }

  std::size_t limit_;
  std::size_t used_ = 0;
};

/// What one request has of a budget; given back at its end.
class BudgetShare {
 public:
  explicit BudgetShare(Budget& budget) : budget_(budget) {}
  ~BudgetShare() { budget_.give_back(size_); }
  BudgetShare(const BudgetShare&) = delete;
  BudgetShare& operator=(const BudgetShare&) = delete;

  /// Takes what is missing to `size` bytes. Returns whether the budget had that; nothing changes
  /// otherwise. The share does not shrink.
  bool grow_to(std::size_t size) {
    if (size <= size_) return true;
    if (!budget_.take(size - size_)) return false;
    size_ = size;
    return true;
  }

 private:
  Budget& budget_;
  std::size_t size_ = 0;
};

}  // namespace pelto::collector
