#include "collector/storage/sqlite/Exporting.h"

#include <chrono>
#include <cstddef>
#include <utility>

#include "collector/storage/sqlite/ReportPacking.h"

namespace pelto::collector {

namespace {

/// A part ends with the delivery that brings its packed counts to this many bytes. In memory they
/// are some ten times as many.
constexpr std::size_t largest_part = std::size_t{1} << 20U;

KeptDelivery read_delivery(SQLite::Statement& row, Names& names) {
  KeptDelivery kept;
  auto counts = read_counts(bytes_of(row.getColumn(4)), names);
  auto version = find_version(names, static_cast<Number>(row.getColumn(2).getInt64()));
  kept.is_damaged = !counts || !version;
  if (counts) kept.delivery.report = std::move(*counts);
  if (version) {
    kept.delivery.report.application = std::move(version->application);
    kept.delivery.report.version = std::move(version->version);
  }
  kept.delivery.report.installation = row.getColumn(5).getString();
  kept.delivery.product = row.getColumn(6).getString();
  kept.delivery.id = DeliveryId::read(row.getColumn(1));
  kept.delivery.received = Time{std::chrono::seconds{row.getColumn(0).getInt64()}};
  kept.is_replaced = row.getColumn(3).getInt() != 0;
  return kept;
}

}  // namespace

std::vector<KeptDelivery> export_part(Connection& connection, Names& names,
                                      std::int64_t installation, ExportPlace& place) {
  const DeliveryId last(place.id);
  const auto query = [&] {
    if (installation != 0) {
      return connection.query(
          "SELECT received, delivery, version, replaced, packed, identifier, product.name, product "
          "FROM report JOIN installation ON installation.number = installation "
          "JOIN product ON product.number = product WHERE installation = ?4 "
          "AND (received, delivery, product) > (?1, ?2, ?3) "
          "ORDER BY received, delivery, product LIMIT 500",
          place.received, last, place.product, installation);
    }
    return connection.query(
        "SELECT received, delivery, version, replaced, packed, identifier, product.name, product "
        "FROM report JOIN installation ON installation.number = installation "
        "JOIN product ON product.number = product WHERE received >= ?1 "
        "AND (received, delivery, product) > (?1, ?2, ?3) "
        "ORDER BY received, delivery, product LIMIT 500",
        place.received, last, place.product);
  };
  std::vector<KeptDelivery> part;
  std::size_t bytes = 0;
  Query row = query();
  while (bytes < largest_part && row->executeStep()) {
    bytes += bytes_of(row->getColumn(4)).size();
    part.push_back(read_delivery(*row.operator->(), names));
    place.product = row->getColumn(7).getInt64();
  }
  if (part.empty()) return part;
  place.received = part.back().delivery.received.time_since_epoch().count();
  place.id = part.back().delivery.id;
  return part;
}

}  // namespace pelto::collector
