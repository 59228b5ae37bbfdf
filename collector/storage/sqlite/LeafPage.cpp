#include "collector/storage/sqlite/LeafPage.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace pelto::collector {

namespace {

constexpr unsigned char table_leaf = 13;
constexpr std::size_t header_size = 8;
constexpr std::size_t longest_varint = 9;

class PageReader {
 public:
  explicit PageReader(const std::string& page) : page_(page) {}

  std::size_t byte(std::size_t place) const {
    return place < page_.size() ? static_cast<unsigned char>(page_[place]) : 0;
  }

  std::size_t number(std::size_t place) const { return byte(place) << 8U | byte(place + 1); }

  /// Moves `place` past the number.
  std::uint64_t varint(std::size_t& place) const {
    std::uint64_t value = 0;
    for (std::size_t i = 1; i <= longest_varint; ++i) {
      const std::size_t next = byte(place++);
      if (i == longest_varint) return value << 8U | next;
      value = value << 7U | (next & 0x7FU);
      if (next < 0x80U) break;
    }
    return value;
  }

  /// How many bytes of a row's content are in the page; the others are in pages of their own.
  std::size_t size_here(std::uint64_t size) const {
    const std::uint64_t usable = page_.size();
    const std::uint64_t most = usable - 35;
    if (size <= most) return size;
    const std::uint64_t least = (usable - 12) * 32 / 255 - 23;
    const std::uint64_t part = least + (size - least) % (usable - 4);
    return part <= most ? part : least;
  }

 private:
  const std::string& page_;
};

}  // namespace

void blank_rows(std::string& page) {
  // The rows' places are read from the page as it was.
  const std::string original = page;
  const PageReader reader(original);
  if (reader.byte(0) != table_leaf) return;
  const std::size_t rows = std::min(reader.number(3), (page.size() - header_size) / 2);
  for (std::size_t row = 0; row < rows; ++row) {
    std::size_t place = reader.number(header_size + 2 * row);
    const std::size_t begin = place;
    const std::uint64_t size = reader.varint(place);
    reader.varint(place);
    const std::size_t end = place + reader.size_here(size);
    if (begin < header_size || end > page.size()) continue;
    std::fill(page.begin() + static_cast<std::ptrdiff_t>(begin),
              page.begin() + static_cast<std::ptrdiff_t>(end), '\0');
  }
}

}  // namespace pelto::collector
