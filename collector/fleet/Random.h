#pragma once

#include <cstdint>
#include <initializer_list>
#include <random>
#include <string>

namespace pelto::collector {

/// Random numbers that are the same for the same keys on every machine. The standard library's
/// engine is defined to the bit; its distributions are not, so none of them is used.
class Random {
 public:
  /// The keys are mixed: neighbors such as {7, 1} and {7, 2} begin unrelated sequences.
  explicit Random(std::initializer_list<std::uint64_t> keys);

  /// From 0 to `limit` - 1; 0 if `limit` is 0.
  std::int64_t below(std::int64_t limit);
  /// From `first` to `last`, both included.
  std::int64_t between(std::int64_t first, std::int64_t last);
  /// True in `count` of 1000 cases.
  bool is_one_of_1000(int count);
  /// A GUID of version 4 (RFC 9562) in small letters.
  std::string guid();

 private:
  std::mt19937_64 engine_;
};

}  // namespace pelto::collector
