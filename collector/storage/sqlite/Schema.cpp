#include "collector/storage/sqlite/Schema.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <SQLiteCpp/Statement.h>
#include <SQLiteCpp/Transaction.h>

#include "collector/storage/Storage.h"

namespace pelto::collector {

namespace {

// Texts by which a person could be found (`installation`, `contact`, `adapter`, `name`) are only
// appended to tables with a growing key, and found by a keyed hash. SQLite moves rows between pages
// when it inserts in the middle, and a moved row's bytes can outlive its deletion (see Traces.h).
// `report_text` has no such texts: what names a person is taken out before, and names of commands
// and the like are in it only as the difference from the counts.
//
// `report.packed` holds the counts, see ReportPacking.h. `name` holds command names, file types,
// machine values and versions; `name_use` how many reports mention each.
//
// `cell` lists the sums of each product, period, version and block of items, and `cell_content`
// holds them with the installations on which they rest (see Blocks.h). A fold (see Folding.h)
// appends to them with a segment's number; `withdrawn` holds the installations whose part in
// earlier segments of a period and version is void. `changed` lists reports that were folded before
// they were replaced (-1), or before they were no longer replaced (1).
constexpr char first_tables[] = R"(
CREATE TABLE setting(name TEXT PRIMARY KEY, value TEXT NOT NULL);
CREATE TABLE secret(name TEXT PRIMARY KEY, value BLOB NOT NULL);
CREATE TABLE account(name TEXT PRIMARY KEY, role TEXT NOT NULL, password TEXT NOT NULL);
CREATE TABLE state(name TEXT PRIMARY KEY, value INTEGER NOT NULL);
CREATE TABLE product(number INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE);
CREATE TABLE installation(
  number INTEGER PRIMARY KEY AUTOINCREMENT, hash INTEGER NOT NULL, identifier TEXT NOT NULL);
CREATE INDEX installation_by_hash ON installation(hash);
CREATE TABLE contact(
  number INTEGER PRIMARY KEY AUTOINCREMENT,
  installation INTEGER NOT NULL REFERENCES installation,
  product INTEGER NOT NULL REFERENCES product,
  received INTEGER NOT NULL, hash INTEGER NOT NULL, address TEXT NOT NULL);
CREATE INDEX contact_by_installation ON contact(installation, product);
CREATE INDEX contact_by_hash ON contact(hash);
CREATE TABLE adapter(
  number INTEGER PRIMARY KEY AUTOINCREMENT,
  installation INTEGER NOT NULL REFERENCES installation,
  product INTEGER NOT NULL REFERENCES product,
  received INTEGER NOT NULL, hash TEXT NOT NULL);
CREATE INDEX adapter_by_installation ON adapter(installation, product);
CREATE TABLE name(
  number INTEGER PRIMARY KEY AUTOINCREMENT,
  kind INTEGER NOT NULL, hash INTEGER NOT NULL, text BLOB NOT NULL);
CREATE INDEX name_by_hash ON name(kind, hash);
CREATE TABLE name_use(name INTEGER PRIMARY KEY REFERENCES name, reports INTEGER NOT NULL);
CREATE TABLE report(
  number INTEGER PRIMARY KEY AUTOINCREMENT,
  installation INTEGER NOT NULL REFERENCES installation,
  product INTEGER NOT NULL REFERENCES product,
  received INTEGER NOT NULL,
  version INTEGER NOT NULL REFERENCES name,
  replaced INTEGER NOT NULL,
  delivery BLOB NOT NULL,
  packed BLOB NOT NULL);
CREATE UNIQUE INDEX report_by_delivery ON report(delivery, product);
CREATE INDEX report_by_installation ON report(installation, product, received);
CREATE INDEX report_by_time ON report(received);
CREATE TABLE report_text(report INTEGER PRIMARY KEY REFERENCES report, text BLOB NOT NULL);
CREATE TABLE changed(report INTEGER PRIMARY KEY REFERENCES report, sign INTEGER NOT NULL);
CREATE TABLE cell(
  product INTEGER NOT NULL, kind INTEGER NOT NULL, period INTEGER NOT NULL,
  version INTEGER NOT NULL, block INTEGER NOT NULL, segment INTEGER NOT NULL,
  content INTEGER NOT NULL REFERENCES cell_content,
  PRIMARY KEY(product, kind, period, version, block, segment)) WITHOUT ROWID;
CREATE TABLE cell_content(number INTEGER PRIMARY KEY, cells BLOB NOT NULL);
CREATE TABLE withdrawn(
  product INTEGER NOT NULL, period INTEGER NOT NULL, version INTEGER NOT NULL,
  segment INTEGER NOT NULL, installations BLOB NOT NULL,
  PRIMARY KEY(product, period, version, segment)) WITHOUT ROWID;
CREATE TABLE intake(
  product INTEGER NOT NULL, day INTEGER NOT NULL, outcome TEXT NOT NULL, code TEXT NOT NULL,
  deliveries INTEGER NOT NULL, PRIMARY KEY(product, day, outcome, code)) WITHOUT ROWID;
INSERT INTO state VALUES ('folded_report', 0), ('segment', 0);
INSERT INTO secret VALUES ('name hash', randomblob(16));
)";

// What was done to the data, and by whom; see Audit.h.
constexpr char audit_table[] = R"(
CREATE TABLE audit(
  number INTEGER PRIMARY KEY AUTOINCREMENT,
  at INTEGER NOT NULL, user TEXT NOT NULL, action TEXT NOT NULL, detail TEXT NOT NULL);
CREATE INDEX audit_by_action ON audit(action, at);
)";

