#include "collector/storage/sqlite/Counting.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <functional>
#include <limits>
#include <map>
#include <ranges>
#include <unordered_map>
#include <vector>

#include "collector/storage/sqlite/CellScan.h"
#include "collector/storage/sqlite/Keeping.h"
#include "collector/storage/sqlite/Names.h"

namespace pelto::collector {

namespace {

constexpr Period first_of_all = std::numeric_limits<Period>::min();
constexpr Period last_of_all = std::numeric_limits<Period>::max();

/// A union of sets that are added one after the other.
class Union {
 public:
  void add(const Installations& set) {
    roaring_bitmap_lazy_or_inplace(&set_.roaring, &set.roaring, true);
    is_clean_ = false;
  }
  const Installations& set() {
    if (!is_clean_) roaring_bitmap_repair_after_lazy(&set_.roaring);
    is_clean_ = true;
    return set_;
  }
  std::int64_t size() { return static_cast<std::int64_t>(set().cardinality()); }
  bool has_many() { return size() >= many_installations; }

 private:
  Installations set_;
  bool is_clean_ = true;
};

/// The two sides of a selection.
struct BasisUnion {
  Union selected;
  Union elsewhere;

  void add(const Installations& set, bool is_selected) {
    if (is_selected) {
      selected.add(set);
    } else if (!elsewhere.has_many()) {
      elsewhere.add(set);
    }
  }
  /// Whether a set of that side would change what is returned.
  bool needs(bool is_selected) { return is_selected || !elsewhere.has_many(); }
  Basis basis() { return {selected.size(), std::min(elsewhere.size(), many_installations)}; }
};

/// The union of sets and that of their parts, which are the whole sets as a rule.
struct PartUnion {
  BasisUnion whole;
  BasisUnion part;
  bool is_whole = true;

  void add(const Installations& set, const std::optional<Installations>& set_part,
           bool is_selected) {
    if (is_whole && set_part) {
      part = whole;
      is_whole = false;
    }
    whole.add(set, is_selected);
    if (!is_whole) part.add(set_part ? *set_part : set, is_selected);
  }
  bool needs(bool is_selected) {
    return whole.needs(is_selected) || (!is_whole && part.needs(is_selected));
  }
  Basis part_basis() { return is_whole ? whole.basis() : part.basis(); }
};

/// Sums of places. Nearly all are small.
class PlaceSum {
 public:
  void add(const Places& places) {
    for (const auto& [place, reports] : places) {
      if (place < largest_small) {
        if (small_.empty()) small_.resize(largest_small);
        small_[static_cast<std::size_t>(place)] += reports;
      } else {
        large_[place] += reports;
      }
      count_ += reports;
    }
  }
  /// The lower median; none without a place.
  std::optional<std::int64_t> median() const {
    std::int64_t left = (count_ + 1) / 2;
    if (left <= 0) return std::nullopt;
    for (std::size_t place = 0; place < small_.size(); ++place) {
      left -= small_[place];
      if (left <= 0) return static_cast<std::int64_t>(place);
    }
    for (const auto& [place, reports] : large_) {
      left -= reports;
      if (left <= 0) return place;
    }
    return std::nullopt;
  }

 private:
  static constexpr std::int64_t largest_small = 1024;
  std::vector<std::int64_t> small_;
  std::map<std::int64_t, std::int64_t> large_;
  std::int64_t count_ = 0;
};

/// A selection in the storage's numbers.
class Scope {
 public:
  Scope(Connection& connection, const Selection& selection)
      : connection_(connection),
        selection_(selection),
        product_(find_product(connection, selection.product)) {
    Query version = connection.query("SELECT number, text FROM name WHERE kind = ?1",
                                     static_cast<std::int64_t>(Kind::version));
    while (version->executeStep()) {
      const auto number = static_cast<Number>(version->getColumn(0).getInt64());
      if (auto found = split_version(bytes_of(version->getColumn(1)))) {
        versions_.emplace(number, std::move(*found));
      }
    }
  }

  std::int64_t product() const { return product_; }
  bool has_version() const { return selection_.version.has_value(); }
  Period from() const { return selection_.from; }
  Period to() const { return selection_.to; }
  bool is_in_range(Period period) const {
    return period >= selection_.from && period <= selection_.to;
  }
  bool is_selected(Number version) const {
    if (!selection_.version) return true;
    const Version* const found = find_version(version);
    return found != nullptr && found->version == *selection_.version;
  }
  /// Null for one that is damaged.
  const Version* find_version(Number number) const {
    const auto found = versions_.find(number);
    return found == versions_.end() ? nullptr : &found->second;
  }

