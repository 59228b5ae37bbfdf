#include "collector/storage/sqlite/Summaries.h"

#include <chrono>
#include <utility>

#include "collector/storage/sqlite/Names.h"
#include "collector/storage/sqlite/ReportPacking.h"

namespace pelto::collector {

namespace {

Time time_of(const SQLite::Column& column) {
  return Time{std::chrono::seconds{column.getInt64()}};
}

}  // namespace

std::vector<ProductKeeping> read_keeping(Connection& connection) {
  // Both counts need no more of a report than its entry in an index.
  Query row = connection.query(
      "SELECT name, since, deliveries, installations, texts FROM product "
      "LEFT JOIN (SELECT product AS p, min(received) AS since, count(*) AS deliveries, "
      "count(DISTINCT installation) AS installations "
      "FROM report INDEXED BY report_by_installation GROUP BY product) ON p = product.number "
      "LEFT JOIN (SELECT product AS t, count(*) AS texts FROM report_text "
      "JOIN report ON report.number = report GROUP BY product) ON t = product.number "
      "ORDER BY name");
  std::vector<ProductKeeping> all;
  while (row->executeStep()) {
    ProductKeeping keeping{row->getColumn(0).getString()};
    if (!row->isColumnNull(1)) keeping.since = time_of(row->getColumn(1));
    keeping.deliveries = row->getColumn(2).getInt64();
    keeping.installations = row->getColumn(3).getInt64();
    keeping.texts = row->getColumn(4).getInt64();
    all.push_back(std::move(keeping));
  }
  return all;
}

std::vector<Contact> read_contacts(Connection& connection, const std::string& product) {
  Query row = connection.query(
      "SELECT address, max(received) FROM contact JOIN product ON product.number = product "
      "WHERE name = ?1 GROUP BY address ORDER BY address",
      product);
  std::vector<Contact> contacts;
  while (row->executeStep()) {
    contacts.push_back({row->getColumn(0).getString(), time_of(row->getColumn(1))});
  }
  return contacts;
}

InstallationKeeping read_keeping_of(Connection& connection, std::int64_t installation) {
  InstallationKeeping keeping;
  Names names(connection);
  // However many there are, the latest are found in an index alone.
  Query row = connection.query(
      "SELECT received, product.name, version, packed, report_text.report FROM report "
      "JOIN product ON product.number = product "
      "LEFT JOIN report_text ON report_text.report = report.number "
      "WHERE report.number IN (SELECT number FROM report WHERE installation = ?1 "
      "ORDER BY received DESC, number DESC LIMIT ?2) ORDER BY received, delivery, product",
      installation, std::int64_t{InstallationKeeping::most_deliveries});
  while (row->executeStep()) {
    // Of a damaged report the rest is shown.
    const Report counts = read_counts(bytes_of(row->getColumn(3)), names).value_or(Report{});
    InstallationKeeping::Kept kept;
    kept.received = time_of(row->getColumn(0));
    kept.product = row->getColumn(1).getString();
    if (auto version = find_version(names, static_cast<Number>(row->getColumn(2).getInt64()))) {
      kept.version = std::move(version->version);
    }
    kept.commands = static_cast<std::int64_t>(counts.commands.size());
    kept.file_types = static_cast<std::int64_t>(counts.file_types.size());
    kept.has_text = !row->isColumnNull(4);
    keeping.deliveries.push_back(std::move(kept));
  }
  keeping.total =
      connection.number(0, "SELECT count(*) FROM report WHERE installation = ?1", installation);
  keeping.has_email = connection.number(0, "SELECT count(*) FROM contact WHERE installation = ?1",
                                        installation) > 0;
  return keeping;
}

}  // namespace pelto::collector
