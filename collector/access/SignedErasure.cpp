#include "collector/access/SignedErasure.h"

namespace pelto::collector {

SignedErasure erase(Storage& storage, const ReceiptKeys& keys, const ErasureSubject& subject,
                    Time now, const GoesOn& goes_on) {
  const bool by_installation = subject.installation.has_value();
  const ErasedCounts erased = by_installation
                                  ? storage.erase_installation(*subject.installation, goes_on)
                                  : storage.erase_email(*subject.email, goes_on);
  const std::string hash = by_installation ? subject_of_installation(*subject.installation, keys)
                                           : subject_of_email(*subject.email, keys);
  std::string description = by_installation ? "by installation: " : "by address: ";
  if (!erased.is_whole) description += "in part: ";
  description += "installations " + std::to_string(erased.installations) + ", deliveries " +
                 std::to_string(erased.deliveries) + ", addresses " +
                 std::to_string(erased.contacts);
  return {make_receipt(erased, now, hash, keys), erased, description};
}

void note_erasure(Audit& audit, Time now, const std::string& user, const SignedErasure& erasure,
                  const std::function<void(std::string_view)>& report_failure) {
  if (!erasure.erased.traces_left.empty()) report_failure(erasure.erased.traces_left);
  try {
    audit.add(now, user, Action::erase, erasure.description);
  } catch (const StorageError& error) {
    report_failure(std::string("an erasure is not in the audit: ") + error.what());
  }
}

}  // namespace pelto::collector
