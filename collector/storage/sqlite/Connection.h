// A connection and the statements that it has prepared.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Statement.h>

#include "collector/storage/sqlite/DeliveryId.h"

namespace pelto::collector {

/// A statement in use. It is reset at the end: one that is not holds its snapshot of the file.
class Query {
 public:
  explicit Query(SQLite::Statement& statement) : statement_(statement) {}
  ~Query() { statement_.tryReset(); }
  Query(const Query&) = delete;
  Query& operator=(const Query&) = delete;

  SQLite::Statement* operator->() { return &statement_; }

 private:
  SQLite::Statement& statement_;
};

/// For one thread at a time.
class Connection {
 public:
  /// Throws `StorageError`.
  explicit Connection(const std::filesystem::path& path);

  /// The statement `sql`, a literal, prepared on first use; the parameters get `values` in order.
  /// Texts and blobs must outlive the query. Throws `SQLite::Exception`, as all that follows does.
  template <typename... Values>
  Query query(const char* sql, const Values&... values) {
    SQLite::Statement& statement = prepare(sql);
    int index = 0;
    (bind(statement, ++index, values), ...);
    return Query(statement);
  }

  /// Runs a statement that returns no rows. Returns the number of rows that it changed.
  template <typename... Values>
  int run(const char* sql, const Values&... values) {
    return query(sql, values...)->exec();
  }

  /// The number in the first column of the first row, or `missing` without one.
  template <typename... Values>
  std::int64_t number(std::int64_t missing, const char* sql, const Values&... values) {
    Query found = query(sql, values...);
    return found->executeStep() ? found->getColumn(0).getInt64() : missing;
  }

  SQLite::Database& database() { return database_; }

 private:
  /// A string_view is a blob, a string a text.
  static void bind(SQLite::Statement& statement, int index, std::int64_t value) {
    statement.bind(index, value);
  }
  static void bind(SQLite::Statement& statement, int index, const std::string& value) {
    statement.bindNoCopy(index, value);
  }
  static void bind(SQLite::Statement& statement, int index, std::string_view value) {
    // Without an address SQLite takes an empty blob for NULL.
    statement.bindNoCopy(index, value.empty() ? "" : value.data(), static_cast<int>(value.size()));
  }
  static void bind(SQLite::Statement& statement, int index, const DeliveryId& value) {
    value.bind_to(statement, index);
  }
  static void bind(SQLite::Statement& statement, int index, const char* value) {
    statement.bindNoCopy(index, value);
  }

  SQLite::Statement& prepare(const char* sql);

  SQLite::Database database_;
  std::unordered_map<std::string_view, std::unique_ptr<SQLite::Statement>> statements_;
};

/// The bytes of a column, as long as the query stays at its row.
std::string_view bytes_of(const SQLite::Column& column);

}  // namespace pelto::collector
