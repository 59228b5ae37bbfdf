// Erasures with a receipt.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "collector/access/Audit.h"
#include "collector/access/Receipt.h"
#include "collector/storage/Storage.h"

namespace pelto::collector {

struct ErasureSubject {
  /// Exactly one of them is there.
  std::optional<std::string> installation{};
  std::optional<std::string> email{};
};

struct SignedErasure {
  std::string receipt;
  ErasedCounts erased;
  /// For the audit. Does not say whose data it was.
  std::string description;
};

/// Erases from a storage. `keys` sign the receipt. Throws `StorageError`. If `goes_on` ended it, it
/// is not whole: that is to be noted, and no receipt to be given. Traces that are left in the files
/// are part of the result.
SignedErasure erase(Storage& storage, const ReceiptKeys& keys, const ErasureSubject& subject,
                    Time now, const GoesOn& goes_on);

/// Notes an erasure as done by `user`. Does not throw: it cannot be undone, and another try would
/// give a receipt with zeros. A failure goes to `report_failure`, and so does the reason why traces
/// are left in the files.
void note_erasure(Audit& audit, Time now, const std::string& user, const SignedErasure& erasure,
                  const std::function<void(std::string_view)>& report_failure);

}  // namespace pelto::collector
