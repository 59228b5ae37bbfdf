#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

#include "usage/ByteSource.h"

/// A log's bytes in memory, read at most `piece` at a time.
class MemorySource : public CByteSource {
 public:
  explicit MemorySource(std::string bytes, std::size_t piece = std::string::npos)
      : bytes_(std::move(bytes)), piece_(piece) {}

  std::size_t Read(std::span<char> buffer) override;

 private:
  std::string bytes_;
  std::size_t piece_;
  std::size_t position_ = 0;
};

/// The first `count` characters of a log line, whose prefix has 23.
std::string Prefix(std::size_t count = 23);
