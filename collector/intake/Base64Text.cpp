#include "collector/intake/Base64Text.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace pelto::collector {

// libsodium's decoder is as strict, but takes a time that does not depend on the text, and that is
// several times as long.

namespace {

constexpr std::string_view alphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::uint32_t not_in_alphabet = 0x80000000;
constexpr std::size_t text_group = 4;
constexpr std::size_t byte_group = 3;

constexpr std::array<std::uint32_t, 256> values = [] {
  std::array<std::uint32_t, 256> table{};
  table.fill(not_in_alphabet);
  for (std::size_t i = 0; i < alphabet.size(); ++i) {
    table[static_cast<unsigned char>(alphabet[i])] = static_cast<std::uint32_t>(i);
  }
  return table;
}();

/// The 24 bits of four characters, and more if one of them is not in the alphabet.
std::uint32_t read_group(const char* group) {
  const auto value = [group](std::size_t at) {
    return values[static_cast<unsigned char>(group[at])];
  };
  const std::uint32_t all = value(0) | value(1) | value(2) | value(3);
  return (all & not_in_alphabet) | value(0) << 18U | value(1) << 12U | value(2) << 6U | value(3);
}

}  // namespace

std::optional<std::string> decode_base64(std::string_view text) {
  if (text.size() % text_group != 0) return std::nullopt;
  std::size_t padding = 0;
  while (padding < 2 && padding < text.size() && text[text.size() - 1 - padding] == '=') ++padding;

  std::string bytes(text.size() / text_group * byte_group, '\0');
  char* out = bytes.data();
  const auto write_group = [&out](std::uint32_t bits) {
    *out++ = static_cast<char>(bits >> 16U & 0xFFU);
    *out++ = static_cast<char>(bits >> 8U & 0xFFU);
    *out++ = static_cast<char>(bits & 0xFFU);
  };
  const std::size_t whole = text.size() - (padding > 0 ? text_group : 0);
  std::uint32_t seen = 0;
  for (std::size_t at = 0; at < whole; at += text_group) {
    const std::uint32_t bits = read_group(text.data() + at);
    seen |= bits;
    write_group(bits);
  }
  if (padding > 0) {
    std::string last(text.substr(whole, text_group - padding));
    last.append(padding, alphabet.front());
    const std::uint32_t bits = read_group(last.data());
    const std::uint32_t left_over = padding == 1 ? 0xFFU : 0xFFFFU;
    if ((bits & left_over) != 0) return std::nullopt;
    seen |= bits;
    write_group(bits);
    bytes.resize(bytes.size() - padding);
  }
  if ((seen & not_in_alphabet) != 0) return std::nullopt;
  return bytes;
}

}  // namespace pelto::collector
