// Numbers and texts in as few bytes as is simple.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace pelto::collector {

/// Appends to a string of bytes.
class ByteWriter {
 public:
  /// Seven bits a byte, the lowest first; the highest bit says that more follow.
  void number(std::uint64_t value);
  /// Small numbers of either sign get few bytes.
  void signed_number(std::int64_t value);
  /// Its length, then its bytes.
  void text(std::string_view value);

  const std::string& bytes() const { return bytes_; }

 private:
  std::string bytes_;
};

/// Reads what `ByteWriter` wrote. Throws `StorageError` where the bytes are something else: a
/// number in more bytes than it needs, too.
class ByteReader {
 public:
  explicit ByteReader(std::string_view bytes) : bytes_(bytes) {}

  std::uint64_t number();
  std::int64_t signed_number();
  std::string_view text();
  std::string_view rest() const { return bytes_; }

 private:
  std::string_view bytes_;
};

}  // namespace pelto::collector
