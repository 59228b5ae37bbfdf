#include "collector/figures/Tables.h"

#include <algorithm>
#include <cstddef>
#include <span>
#include <string>
#include <tuple>
#include <utility>

#include "collector/figures/Threshold.h"
#include "collector/figures/VersionOrder.h"

namespace pelto::collector {

namespace {

Cell shown_if(bool is_shown, std::int64_t number) {
  return is_shown ? Cell{number} : Cell{};
}

/// Leaves out the rows that rest on few installations, and those without any.
template <typename Row>
void leave_out_few(std::vector<Row>& rows, const TableContext& context, Table& table) {
  std::erase_if(rows, [](const Row& row) { return row.installations.installations == 0; });
  table.withheld += static_cast<std::int64_t>(std::erase_if(
      rows, [&](const Row& row) { return !may_be_shown(row.installations, context.threshold); }));
}

/// Which of a group's rows are shown, so that no difference to `total` rests on few.
template <typename Row>
std::vector<Part> parts_of(std::span<const Row> group, std::optional<std::int64_t> total,
                           int threshold) {
  std::vector<Part> parts;
  parts.reserve(group.size());
  for (const Row& row : group) {
    parts.push_back({row.installations.installations, may_be_shown(row.installations, threshold)});
  }
  withhold_differences(parts, total, threshold);
  return parts;
}

/// Adds the rows, group by group, without those that are withheld. `rows` are sorted by `key_of`.
template <typename Row, typename KeyOf, typename CellsOf>
void add_groups(Table& table, const std::vector<Row>& rows, std::optional<std::int64_t> total,
                int threshold, KeyOf key_of, CellsOf cells_of) {
  for (auto begin = rows.begin(); begin != rows.end();) {
    const auto end = std::find_if(begin, rows.end(),
                                  [&](const Row& row) { return key_of(row) != key_of(*begin); });
    const std::span<const Row> group(begin, end);
    const std::vector<Part> parts = parts_of(group, total, threshold);
    for (std::size_t i = 0; i < group.size(); ++i) {
      if (parts[i].is_shown) {
        table.rows.push_back(cells_of(group[i]));
      } else {
        ++table.withheld;
      }
    }
    begin = end;
  }
}

/// The rows by period, with a row of zeros for each period in between that has none.
std::vector<PeriodRow> without_gaps(std::vector<PeriodRow> rows) {
  std::erase_if(rows, [](const PeriodRow& row) { return row.installations.installations == 0; });
  std::ranges::sort(rows, {}, &PeriodRow::period);
  std::vector<PeriodRow> all;
  for (const PeriodRow& row : rows) {
    while (!all.empty() && all.back().period + 1 < row.period) {
      PeriodRow gap;
      gap.period = all.back().period + 1;
      all.push_back(gap);
    }
    all.push_back(row);
  }
  return all;
}

}  // namespace

Table overview_table(std::vector<PeriodRow> rows, const TableContext& context) {
  rows = without_gaps(std::move(rows));
  // The new installations of all periods are parts of the total.
  std::vector<Part> new_parts;
  new_parts.reserve(rows.size());
  for (const PeriodRow& row : rows) {
    new_parts.push_back(
        {row.first_reports.installations, may_be_shown(row.installations, context.threshold) &&
                                              may_be_shown(row.first_reports, context.threshold)});
  }
  withhold_differences(new_parts, context.installations, context.threshold);

  Table table{{"period", "installations", "new", "reports"}, {}, 0};
  for (std::size_t i = 0; i < rows.size(); ++i) {
    const PeriodRow& row = rows[i];
    // In a product's first period all are new: there the one number tells the other.
    const bool tells_new = i == 0 && !new_parts[i].is_shown &&
                           row.installations.installations == new_parts[i].installations;
    if (tells_new || !may_be_shown(row.installations, context.threshold)) {
      ++table.withheld;
      continue;
    }
    table.rows.push_back({format_day(first_day_of(row.period)), row.installations.installations,
                          shown_if(new_parts[i].is_shown, new_parts[i].installations),
                          row.reports});
  }
  return table;
}

Table commands_table(std::vector<CommandRow> rows, const TableContext& context) {
  Table table{{"command", "uses", "installations", "share", "median_order"}, {}, 0};
  leave_out_few(rows, context, table);
  std::ranges::sort(rows, {}, [](const CommandRow& row) {
    return std::pair<std::int64_t, const std::string&>(-row.uses, row.command);
  });
  for (const CommandRow& row : rows) {
    const std::int64_t installations = row.installations.installations;
    const bool has_order =
        row.median_order.has_value() && may_be_shown(row.placed, context.threshold);
    table.rows.push_back(
        {row.command, row.uses, installations,
         context.installations ? Cell{share_of(installations, *context.installations)} : Cell{},
         shown_if(has_order, row.median_order.value_or(0))});
  }
  return table;
}

Table file_types_table(std::vector<FileTypeRow> rows, const TableContext& context) {
  Table table{{"file_type", "opened", "saved", "installations"}, {}, 0};
  leave_out_few(rows, context, table);
  const auto is_opened_shown = [&](const FileTypeRow& row) {
    return may_be_shown(row.opening, context.threshold);
  };
  const auto is_saved_shown = [&](const FileTypeRow& row) {
    return may_be_shown(row.saving, context.threshold);
  };
  std::ranges::sort(rows, {}, [&](const FileTypeRow& row) {
    const std::int64_t shown =
        (is_opened_shown(row) ? row.opened : 0) + (is_saved_shown(row) ? row.saved : 0);
    return std::pair<std::int64_t, const std::string&>(-shown, row.file_type);
  });
  for (const FileTypeRow& row : rows) {
    table.rows.push_back({row.file_type, shown_if(is_opened_shown(row), row.opened),
                          shown_if(is_saved_shown(row), row.saved),
                          row.installations.installations});
  }
  return table;
}

Table versions_table(std::vector<VersionRow> rows, const TableContext& context) {
  std::erase_if(rows, [](const VersionRow& row) { return row.installations.installations == 0; });
  std::ranges::sort(rows, [](const VersionRow& a, const VersionRow& b) {
    if (a.period != b.period) return a.period < b.period;
    if (a.version != b.version) return is_version_before(a.version, b.version);
    return a.application < b.application;
  });
  Table table{{"period", "application", "version", "installations"}, {}, 0};
  // The rows of one of several periods are no parts of the total: who did not report then is in
  // none of them.
  const auto total = context.is_one_period ? context.installations : std::nullopt;
  add_groups(
      table, rows, total, context.threshold, [](const VersionRow& row) { return row.period; },
      [](const VersionRow& row) -> std::vector<Cell> {
        return {format_day(first_day_of(row.period)), row.application, row.version,
                row.installations.installations};
      });
  return table;
}

Table machines_table(std::vector<MachineRow> rows, const TableContext& context) {
  std::erase_if(rows, [](const MachineRow& row) { return row.installations.installations == 0; });
  std::ranges::sort(rows, {}, [](const MachineRow& row) {
    return std::tuple<const std::string&, const std::string&, std::int64_t, const std::string&>(
        row.category, row.name, -row.installations.installations, row.value);
  });
  Table table{{"category", "name", "value", "installations"}, {}, 0};
  add_groups(
      table, rows, context.installations, context.threshold,
      [](const MachineRow& row) { return std::tie(row.category, row.name); },
      [](const MachineRow& row) -> std::vector<Cell> {
        return {row.category, row.name, row.value, row.installations.installations};
      });
  return table;
}

Table intake_table(const IntakeCounts& counts) {
  return {{"accepted", "replaced", "repeated", "refused"},
          {{counts.accepted, counts.replaced, counts.repeated, counts.refused}},
          0};
}

}  // namespace pelto::collector
