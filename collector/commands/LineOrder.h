#pragma once

#include <functional>
#include <string>

#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Statement.h>

#include "collector/commands/LineFile.h"
#include "collector/report/Calendar.h"

namespace pelto::collector {

/// The places of a file's lines by time, then by identifier. They are sorted in a temporary file of
/// SQLite's, so that memory does not grow with their number. Throws `CommandError`.
class LineOrder {
 public:
  LineOrder();

  void add(Time time, const std::string& id, LineFile::Place place);
  /// Calls `take` with each place in order. Nothing can be added after that.
  void for_each(const std::function<void(LineFile::Place)>& take);

 private:
  SQLite::Database database_;
  SQLite::Statement insert_;
};

}  // namespace pelto::collector
