// Receipts of erasures: what was erased and when, signed with the data folder's key.
#pragma once

#include <string>
#include <string_view>

#include "collector/storage/Storage.h"

namespace pelto::collector {

/// Both are secrets of the storage, of 32 bytes.
struct ReceiptKeys {
  /// Of the hash by which a receipt names an installation or address.
  std::string subject;
  /// The seed of the signature's key.
  std::string signature;
};

ReceiptKeys receipt_keys(Storage& storage);

/// What a receipt names in place of an installation's identifier or an e-mail address: a keyed hash
/// in hexadecimal. Letter case counts in an identifier and does not in an address.
std::string subject_of_installation(std::string_view installation, const ReceiptKeys& keys);
std::string subject_of_email(std::string_view address, const ReceiptKeys& keys);

/// The receipt as one line of JSON without a line end:
/// {"erased":{"installations":1,"deliveries":3,"contacts":1},"at":"2026-01-05T10:00:00Z",
/// "subject":"...","signature":"..."}. The signature (Ed25519, RFC 8032), in hexadecimal, is that
/// of the same line without it.
std::string make_receipt(const ErasedCounts& erased, Time at, const std::string& subject,
                         const ReceiptKeys& keys);

/// Whether the text is a receipt that was made with these keys. The order of its members and spaces
/// between them do not matter. False for any other text.
bool is_receipt_valid(std::string_view text, const ReceiptKeys& keys);

}  // namespace pelto::collector
