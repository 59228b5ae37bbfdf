#pragma once

#include <cstddef>
#include <span>

/// The source of a log's bytes: a file in the program, memory in a test.
class CByteSource {
 public:
  virtual ~CByteSource() = default;
  /// Fills `buffer` from its start and returns how many bytes it put there. 0 means that there are
  /// no more, or that they cannot be read; both end the log (docs/compatibility.md, 24).
  virtual std::size_t Read(std::span<char> buffer) = 0;
};
