// What the storage's tests share.
#pragma once

#include <memory>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "collector/storage/Storage.h"
#include "collector/storage/sqlite/SqliteStorage.h"
#include "tests/collector/support/TemporaryFolder.h"

namespace pelto::collector::testing {

using test::TemporaryFolder;

/// The time of a text like "2026-01-05T10:00:00Z".
Time at(const char* text);
/// A GUID of its own for each number.
std::string guid(unsigned number);
/// A report with one command, "Line", used `uses` times.
Report sample_report(const std::string& installation, std::int64_t uses = 1);
Delivery sample_delivery(unsigned id, const char* received, Report report,
                         const std::string& product = "default");

/// Keeps a delivery and waits for the outcome.
Outcome keep(Storage& storage, const Delivery& delivery, TimeKind time_kind = TimeKind::stated);
std::vector<KeptDelivery> export_all(Storage& storage,
                                     const std::optional<std::string>& installation = {});
/// Every period.
Selection everything(const std::string& product = "default");

/// Deliveries of few installations with much in common: retries, equal times, changed machines.
class RandomDeliveries {
 public:
  explicit RandomDeliveries(unsigned seed) : random_(seed) {}
  Delivery next();
  Selection selection();
  /// A number below `limit`.
  unsigned below(unsigned limit) { return static_cast<unsigned>(random_() % limit); }

 private:
  Report random_report();
  Report grown(Report report);

  std::mt19937 random_;
  std::vector<Delivery> earlier_;
};

}  // namespace pelto::collector::testing
