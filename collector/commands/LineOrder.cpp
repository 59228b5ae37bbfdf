#include "collector/commands/LineOrder.h"

#include <SQLiteCpp/Exception.h>

#include "collector/commands/CommandLine.h"

namespace pelto::collector {

namespace {

[[noreturn]] void fail(const SQLite::Exception& error) {
  throw CommandError(std::string("cannot sort the lines: ") + error.getErrorStr() +
                     "; free some space for temporary files");
}

/// Without a name the database is a temporary file.
SQLite::Database open_temporary() {
  SQLite::Database database("", SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE);
  database.exec(
      "PRAGMA journal_mode = OFF; PRAGMA synchronous = OFF; PRAGMA cache_size = -8192;"
      "CREATE TABLE line(time INTEGER, id TEXT, offset INTEGER, length INTEGER); BEGIN");
  return database;
}

}  // namespace

LineOrder::LineOrder() try
    : database_(open_temporary()), insert_(database_, "INSERT INTO line VALUES (?, ?, ?, ?)") {
} catch (const SQLite::Exception& error) {
  fail(error);
}

void LineOrder::add(Time time, const std::string& id, LineFile::Place place) {
  try {
    insert_.bind(1, time.time_since_epoch().count());
    insert_.bindNoCopy(2, id);
    insert_.bind(3, place.offset);
    insert_.bind(4, static_cast<std::int64_t>(place.length));
    insert_.exec();
    insert_.reset();
  } catch (const SQLite::Exception& error) {
    fail(error);
  }
}

void LineOrder::for_each(const std::function<void(LineFile::Place)>& take) {
  try {
    SQLite::Statement rows(database_, "SELECT offset, length FROM line ORDER BY time, id, offset");
    while (rows.executeStep()) {
      take({rows.getColumn(0).getInt64(), static_cast<std::size_t>(rows.getColumn(1).getInt64())});
    }
  } catch (const SQLite::Exception& error) {
    fail(error);
  }
}

}  // namespace pelto::collector
