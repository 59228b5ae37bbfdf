#include "upload/Base64.h"

#include <array>
#include <cstring>

namespace {

constexpr char Alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr char Padding = '=';
/// Three bytes encode to four characters.
constexpr std::size_t GroupLength = 3;
constexpr std::size_t TextGroupLength = 4;

/// The two characters for each 12 bits: half as many look-ups as with one for each 6.
constexpr std::array<std::array<char, 2>, 4096> Pairs = [] {
  std::array<std::array<char, 2>, 4096> pairs{};
  for (std::size_t bits = 0; bits < pairs.size(); ++bits) {
    pairs[bits] = {Alphabet[bits >> 6], Alphabet[bits & 0x3F]};
  }
  return pairs;
}();

/// The four characters of three bytes.
void EncodeGroup(unsigned first, unsigned second, unsigned third, char* out) {
  std::memcpy(out, Pairs[first << 4 | second >> 4].data(), 2);
  std::memcpy(out + 2, Pairs[(second & 0x0F) << 8 | third].data(), 2);
}

std::string EncodeLine(std::string_view bytes) {
  const auto byte = [bytes](std::size_t at) -> unsigned {
    return static_cast<unsigned char>(bytes[at]);
  };
  std::string text;
  text.reserve((bytes.size() + GroupLength - 1) / GroupLength * TextGroupLength);
  // In pieces that fit into the cache, so that a large text is written to memory once.
  std::array<char, 1024 * TextGroupLength> piece;
  std::size_t filled = 0;
  std::size_t at = 0;
  for (; at + GroupLength <= bytes.size(); at += GroupLength) {
    EncodeGroup(byte(at), byte(at + 1), byte(at + 2), piece.data() + filled);
    filled += TextGroupLength;
    if (filled == piece.size()) {
      text.append(piece.data(), filled);
      filled = 0;
    }
  }
  text.append(piece.data(), filled);
  if (const std::size_t rest = bytes.size() - at; rest > 0) {
    EncodeGroup(byte(at), rest == 2 ? byte(at + 1) : 0, 0, piece.data());
    text.append(piece.data(), rest + 1);
    text.append(GroupLength - rest, Padding);
  }
  return text;
}

}  // namespace

std::string Base64Encode(std::string_view bytes, std::size_t lineLength, char separator) {
  std::string line = EncodeLine(bytes);
  if (lineLength == 0) return line;
  std::string lines;
  std::size_t count = 0;
  for (const char character : line) {
    lines += character;
    if (character != Padding && ++count % lineLength == 0) lines += separator;
  }
  return lines;
}
