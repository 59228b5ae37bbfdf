// sqlite_floor SOURCE TARGET GROUP TABLE...: the floor for the collector's storage. Copies the rows
// of the tables in SOURCE into the new file TARGET, with the same schema and settings, and commits
// after each GROUP rows of the first table; of the others a group gets its share. Prints a line of
// JSON with the rows of the first table a second. Reading the rows is not measured.

#include <SQLiteCpp/SQLiteCpp.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <iostream>
#include <memory>
#include <string>
#include <variant>
#include <vector>

namespace {

struct Blob {
  std::string bytes;
};
using Value = std::variant<std::monostate, std::int64_t, std::string, Blob>;

Value value_of(const SQLite::Column& column) {
  if (column.isNull()) return {};
  if (column.isInteger()) return column.getInt64();
  if (column.isBlob()) return Blob{column.getString()};
  return column.getString();
}

void bind(SQLite::Statement& statement, int place, const Value& value) {
  struct Visitor {
    SQLite::Statement& statement;
    int place;
    void operator()(std::monostate) const { statement.bind(place); }
    void operator()(std::int64_t number) const { statement.bind(place, number); }
    void operator()(const std::string& text) const { statement.bindNoCopy(place, text); }
    void operator()(const Blob& blob) const {
      statement.bindNoCopy(place, blob.bytes.data(), static_cast<int>(blob.bytes.size()));
    }
  };
  std::visit(Visitor{statement, place}, value);
}

struct Table {
  std::string insertion;
  std::vector<std::vector<Value>> rows;
};

Table read_table(SQLite::Database& source, const std::string& name) {
  SQLite::Statement query(source, "SELECT * FROM " + name);
  Table table;
  table.insertion = "INSERT INTO " + name + " VALUES (?";
  for (int i = 1; i < query.getColumnCount(); ++i) table.insertion += ",?";
  table.insertion += ")";
  while (query.executeStep()) {
    std::vector<Value>& row = table.rows.emplace_back();
    for (int i = 0; i < query.getColumnCount(); ++i) {
      row.push_back(value_of(query.getColumn(i)));
    }
  }
  return table;
}

void copy_schema(SQLite::Database& source, SQLite::Database& target) {
  SQLite::Statement query(
      source, "SELECT sql FROM sqlite_master WHERE sql IS NOT NULL AND name NOT LIKE 'sqlite_%'");
  while (query.executeStep()) target.exec(query.getColumn(0).getString());
}

void insert_rows(SQLite::Statement& insertion, const Table& table, std::size_t begin,
                 std::size_t end) {
  for (std::size_t i = begin; i < end; ++i) {
    int place = 0;
    for (const Value& value : table.rows[i]) {
      bind(insertion, ++place, value);
    }
    insertion.exec();
    insertion.reset();
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 5) {
    std::cerr << "usage: sqlite_floor SOURCE TARGET GROUP TABLE...\n";
    return 1;
  }
  SQLite::Database source(argv[1], SQLite::OPEN_READONLY);
  SQLite::Database target(argv[2], SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE);
  target.exec("PRAGMA journal_mode = WAL");
  target.exec(
      "PRAGMA synchronous = FULL; PRAGMA secure_delete = ON; PRAGMA temp_store = MEMORY;"
      "PRAGMA cache_size = -4096; PRAGMA journal_size_limit = 0");
  copy_schema(source, target);

  const std::size_t group = std::stoul(argv[3]);
  std::vector<Table> tables;
  std::vector<std::unique_ptr<SQLite::Statement>> insertions;
  for (int i = 4; i < argc; ++i) {
    tables.push_back(read_table(source, argv[i]));
    insertions.push_back(std::make_unique<SQLite::Statement>(target, tables.back().insertion));
  }
  const std::size_t count = tables.front().rows.size();

  const auto start = std::chrono::steady_clock::now();
  for (std::size_t begin = 0; begin < count; begin += group) {
    const std::size_t end = std::min(begin + group, count);
    SQLite::Transaction transaction(target, SQLite::TransactionBehavior::IMMEDIATE);
    for (std::size_t t = 0; t < tables.size(); ++t) {
      const std::size_t size = tables[t].rows.size();
      insert_rows(*insertions[t], tables[t], size * begin / count, size * end / count);
    }
    transaction.commit();
  }
  const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
  std::cout << R"({"rows": )" << count << R"(, "group": )" << group << R"(, "per_second": )"
            << static_cast<double>(count) / seconds.count() << "}\n";
  return 0;
}
