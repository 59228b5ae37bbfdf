// What the writer does with a delivery.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <tuple>
#include <unordered_map>
#include <vector>

#include "collector/report/Report.h"
#include "collector/storage/Storage.h"
#include "collector/storage/sqlite/Cells.h"
#include "collector/storage/sqlite/Connection.h"
#include "collector/storage/sqlite/Names.h"
#include "collector/storage/sqlite/SqliteStorage.h"

namespace pelto::collector {

/// The number of a product; 0 if there is none of the name.
std::int64_t find_product(Connection& connection, const std::string& product);
/// The number of a product, which is added if it is not there.
std::int64_t add_product(Connection& connection, const std::string& product);
/// The number of an installation; 0 if there is none of the name.
std::int64_t find_installation(Connection& connection, const TextHash& hash,
                               const std::string& identifier);

/// Adds to the counts of intake by product, day, outcome and code; product 0 is every product.
class IntakeCounter {
 public:
  void count(std::int64_t product, Time received, const char* outcome, const std::string& code,
             std::int64_t change);
  void write(Connection& connection);
  void forget() { counts_.clear(); }

 private:
  std::map<std::tuple<std::int64_t, std::int64_t, std::string, std::string>, std::int64_t> counts_;
};

/// Works on one connection, in transactions that the caller begins and ends. Throws
/// `SQLite::Exception` and `StorageError`; then the caller rolls back and calls `forget`.
class Keeper {
 public:
  Keeper(Connection& connection, SqliteOptions options);

  /// After the beginning of a transaction: forgets what another process may have changed.
  void begin();
  Outcome keep(Delivery delivery, TimeKind time_kind);
  /// Before the commit: writes what was summed up. Returns the names that no report has any more.
  std::vector<std::string> finish();
  void forget();

  /// Notes that reports which are not folded yet are gone.
  void drop_pending(std::int64_t reports) { new_reports_ -= reports; }

  Names& names() { return names_; }
  const TextHash& hash() const { return hash_; }
  IntakeCounter& intake() { return intake_; }
  std::int64_t product_number(const std::string& product);

 private:
  struct Neighbor {
    std::int64_t number = 0;
    Time received{};
    bool is_replaced = false;
    Group group;
    std::string packed;
  };

  std::int64_t installation_number(const std::string& identifier);
  /// The report of the product in the first row of the query.
  static std::optional<Neighbor> neighbor(std::int64_t product, Query query);
  /// Empty if they are damaged.
  Report counts_of(const Neighbor& neighbor);
  void set_replaced(const Neighbor& report, bool is_replaced);
  void keep_contact(std::int64_t installation, std::int64_t product, const Delivery& delivery);
  void keep_adapter(std::int64_t installation, std::int64_t product, const Delivery& delivery);

  Connection& connection_;
  SqliteOptions options_;
  Names names_;
  TextHash hash_;
  IntakeCounter intake_;
  std::unordered_map<std::string, std::int64_t> products_;
  /// Groups whose sums have parts of a damaged report that no longer counts.
  std::set<Group> uncertain_;
  std::int64_t data_version_ = -1;
  std::int64_t folded_ = 0;
  std::int64_t new_reports_ = 0;
  std::int64_t new_bytes_ = 0;
};

}  // namespace pelto::collector
