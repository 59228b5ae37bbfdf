#include "collector/fleet/Random.h"

#include <cstddef>

namespace pelto::collector {

namespace {

/// The step of SplitMix64: every bit of the result depends on every bit of `value`.
std::uint64_t mix(std::uint64_t value) {
  value += 0x9E3779B97F4A7C15U;
  value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9U;
  value = (value ^ (value >> 27)) * 0x94D049BB133111EBU;
  return value ^ (value >> 31);
}

std::uint64_t mix_all(std::initializer_list<std::uint64_t> keys) {
  std::uint64_t seed = 0;
  for (const std::uint64_t key : keys) seed = mix(seed ^ mix(key));
  return seed;
}

}  // namespace

Random::Random(std::initializer_list<std::uint64_t> keys) : engine_(mix_all(keys)) {}

std::int64_t Random::below(std::int64_t limit) {
  if (limit <= 0) return 0;
  // The remainder favors small numbers by less than one in 2^40 for the limits that occur here.
  return static_cast<std::int64_t>(engine_() % static_cast<std::uint64_t>(limit));
}

std::int64_t Random::between(std::int64_t first, std::int64_t last) {
  return first + below(last - first + 1);
}

bool Random::is_one_of_1000(int count) {
  return below(1000) < count;
}

std::string Random::guid() {
  constexpr char digits[] = "0123456789abcdef";
  std::string text(36, '-');
  std::uint64_t bits = 0;
  int left = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (i == 8 || i == 13 || i == 18 || i == 23) continue;
    if (left == 0) {
      bits = engine_();
      left = 16;
    }
    std::size_t digit = bits & 0xFU;
    if (i == 14) digit = 4;
    if (i == 19) digit = 8 + (digit & 3U);
    text[i] = digits[digit];
    bits >>= 4;
    --left;
  }
  return text;
}

}  // namespace pelto::collector