/// What makes a file of version `index` one of version `index + 1`.
constexpr std::array<const char*, schema_version> steps{first_tables, audit_table};

int version_of(SQLite::Database& database) {
  return database.execAndGet("PRAGMA user_version").getInt();
}

}  // namespace

void migrate(SQLite::Database& database) {
  if (version_of(database) == schema_version) return;
  SQLite::Transaction transaction(database, SQLite::TransactionBehavior::IMMEDIATE);
  // Another process may have done it meanwhile.
  const int version = version_of(database);
  if (version > schema_version) {
    throw StorageError(database.getFilename() + " was written by a newer version (its format is " +
                       std::to_string(version) + ", this program knows " +
                       std::to_string(schema_version) + "); update this program");
  }
  for (auto step = static_cast<std::size_t>(version); step < steps.size(); ++step) {
    database.exec(steps[step]);
  }
  database.exec("PRAGMA user_version = " + std::to_string(schema_version));
  transaction.commit();
}

void rewrite_table(SQLite::Database& database, const std::string& table) {
  SQLite::Transaction transaction(database, SQLite::TransactionBehavior::IMMEDIATE);
  std::vector<std::string> indexes;
  std::string definition;
  SQLite::Statement found(database, "SELECT type, sql FROM sqlite_master WHERE tbl_name = ?1");
  found.bind(1, table);
  while (found.executeStep()) {
    const std::string sql = found.getColumn(1).getString();
    if (found.getColumn(0).getString() == "table") {
      definition = sql.substr(sql.find('('));
    } else {
      indexes.push_back(sql);
    }
  }
  found.reset();
  // Numbers are never given twice: the last one is kept.
  SQLite::Statement last(database, "SELECT seq FROM sqlite_sequence WHERE name = ?1");
  last.bind(1, table);
  const std::int64_t sequence = last.executeStep() ? last.getColumn(0).getInt64() : 0;
  last.reset();
  database.exec("CREATE TABLE rewritten" + definition);
  database.exec("INSERT INTO rewritten SELECT * FROM " + table + " ORDER BY 1");
  database.exec("DROP TABLE " + table);
  database.exec("ALTER TABLE rewritten RENAME TO " + table);
  for (const std::string& index : indexes) database.exec(index);
  if (sequence != 0) {
    database.exec("DELETE FROM sqlite_sequence WHERE name = '" + table + "'");
    database.exec("INSERT INTO sqlite_sequence VALUES ('" + table + "', " +
                  std::to_string(sequence) + ")");
  }
  transaction.commit();
}

}  // namespace pelto::collector
