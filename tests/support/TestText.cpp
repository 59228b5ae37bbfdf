#include "tests/support/TestText.h"

#include <algorithm>

std::size_t MemorySource::Read(std::span<char> buffer) {
  const std::size_t count = std::min({buffer.size(), piece_, bytes_.size() - position_});
  std::copy_n(bytes_.data() + position_, count, buffer.data());
  position_ += count;
  return count;
}

std::string Prefix(std::size_t count) {
  return std::string("2024-03-05 14:07:09.12 (more)").substr(0, count);
}
