#include "usage/MarkFinder.h"

// Visual C++ has SSE2 on every 64-bit target and does not define the other name.
#if defined(__SSE2__) || defined(_M_X64)
#define PELTO_HAS_SSE2
#include <emmintrin.h>
#endif

#include "usage/LogBytes.h"

namespace {

constexpr std::ptrdiff_t BlockSize = 64;

/// The marks among the first `size` of at most 64 bytes: bit i is set if bytes[i] is one.
std::uint64_t FindMarksOneByOne(const char* bytes, std::ptrdiff_t size) {
  std::uint64_t marks = 0;
  for (std::ptrdiff_t i = 0; i < size; ++i) marks |= std::uint64_t{IsMark(bytes[i])} << i;
  return marks;
}

#ifdef PELTO_HAS_SSE2
/// The marks among 16 bytes.
std::uint64_t FindMarksOf16(const char* bytes) {
  const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
  const __m128i marks = _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(block, _mm_set1_epi8(LineFeed)),
                                                  _mm_cmpeq_epi8(block, _mm_set1_epi8(Nul))),
                                     _mm_cmpeq_epi8(block, _mm_set1_epi8(Substitute)));
  return static_cast<unsigned>(_mm_movemask_epi8(marks));
}

std::uint64_t FindMarks(const char* bytes) {
  return FindMarksOf16(bytes) | FindMarksOf16(bytes + 16) << 16 | FindMarksOf16(bytes + 32) << 32 |
         FindMarksOf16(bytes + 48) << 48;
}
#else
std::uint64_t FindMarks(const char* bytes) {
  return FindMarksOneByOne(bytes, BlockSize);
}
#endif

}  // namespace

void CMarkFinder::TakeBlock() {
  block_ = next_;
  if (to_ - block_ >= BlockSize) {
    marks_ = FindMarks(block_);
    next_ = block_ + BlockSize;
  } else {
    // Nothing after the last byte may be read.
    marks_ = FindMarksOneByOne(block_, to_ - block_);
    next_ = to_;
  }
}