 private:
  Connection& connection_;
  const Selection& selection_;
  std::int64_t product_;
  std::unordered_map<Number, Version> versions_;
};

/// All installations of the selection.
Basis count_all(CellScan& scan, const Scope& scope) {
  BasisUnion all;
  scan.run(Kind::report,
           {scope.from(), scope.to(),
            [&](const Group& group) { return all.needs(scope.is_selected(group.version)); },
            [&](const Group& group, const SumCell& cell) {
              all.add(cell.installations, scope.is_selected(group.version));
            },
            [](Number) {}});
  return all.basis();
}

std::int64_t seconds_of(Day day) {
  return Time{day}.time_since_epoch().count();
}

bool needs_all(const Group&) {
  return true;
}

/// Calls `take` with each cell of a kind that has one item.
void for_each_cell(CellScan& scan, Kind kind, Period from, Period to,
                   const std::function<void(const Group&, const SumCell&)>& take) {
  scan.run(kind, {from, to, needs_all, take, [](Number) {}});
}

/// The version of the installation's first counted report.
Number first_version(Connection& connection, std::int64_t product, Number installation) {
  return static_cast<Number>(connection.number(
      0,
      "SELECT version FROM report WHERE installation = ?1 AND product = ?2 AND replaced = 0 "
      "ORDER BY received, delivery LIMIT 1",
      std::int64_t{installation}, product));
}

/// Adds up the cells of a command.
class CommandSum {
 public:
  bool needs(bool is_selected) { return sets_.needs(is_selected); }
  void add(const SumCell& cell, bool is_selected) {
    sets_.add(cell.installations, cell.first_set, is_selected);
    if (!is_selected) return;
    uses_ += cell.first_sum;
    places_.add(cell.places);
  }
  CommandRow row(const std::string& name) {
    return {name, uses_, sets_.whole.basis(), sets_.part_basis(), places_.median()};
  }

 private:
  std::int64_t uses_ = 0;
  PartUnion sets_;
  PlaceSum places_;
};

/// Adds up the cells of a file type.
class FileTypeSum {
 public:
  static bool needs(bool) { return true; }
  void add(const SumCell& cell, bool is_selected) {
    all_.add(cell.installations, is_selected);
    opening_.add(cell.first(), is_selected);
    saving_.add(cell.second(), is_selected);
    if (!is_selected) return;
    opened_ += cell.first_sum;
    saved_ += cell.second_sum;
  }
  FileTypeRow row(const std::string& name) {
    return {name, opened_, saved_, all_.basis(), opening_.basis(), saving_.basis()};
  }

 private:
  std::int64_t opened_ = 0;
  std::int64_t saved_ = 0;
  BasisUnion all_;
  BasisUnion opening_;
  BasisUnion saving_;
};

/// The rows of the items of a kind. A `Sum` adds up the cells of one item.
template <typename Row, typename Sum>
Counts<Row> count_items(Connection& connection, const Selection& selection, Kind kind) {
  const Scope scope(connection, selection);
  CellScan scan(connection, scope.product(), {Kind::report, kind});
  Counts<Row> counts;
  counts.installations = count_all(scan, scope);

  Names names(connection);
  Sum sum;
  std::int64_t reports = 0;
  scan.run(kind, {selection.from, selection.to,
                  [&](const Group& group) { return sum.needs(scope.is_selected(group.version)); },
                  [&](const Group& group, const SumCell& cell) {
                    const bool is_selected = scope.is_selected(group.version);
                    sum.add(cell, is_selected);
                    if (is_selected) reports += cell.reports;
                  },
                  [&](Number item) {
                    // What has lost its name cannot be shown.
                    if (reports > 0 && names.knows(kind, item)) {
                      counts.rows.push_back(sum.row(names.text_of(item)));
                    }
                    sum = {};
                    reports = 0;
                  }});
  return counts;
}

/// What describes the machines of one side of a selection: which installations' values count in
/// which period, and which installations have to be looked up.
struct MachineSide {
  std::map<Period, Installations> described;
  std::map<Period, Installations> ambiguous;
  std::map<Period, Installations> counted;
  Installations to_look_up;

