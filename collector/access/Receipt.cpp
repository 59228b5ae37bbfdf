#include "collector/access/Receipt.h"

#include <array>
#include <cstddef>
#include <optional>

#include <sodium.h>
#include <nlohmann/json.hpp>

#include "collector/access/Sodium.h"
#include "collector/storage/AddressCase.h"

namespace pelto::collector {

namespace {

using nlohmann::ordered_json;

using Signature = std::array<unsigned char, crypto_sign_BYTES>;

const unsigned char* bytes_of(std::string_view text) {
  return reinterpret_cast<const unsigned char*>(text.data());
}

std::string in_hexadecimal(const unsigned char* bytes, std::size_t size) {
  std::string text(2 * size + 1, '\0');
  sodium_bin2hex(text.data(), text.size(), bytes, size);
  text.pop_back();
  return text;
}

std::string subject_of(std::string_view text, const ReceiptKeys& keys) {
  prepare_sodium();
  std::array<unsigned char, crypto_generichash_BYTES> hash{};
  crypto_generichash(hash.data(), hash.size(), bytes_of(text), text.size(), bytes_of(keys.subject),
                     keys.subject.size());
  return in_hexadecimal(hash.data(), hash.size());
}

class SigningKey {
 public:
  explicit SigningKey(const std::string& seed) {
    prepare_sodium();
    crypto_sign_seed_keypair(public_.data(), secret_.data(), bytes_of(seed));
  }
  ~SigningKey() { sodium_memzero(secret_.data(), secret_.size()); }
  SigningKey(const SigningKey&) = delete;
  SigningKey& operator=(const SigningKey&) = delete;

  Signature sign(std::string_view text) const {
    Signature signature{};
    crypto_sign_detached(signature.data(), nullptr, bytes_of(text), text.size(), secret_.data());
    return signature;
  }

  bool has_signed(std::string_view text, const Signature& signature) const {
    return crypto_sign_verify_detached(signature.data(), bytes_of(text), text.size(),
                                       public_.data()) == 0;
  }

 private:
  std::array<unsigned char, crypto_sign_PUBLICKEYBYTES> public_{};
  std::array<unsigned char, crypto_sign_SECRETKEYBYTES> secret_{};
};

ordered_json unsigned_receipt(const ErasedCounts& erased, const std::string& at,
                              const std::string& subject) {
  ordered_json receipt;
  receipt["erased"] = {{"installations", erased.installations},
                       {"deliveries", erased.deliveries},
                       {"contacts", erased.contacts}};
  receipt["at"] = at;
  receipt["subject"] = subject;
  return receipt;
}

std::optional<Signature> read_signature(const std::string& text) {
  Signature signature{};
  std::size_t size = 0;
  const char* end = nullptr;
  if (sodium_hex2bin(signature.data(), signature.size(), text.data(), text.size(), nullptr, &size,
                     &end) != 0 ||
      size != signature.size() || end != text.data() + text.size()) {
    return std::nullopt;
  }
  return signature;
}

/// Does not take 1.0 for 1, as the library does: the text would not be the one that was signed.
std::int64_t integer_of(const nlohmann::json& number) {
  return number.is_number_integer() ? number.get<std::int64_t>() : -1;
}

}  // namespace

ReceiptKeys receipt_keys(Storage& storage) {
  return {storage.secret("subject"), storage.secret("receipt")};
}

std::string subject_of_installation(std::string_view installation, const ReceiptKeys& keys) {
  return subject_of(installation, keys);
}

std::string subject_of_email(std::string_view address, const ReceiptKeys& keys) {
  return subject_of(fold_address(address), keys);
}

std::string make_receipt(const ErasedCounts& erased, Time at, const std::string& subject,
                         const ReceiptKeys& keys) {
  ordered_json receipt = unsigned_receipt(erased, format_time(at), subject);
  const Signature signature = SigningKey(keys.signature).sign(receipt.dump());
  receipt["signature"] = in_hexadecimal(signature.data(), signature.size());
  return receipt.dump();
}

bool is_receipt_valid(std::string_view text, const ReceiptKeys& keys) {
  try {
    const auto receipt = nlohmann::json::parse(text);
    const auto& erased = receipt.at("erased");
    // Whatever else it says was not signed.
    if (receipt.size() != 4 || erased.size() != 3) return false;
    const ErasedCounts counts{integer_of(erased.at("installations")),
                              integer_of(erased.at("deliveries")),
                              integer_of(erased.at("contacts"))};
    const std::string signed_text = unsigned_receipt(counts, receipt.at("at").get<std::string>(),
                                                     receipt.at("subject").get<std::string>())
                                        .dump();
    const auto signature = read_signature(receipt.at("signature").get<std::string>());
    return signature && SigningKey(keys.signature).has_signed(signed_text, *signature);
  } catch (const nlohmann::json::exception&) {
    return false;
  }
}

}  // namespace pelto::collector
