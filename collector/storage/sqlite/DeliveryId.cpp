#include "collector/storage/sqlite/DeliveryId.h"

#include <cstddef>
#include <string_view>

#include "collector/report/Guid.h"

namespace pelto::collector {

namespace {

constexpr std::string_view digits = "0123456789abcdef";

std::string pack(const std::string& guid) {
  std::string bytes;
  for (std::size_t i = 0; i < guid.size();) {
    if (guid[i] == '-') {
      ++i;
      continue;
    }
    bytes.push_back(static_cast<char>(digits.find(guid[i]) << 4U | digits.find(guid[i + 1])));
    i += 2;
  }
  return bytes;
}

std::string unpack(std::string_view bytes) {
  std::string guid;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) guid += '-';
    const auto byte = static_cast<unsigned char>(bytes[i]);
    guid += digits[byte >> 4U];
    guid += digits[byte & 0xFU];
  }
  return guid;
}

}  // namespace

DeliveryId::DeliveryId(const std::string& text)
    : is_guid_(normalize_guid(text) == text), bytes_(is_guid_ ? pack(text) : text) {}

void DeliveryId::bind_to(SQLite::Statement& statement, int index) const {
  if (is_guid_) {
    statement.bindNoCopy(index, bytes_.data(), static_cast<int>(bytes_.size()));
  } else {
    statement.bindNoCopy(index, bytes_);
  }
}

std::string DeliveryId::read(const SQLite::Column& column) {
  if (column.isText()) return column.getString();
  return unpack(
      {static_cast<const char*>(column.getBlob()), static_cast<std::size_t>(column.getBytes())});
}

}  // namespace pelto::collector
