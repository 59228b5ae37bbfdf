#include "collector/access/Token.h"

#include <sodium.h>

#include "collector/access/Sodium.h"

namespace pelto::collector {

namespace {

constexpr std::size_t token_bytes = 32;
constexpr int token_form = sodium_base64_VARIANT_URLSAFE_NO_PADDING;

}  // namespace

std::string make_token() {
  prepare_sodium();
  std::array<unsigned char, token_bytes> bytes{};
  randombytes_buf(bytes.data(), bytes.size());
  std::string token(sodium_base64_ENCODED_LEN(token_bytes, token_form), '\0');
  sodium_bin2base64(token.data(), token.size(), bytes.data(), bytes.size(), token_form);
  token.pop_back();
  return token;
}

TokenHash hash_token(std::string_view token) {
  prepare_sodium();
  TokenHash hash{};
  crypto_generichash(hash.data(), hash.size(), reinterpret_cast<const unsigned char*>(token.data()),
                     token.size(), nullptr, 0);
  return hash;
}

bool are_equal(const TokenHash& left, const TokenHash& right) {
  return sodium_memcmp(left.data(), right.data(), left.size()) == 0;
}

}  // namespace pelto::collector
