#include "collector/access/Password.h"

#include <algorithm>
#include <new>

#include <sodium.h>

#include "collector/access/Sodium.h"

namespace pelto::collector {

bool is_acceptable_password(std::string_view password) {
  // Each character has one byte that does not continue another.
  const auto characters = std::ranges::count_if(
      password, [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) != 0x80U; });
  return static_cast<std::size_t>(characters) >= shortest_password;
}

std::string hash_password(std::string_view password) {
  prepare_sodium();
  std::string hash(crypto_pwhash_STRBYTES, '\0');
  if (crypto_pwhash_str(hash.data(), password.data(), password.size(),
                        crypto_pwhash_OPSLIMIT_INTERACTIVE,
                        crypto_pwhash_MEMLIMIT_INTERACTIVE) != 0) {
    throw std::bad_alloc();
  }
  hash.resize(hash.find('\0'));
  return hash;
}

bool is_password_right(std::string_view password, const std::string& hash) {
  prepare_sodium();
  return crypto_pwhash_str_verify(hash.c_str(), password.data(), password.size()) == 0;
}

}  // namespace pelto::collector
