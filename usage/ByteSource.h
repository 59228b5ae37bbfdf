#pragma once

#include <cstddef>
#include <span>

/// Where a log's bytes come from: a file in the program, memory in a test.
class CByteSource {
 public:
  virtual ~CByteSource() = default;
  /// Fills `buffer` from its start and answers how many bytes it put there. 0: there are no more,
  /// or they cannot be read; both end the log.
  virtual std::size_t Read(std::span<char> buffer) = 0;
};
