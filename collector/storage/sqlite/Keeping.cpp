#include "collector/storage/sqlite/Keeping.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "collector/report/MachineClass.h"
#include "collector/report/RetryRule.h"
#include "collector/storage/AddressCase.h"
#include "collector/storage/sqlite/Folding.h"
#include "collector/storage/sqlite/Recounting.h"
#include "collector/storage/sqlite/ReportPacking.h"
#include "collector/storage/sqlite/TextPacking.h"

namespace pelto::collector {

namespace {

/// Products are the operator's, but an import may name any number of them.
constexpr std::size_t largest_product_cache = 1000;

std::int64_t seconds_of(Time time) {
  return time.time_since_epoch().count();
}

std::int64_t day_of(Time time) {
  return std::chrono::floor<std::chrono::days>(time).time_since_epoch().count();
}

std::string join_version(const Report& report) {
  return join_texts(report.application, report.version);
}

/// Properties that are not shown are not kept.
void leave_out_hidden(Report& report) {
  std::erase_if(report.machine,
                [](const MachineValue& property) { return !machine_class(property); });
}

}  // namespace

std::int64_t find_product(Connection& connection, const std::string& product) {
  return connection.number(0, "SELECT number FROM product WHERE name = ?1", product);
}

std::int64_t add_product(Connection& connection, const std::string& product) {
  if (const std::int64_t known = find_product(connection, product); known != 0) return known;
  connection.run("INSERT INTO product(name) VALUES (?1)", product);
  return connection.database().getLastInsertRowid();
}

std::int64_t find_installation(Connection& connection, const TextHash& hash,
                               const std::string& identifier) {
  return connection.number(0, "SELECT number FROM installation WHERE hash = ?1 AND identifier = ?2",
                           hash(identifier), identifier);
}

void IntakeCounter::count(std::int64_t product, Time received, const char* outcome,
                          const std::string& code, std::int64_t change) {
  counts_[{product, day_of(received), outcome, code}] += change;
}

void IntakeCounter::write(Connection& connection) {
  for (const auto& [key, change] : counts_) {
    const auto& [product, day, outcome, code] = key;
    if (change == 0) continue;
    connection.run(
        "INSERT INTO intake VALUES (?1, ?2, ?3, ?4, ?5) "
        "ON CONFLICT DO UPDATE SET deliveries = deliveries + ?5",
        product, day, outcome, code, change);
  }
  counts_.clear();
}

Keeper::Keeper(Connection& connection, SqliteOptions options)
    : connection_(connection),
      options_(std::move(options)),
      names_(connection),
      hash_(connection) {}

void Keeper::begin() {
  const std::int64_t version = connection_.number(0, "PRAGMA data_version");
  if (version != data_version_) forget();
  data_version_ = version;
  folded_ = read_state(connection_, "folded_report");
}

Outcome Keeper::keep(Delivery delivery, TimeKind time_kind) {
  Report& report = delivery.report;
  const std::int64_t product = product_number(delivery.product);
  const DeliveryId id(delivery.id);
  if (connection_.number(0, "SELECT 1 FROM report WHERE delivery = ?1 AND product = ?2", id,
                         product) != 0) {
    intake_.count(product, delivery.received, "repeated", "", 1);
    return Outcome::repeated;
  }

  const std::int64_t installation = installation_number(report.installation);
  std::optional<Neighbor> before;
  std::optional<Neighbor> after;
  if (time_kind == TimeKind::arrival) {
    before = neighbor(
        product, connection_.query("SELECT number, received, replaced, version, packed FROM report "
                                   "WHERE installation = ?1 "
                                   "AND product = ?2 ORDER BY received DESC, delivery DESC LIMIT 1",
                                   installation, product));
    // The retry rule goes by the order of (received, delivery), and identifiers are random: what
    // arrives later needs a later second. A flood under one identifier so runs ahead of the clock,
    // with nobody's times but its own. Within one second, each delivery would look through all of
    // them for the last, and not find which came last.
    if (before && delivery.received <= before->received) {
      delivery.received = before->received + std::chrono::seconds{1};
    }
  } else {
    const std::int64_t received = seconds_of(delivery.received);
    before =
        neighbor(product, connection_.query("SELECT number, received, replaced, version, packed "
                                            "FROM report WHERE installation = ?1 "
                                            "AND product = ?2 AND (received, delivery) < (?3, ?4) "
                                            "ORDER BY received DESC, delivery DESC LIMIT 1",
                                            installation, product, received, id));
    after =
        neighbor(product, connection_.query("SELECT number, received, replaced, version, packed "
                                            "FROM report WHERE installation = ?1 "
                                            "AND product = ?2 AND (received, delivery) > (?3, ?4) "
                                            "ORDER BY received, delivery LIMIT 1",
                                            installation, product, received, id));
  }

  leave_out_hidden(report);
  const bool replaces =
      before && delivery.received - before->received <= retry_limit &&
      is_sent_again(counts_of(*before), before->received, report, delivery.received);
  const bool is_replaced =
      after && after->received - delivery.received <= retry_limit &&
      is_sent_again(report, delivery.received, counts_of(*after), after->received);
  intake_.count(product, delivery.received, "accepted", "", 1);
  if (replaces) intake_.count(product, delivery.received, "replaced", "", 1);
  if (after && before && before->is_replaced) {
    intake_.count(product, after->received, "replaced", "", -1);
  }
  if (is_replaced) intake_.count(product, after->received, "replaced", "", 1);
  if (before && before->is_replaced != replaces) set_replaced(*before, replaces);

  const NumberedReport numbered = number_report(report, names_);
  const Number version = names_.add(Kind::version, join_version(report));
  names_.use(version, 1);
  const std::string packed = pack(numbered);
  connection_.run(
      "INSERT INTO report(installation, product, received, version, replaced, delivery, packed) "
      "VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7)",
      installation, product, seconds_of(delivery.received), std::int64_t{version},
      std::int64_t{is_replaced}, id, std::string_view(packed));
  if (!report.text.empty()) {
    const std::string text = pack_text(report);
    connection_.run("INSERT INTO report_text VALUES (?1, ?2)",
                    std::int64_t{connection_.database().getLastInsertRowid()},
                    std::string_view(text));
  }
  if (options_.keeps_email && !report.email.empty()) {
    keep_contact(installation, product, delivery);
  }
  if (!report.adapter_hash.empty()) keep_adapter(installation, product, delivery);
  ++new_reports_;
  new_bytes_ += static_cast<std::int64_t>(packed.size());
  return replaces ? Outcome::replaced : Outcome::accepted;
}

std::vector<std::string> Keeper::finish() {
  std::vector<std::string> unused = names_.write_uses();
  intake_.write(connection_);
  for (const Group& group : uncertain_) recount_group(connection_, names_, group);
  uncertain_.clear();
  if (new_reports_ == 0) return unused;
  write_state(connection_, "pending_reports",
              read_state(connection_, "pending_reports") + new_reports_);
  write_state(connection_, "pending_bytes", read_state(connection_, "pending_bytes") + new_bytes_);
  new_reports_ = 0;
  new_bytes_ = 0;
  return unused;
}

void Keeper::forget() {
  names_.forget();
  intake_.forget();
  products_.clear();
  uncertain_.clear();
  new_reports_ = 0;
  new_bytes_ = 0;
}

std::int64_t Keeper::product_number(const std::string& product) {
  if (const auto known = products_.find(product); known != products_.end()) return known->second;
  const std::int64_t number = add_product(connection_, product);
  if (products_.size() >= largest_product_cache) products_.clear();
  products_.emplace(product, number);
  return number;
}

std::int64_t Keeper::installation_number(const std::string& identifier) {
  if (const auto known = find_installation(connection_, hash_, identifier); known != 0) {
    return known;
  }
  connection_.run("INSERT INTO installation(hash, identifier) VALUES (?1, ?2)", hash_(identifier),
                  identifier);
  return connection_.database().getLastInsertRowid();
}

std::optional<Keeper::Neighbor> Keeper::neighbor(std::int64_t product, Query query) {
  if (!query->executeStep()) return std::nullopt;
  const Time received{std::chrono::seconds{query->getColumn(1).getInt64()}};
  const auto version = static_cast<Number>(query->getColumn(3).getInt64());
  return Neighbor{query->getColumn(0).getInt64(),
                  received,
                  query->getColumn(2).getInt() != 0,
                  {product, period_of(received), version},
                  std::string(bytes_of(query->getColumn(4)))};
}

Report Keeper::counts_of(const Neighbor& neighbor) {
  return read_counts(neighbor.packed, names_).value_or(Report{});
}

void Keeper::set_replaced(const Neighbor& report, bool is_replaced) {
  connection_.run("UPDATE report SET replaced = ?2 WHERE number = ?1", report.number,
                  std::int64_t{is_replaced});
  if (report.number > folded_) return;
  NumberedReport counts;
  if (!unpack(report.packed, names_, counts)) uncertain_.insert(report.group);
  // A second change is the first one taken back.
  if (connection_.run("DELETE FROM changed WHERE report = ?1", report.number) > 0) return;
  connection_.run("INSERT INTO changed VALUES (?1, ?2)", report.number,
                  std::int64_t{is_replaced ? -1 : 1});
}

void Keeper::keep_contact(std::int64_t installation, std::int64_t product,
                          const Delivery& delivery) {
  const std::string& address = delivery.report.email;
  const std::int64_t received = seconds_of(delivery.received);
  std::int64_t number = 0;
  bool is_same = false;
  {
    Query known = connection_.query(
        "SELECT number, received, address FROM contact WHERE installation = ?1 AND product = ?2",
        installation, product);
    if (known->executeStep()) {
      if (known->getColumn(1).getInt64() > received) return;
      number = known->getColumn(0).getInt64();
      is_same = known->getColumn(2).getString() == address;
    }
  }
  if (is_same) {
    connection_.run("UPDATE contact SET received = ?2 WHERE number = ?1", number, received);
    return;
  }
  connection_.run("DELETE FROM contact WHERE number = ?1", number);
  connection_.run(
      "INSERT INTO contact(installation, product, received, hash, address) "
      "VALUES (?1, ?2, ?3, ?4, ?5)",
      installation, product, received, hash_(fold_address(address)), address);
}

void Keeper::keep_adapter(std::int64_t installation, std::int64_t product,
                          const Delivery& delivery) {
  const std::int64_t received = seconds_of(delivery.received);
  if (connection_.number(
          0, "SELECT 1 FROM adapter WHERE installation = ?1 AND product = ?2 AND received > ?3",
          installation, product, received) != 0) {
    return;
  }
  connection_.run("DELETE FROM adapter WHERE installation = ?1 AND product = ?2", installation,
                  product);
  connection_.run(
      "INSERT INTO adapter(installation, product, received, hash) VALUES (?1, ?2, ?3, ?4)",
      installation, product, received, delivery.report.adapter_hash);
}

}  // namespace pelto::collector
