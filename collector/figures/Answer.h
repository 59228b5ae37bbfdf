// An answer to a question about the reports: a table in which everything may be shown.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "collector/report/Calendar.h"

namespace pelto::collector {

/// A number between 0 and 1 with four decimals.
struct Share {
  std::int64_t ten_thousandths = 0;

  bool operator==(const Share&) const = default;
};

/// The number under each code, by code.
using CodeCounts = std::map<std::string, std::int64_t>;

/// A number or text; without a value it is withheld.
using Cell = std::variant<std::monostate, std::int64_t, Share, std::string, CodeCounts>;

struct Table {
  std::vector<std::string_view> columns{};
  /// Each has a cell for each column.
  std::vector<std::vector<Cell>> rows{};
  /// The number of rows that were left out.
  std::int64_t withheld = 0;
};

struct Answer {
  std::string product;
  std::optional<std::string> version{};
  Day from;
  Day to;
  int threshold = 0;
  /// None if the number is withheld.
  std::optional<std::int64_t> installations{};
  Table table{};
};

/// `part` of `total` rounded to four decimals, halves up. `total` must be above 0.
Share share_of(std::int64_t part, std::int64_t total);

/// One line of JSON (RFC 8259) in UTF-8, without a line end. Bytes that are no UTF-8 become U+FFFD.
std::string answer_as_json(const Answer& answer);

/// The table as CSV (RFC 4180) in UTF-8, with the columns' names as its header. A withheld number
/// is an empty field. Counts under codes are one text, as "no-id=2 length=1". A text that a
/// spreadsheet could take for a formula gets an apostrophe in front.
std::string table_as_csv(const Table& table);

}  // namespace pelto::collector