  void add(Period period, const SumCell& cell) {
    Installations& known = described[period];
    ambiguous[period] |= known & cell.installations;
    ambiguous[period] |= cell.first();
    known |= cell.installations;
  }

  /// An installation counts in the last period in which it described its machine.
  void decide() {
    Installations seen;
    for (const auto& [period, installations] : described | std::views::reverse) {
      const Installations latest = installations - seen;
      const Installations& twice = ambiguous[period];
      counted[period] = latest - twice;
      to_look_up |= latest & twice;
      seen |= installations;
    }
  }
};

/// The values of the installation's latest description on one side of the selection.
void look_up_machine(Connection& connection, Names& names, const Scope& scope,
                     const Selection& selection, Number installation, bool is_selected,
                     std::map<Number, std::int64_t>& counts) {
  Query found = connection.query(
      "SELECT number, installation, product, received, version, packed FROM report "
      "WHERE installation = ?1 AND product = ?2 AND received >= ?3 AND received < ?4 "
      "AND replaced = 0 ORDER BY received DESC, delivery DESC",
      std::int64_t{installation}, scope.product(), seconds_of(first_day_of(selection.from)),
      seconds_of(first_day_of(selection.to + 1)));
  StoredReport report;
  while (found->executeStep()) {
    read_report(*found.operator->(), names, report);
    if (report.counts.machine.empty()) continue;
    if (scope.is_selected(report.group.version) != is_selected) continue;
    for (const auto& property : report.counts.machine) ++counts[property.name];
    return;
  }
}

}  // namespace

std::optional<std::pair<Period, Period>> read_periods(Connection& connection,
                                                      const std::string& product) {
  const std::int64_t number = find_product(connection, product);
  std::map<Period, std::int64_t> reports;
  CellScan scan(connection, number, {Kind::report});
  for_each_cell(
      scan, Kind::report, first_of_all, last_of_all,
      [&](const Group& group, const SumCell& cell) { reports[group.period] += cell.reports; });
  std::erase_if(reports, [](const auto& entry) { return entry.second == 0; });
  if (reports.empty()) return std::nullopt;
  return std::pair{reports.begin()->first, reports.rbegin()->first};
}

Counts<PeriodRow> count_periods(Connection& connection, const Selection& selection) {
  const Scope scope(connection, selection);
  CellScan scan(connection, scope.product(), {Kind::report});
  struct Sides {
    std::int64_t reports = 0;
    Installations selected;
    Installations elsewhere;
  };
  std::map<Period, Sides> periods;
  for_each_cell(scan, Kind::report, first_of_all, selection.to,
                [&](const Group& group, const SumCell& cell) {
                  Sides& sides = periods[group.period];
                  const bool is_selected = scope.is_selected(group.version);
                  if (is_selected) sides.reports += cell.reports;
                  (is_selected ? sides.selected : sides.elsewhere) |= cell.installations;
                });

  Counts<PeriodRow> counts;
  Installations seen;
  BasisUnion all;
  for (const auto& [period, sides] : periods) {
    if (scope.is_in_range(period)) {
      all.add(sides.selected, true);
      all.add(sides.elsewhere, false);
      PeriodRow row{period, sides.reports, {}, {}};
      const auto size = [](const Installations& set) {
        return static_cast<std::int64_t>(set.cardinality());
      };
      row.installations = {size(sides.selected), size(sides.elsewhere)};
      const Installations both = (sides.selected & sides.elsewhere) - seen;
      row.first_reports = {size(sides.selected - seen - both), size(sides.elsewhere - seen - both)};
      for (const Number installation : both) {
        const Number version = first_version(connection, scope.product(), installation);
        ++(scope.is_selected(version) ? row.first_reports.installations
                                      : row.first_reports.elsewhere);
      }
      if (row.reports > 0) counts.rows.push_back(row);
    }
    seen |= sides.selected;
    seen |= sides.elsewhere;
  }
  counts.installations = all.basis();
  return counts;
}

Counts<CommandRow> count_commands(Connection& connection, const Selection& selection) {
  return count_items<CommandRow, CommandSum>(connection, selection, Kind::command);
}

Counts<FileTypeRow> count_file_types(Connection& connection, const Selection& selection) {
  return count_items<FileTypeRow, FileTypeSum>(connection, selection, Kind::file_type);
}

Counts<VersionRow> count_versions(Connection& connection, const Selection& selection) {
  const Scope scope(connection, selection);
  CellScan scan(connection, scope.product(), {Kind::report});
  Counts<VersionRow> counts;
  counts.installations = count_all(scan, scope);

  struct Sum {
    std::int64_t reports = 0;
    Installations installations;
  };
  std::map<Period, std::map<Number, Sum>> periods;
  for_each_cell(scan, Kind::report, selection.from, selection.to,
                [&](const Group& group, const SumCell& cell) {
                  Sum& sum = periods[group.period][group.version];
                  sum.reports += cell.reports;
                  sum.installations |= cell.installations;
                });
  for (const auto& [period, versions] : periods) {
    for (const auto& [number, sum] : versions) {
      if (sum.reports == 0 || !scope.is_selected(number)) continue;
      const Version* const version = scope.find_version(number);
      if (version == nullptr) continue;
      BasisUnion all;
      all.add(sum.installations, true);
      for (const auto& [other, other_sum] : versions) {
        if (!scope.has_version() || scope.is_selected(other)) continue;
        const Version* const other_version = scope.find_version(other);
        if (other_version == nullptr || other_version->application != version->application) {
          continue;
        }
        all.add(other_sum.installations, false);
      }
      counts.rows.push_back({period, version->application, version->version, all.basis()});
    }
  }
  return counts;
}

Counts<MachineRow> count_machines(Connection& connection, const Selection& selection) {
  const Scope scope(connection, selection);
  CellScan scan(connection, scope.product(), {Kind::report, Kind::described, Kind::machine});
  Counts<MachineRow> counts;
  counts.installations = count_all(scan, scope);

  MachineSide sides[2];
  for_each_cell(scan, Kind::described, selection.from, selection.to,
                [&](const Group& group, const SumCell& cell) {
                  sides[scope.is_selected(group.version) ? 1 : 0].add(group.period, cell);
                });
  Names names(connection);
  std::map<Number, std::int64_t> sums[2];
  for (const bool is_selected : {false, true}) {
    MachineSide& side = sides[is_selected ? 1 : 0];
    side.decide();
    for (const Number installation : side.to_look_up) {
      look_up_machine(connection, names, scope, selection, installation, is_selected,
                      sums[is_selected ? 1 : 0]);
    }
  }
  std::int64_t found[2] = {0, 0};
  scan.run(Kind::machine,
           {selection.from, selection.to, needs_all,
            [&](const Group& group, const SumCell& cell) {
              const int side = scope.is_selected(group.version) ? 1 : 0;
              found[side] += static_cast<std::int64_t>(
                  cell.installations.and_cardinality(sides[side].counted[group.period]));
            },
            [&](Number item) {
              for (const int side : {0, 1}) {
                if (found[side] > 0) sums[side][item] += found[side];
                found[side] = 0;
              }
            }});

  for (const auto& [item, installations] : sums[1]) {
    auto value = find_property(names, item);
    if (!value) continue;
    const auto elsewhere = sums[0].find(item);
    counts.rows.push_back({std::move(value->category),
                           std::move(value->name),
                           std::move(value->value),
                           {installations, elsewhere == sums[0].end() ? 0 : elsewhere->second}});
  }
  return counts;
}

IntakeCounts count_intake(Connection& connection, const Selection& selection) {
  IntakeCounts counts;
  const auto day_number = [](Day day) { return std::int64_t{day.time_since_epoch().count()}; };
  Query row = connection.query(
      "SELECT outcome, code, sum(deliveries) FROM intake WHERE product IN (?1, 0) "
      "AND day BETWEEN ?2 AND ?3 GROUP BY outcome, code",
      find_product(connection, selection.product), day_number(first_day_of(selection.from)),
      day_number(last_day_of(selection.to)));
  while (row->executeStep()) {
    const std::string outcome = row->getColumn(0).getString();
    const std::int64_t deliveries = row->getColumn(2).getInt64();
    if (deliveries == 0) continue;
    if (outcome == "accepted") counts.accepted = deliveries;
    if (outcome == "replaced") counts.replaced = deliveries;
    if (outcome == "repeated") counts.repeated = deliveries;
    if (outcome == "refused") counts.refused[row->getColumn(1).getString()] = deliveries;
  }
  return counts;
}

}  // namespace pelto::collector
