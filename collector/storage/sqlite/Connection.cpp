#include "collector/storage/sqlite/Connection.h"

#include <cstddef>

#include "collector/storage/sqlite/Database.h"

namespace pelto::collector {

Connection::Connection(const std::filesystem::path& path) : database_(open_database(path)) {}

SQLite::Statement& Connection::prepare(const char* sql) {
  auto& statement = statements_[sql];
  if (!statement) statement = std::make_unique<SQLite::Statement>(database_, sql);
  return *statement;
}

std::string_view bytes_of(const SQLite::Column& column) {
  const void* const bytes = column.getBlob();
  return {static_cast<const char*>(bytes), static_cast<std::size_t>(column.getBytes())};
}

}  // namespace pelto::collector
