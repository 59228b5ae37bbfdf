// Sums and sets of installations, by product, item, period and version.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <unordered_map>
#include <utility>
#include <vector>

#include <roaring/roaring.hh>

#include "collector/report/Calendar.h"
#include "collector/storage/sqlite/ReportPacking.h"

namespace pelto::collector {

/// The numbers of installations.
using Installations = ::Roaring;

std::string bytes_of(const Installations& set);
/// Throws `StorageError` for bytes that are something else.
Installations read_installations(std::string_view bytes);

/// What is counted together.
struct Group {
  std::int64_t product = 0;
  Period period = 0;
  Number version = 0;

  // The check takes the zero in the operator's own code for a pointer.
  auto operator<=>(const Group&) const = default;  // NOLINT(modernize-use-nullptr)
};

/// How many reports have a command at which place, by place; numbers below 0 take back.
using Places = std::vector<std::pair<std::int64_t, std::int64_t>>;

std::string bytes_of(const Places& places);
Places read_places(std::string_view bytes);
/// Sums of both, without zeros.
Places add_places(const Places& left, const Places& right);

/// The sums and sets of one item in one group.
struct SumCell {
  std::int64_t reports = 0;
  /// A command's uses; how often files of a type were opened.
  std::int64_t first_sum = 0;
  /// How often files of a type were saved.
  std::int64_t second_sum = 0;
  Installations installations;
  /// Those that placed a command, or opened files of a type; none: all of them. Of `described`:
  /// those with more than one such report.
  std::optional<Installations> first_set;
  /// Those that saved files of a type; none: all of them.
  std::optional<Installations> second_set;
  Places places;

  const Installations& first() const { return first_set ? *first_set : installations; }
  const Installations& second() const { return second_set ? *second_set : installations; }
  /// Adds another cell of the same item and group. `kind` tells what the sets mean.
  void add(Kind kind, const SumCell& other);
  void remove(const Installations& gone);
};

/// A report as it is in the file.
struct StoredReport {
  std::int64_t number = 0;
  Number installation = 0;
  Group group;
  NumberedReport counts;
};

/// Collects reports into cells.
class CellBuilder {
 public:
  /// Which items are needed; by default all.
  using Filter = std::function<bool(Kind)>;
  explicit CellBuilder(Filter needs = {}) : needs_(std::move(needs)) {}

  /// Adds a report.
  void add(const StoredReport& report) { put(report, 1, true); }
  /// Takes back the sums of a report. The installation stays in the sets.
  void take_back(const StoredReport& report) { put(report, -1, false); }
  /// Makes cells without content for a report's items.
  void touch(const StoredReport& report) { put(report, 0, false); }
  /// Adds the installation of a report to the sets, and nothing to the sums.
  void mark(const StoredReport& report) { put(report, 0, true); }

  using Key = std::tuple<Kind, Number>;
  using Cells = std::map<Key, std::map<Group, SumCell>>;
  /// The cells by item. Leaves the builder empty.
  Cells take_cells();

 private:
  struct Item {
    std::int64_t reports = 0;
    std::int64_t first_sum = 0;
    std::int64_t second_sum = 0;
    std::vector<Number> installations;
    std::vector<Number> first_set;
    std::vector<Number> second_set;
    Places places;
  };
  using Items = std::unordered_map<std::uint64_t, Item>;

  void put(const StoredReport& report, std::int64_t sign, bool is_marked);

  Filter needs_;
  std::map<Group, Items> groups_;
};

}  // namespace pelto::collector
