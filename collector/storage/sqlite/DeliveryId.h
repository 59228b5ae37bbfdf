#pragma once

#include <string>

#include <SQLiteCpp/Column.h>
#include <SQLiteCpp/Statement.h>

namespace pelto::collector {

/// A delivery's identifier in the file: a GUID in small letters as 16 bytes, which sort as the
/// text does; any other text as it is.
class DeliveryId {
 public:
  explicit DeliveryId(const std::string& text);
  /// The bytes must outlive the statement's use.
  void bind_to(SQLite::Statement& statement, int index) const;

  /// The text of a column.
  static std::string read(const SQLite::Column& column);

 private:
  bool is_guid_;
  std::string bytes_;
};

}  // namespace pelto::collector
