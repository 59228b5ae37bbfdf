#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

/// Finds the marks of a log's bytes: the line feeds, the NUL bytes and the bytes 0x1A. A reader of
/// lines need not look at any other byte.
///
/// The bytes are searched in blocks of 64, and all marks of a block are found at once.
class CMarkFinder {
 public:
  /// Begins anew with the bytes [from, to), which must stay as they are while they are searched.
  void Start(const char* from, const char* to) {
    next_ = from;
    to_ = to;
    marks_ = 0;
  }

  /// The first mark that was not returned yet. `to` when there is none, also when asked again.
  const char* Next() {
    while (marks_ == 0) {
      if (next_ == to_) return to_;
      TakeBlock();
    }
    const char* const mark = block_ + std::countr_zero(marks_);
    marks_ &= marks_ - 1;  // clears the lowest bit
    return mark;
  }

 private:
  void TakeBlock();

  /// Bit i is set if block_[i] is a mark that was not returned yet. Every mark before the block was
  /// returned.
  std::uint64_t marks_ = 0;
  const char* block_ = nullptr;
  /// The block's end, where the next one begins.
  const char* next_ = nullptr;
  const char* to_ = nullptr;
};
