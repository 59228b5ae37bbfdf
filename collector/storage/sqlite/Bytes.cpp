#include "collector/storage/sqlite/Bytes.h"

#include "collector/storage/Storage.h"

namespace pelto::collector {

namespace {

[[noreturn]] void throw_damaged() {
  throw StorageError("a stored report is damaged; run check, and restore a backup");
}

}  // namespace

void ByteWriter::number(std::uint64_t value) {
  while (value >= 0x80) {
    bytes_.push_back(static_cast<char>(value | 0x80));
    value >>= 7;
  }
  bytes_.push_back(static_cast<char>(value));
}

void ByteWriter::signed_number(std::int64_t value) {
  const auto sign = static_cast<std::uint64_t>(value >> 63);
  number((static_cast<std::uint64_t>(value) << 1) ^ sign);
}

void ByteWriter::text(std::string_view value) {
  number(value.size());
  bytes_.append(value);
}

std::uint64_t ByteReader::number() {
  std::uint64_t value = 0;
  for (unsigned shift = 0; shift < 64; shift += 7) {
    if (bytes_.empty()) throw_damaged();
    const auto byte = static_cast<unsigned char>(bytes_.front());
    bytes_.remove_prefix(1);
    value |= std::uint64_t{byte & 0x7FU} << shift;
    const bool is_too_long = (shift > 0 && byte == 0) || (shift == 63 && byte > 1);
    if (is_too_long) throw_damaged();
    if (byte < 0x80) return value;
  }
  throw_damaged();
}

std::int64_t ByteReader::signed_number() {
  const std::uint64_t value = number();
  return static_cast<std::int64_t>((value >> 1) ^ (~(value & 1) + 1));
}

std::string_view ByteReader::text() {
  const std::uint64_t length = number();
  if (length > bytes_.size()) throw_damaged();
  const std::string_view value = bytes_.substr(0, length);
  bytes_.remove_prefix(length);
  return value;
}

}  // namespace pelto::collector
