#include "collector/fleet/Oracle.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <set>
#include <utility>

namespace pelto::collector {

namespace {

using Json = nlohmann::ordered_json;

constexpr char product_name[] = "default";

bool is_in_range(const OracleQuery& query, Period period) {
  return period >= query.from.value_or(period) && period <= query.to.value_or(period);
}

bool is_selected(const OracleQuery& query, Period period, const Report& report) {
  return is_in_range(query, period) && report.version == query.version.value_or(report.version);
}

/// As "8 GiB": the largest power of two that is not above the number.
std::string size_class(std::int64_t bytes) {
  std::int64_t power = 1;
  while (power <= bytes / 2) power *= 2;
  std::size_t unit = 0;
  constexpr std::array units{" B", " KiB", " MiB", " GiB", " TiB", " PiB"};
  for (; power >= 1024; power /= 1024) ++unit;
  return std::to_string(power) + units[unit];
}

/// The value as it is shown.
std::string shown_value(const MachineValue& property) {
  if (property.name == "AdapterRAM") {
    const std::int64_t bytes = std::strtoll(property.value.c_str(), nullptr, 10);
    return size_class(bytes < 0 ? bytes + 4'294'967'296 : bytes);
  }
  if (property.name == "TotalPhysicalMemory" || property.name == "Size") {
    return size_class(std::strtoll(property.value.c_str(), nullptr, 10));
  }
  return property.value;
}

std::string shown_file_type(const std::string& name) {
  // The simulated odd ones have such a character, or are long and in ASCII.
  const bool is_odd = name.find_first_of("/\\: ") != std::string::npos || name.size() > 32;
  return is_odd ? "(other)" : name;
}

std::vector<long> version_numbers(const std::string& version) {
  std::vector<long> numbers;
  const char* at = version.c_str();
  while (*at != '\0') {
    char* end = nullptr;
    numbers.push_back(std::strtol(at, &end, 10));
    at = *end == '.' ? end + 1 : end;
  }
  return numbers;
}

/// A fraction with 4 digits.
double share_of(std::int64_t part, std::int64_t whole) {
  if (whole == 0) return 0;
  const std::int64_t ten_thousandths = (part * 20'000 + whole) / (2 * whole);
  return static_cast<double>(ten_thousandths) / 10'000;
}

Json lower_median(const std::map<std::int64_t, std::int64_t>& reports_by_place) {
  std::int64_t total = 0;
  for (const auto& [place, reports] : reports_by_place) total += reports;
  std::int64_t passed = 0;
  for (const auto& [place, reports] : reports_by_place) {
    passed += reports;
    if (passed >= (total + 1) / 2) return place;
  }
  return nullptr;
}

/// Adds 1 to `count` if `installation` has not been counted there yet.
void count_once(std::int64_t& count, std::int64_t& last, std::int64_t installation) {
  if (last == installation) return;
  last = installation;
  ++count;
}

struct Row {
  Json row;
  Json basis;
};

/// Rows and their basis as two lists.
std::pair<Json, Json> split(const std::vector<Row>& rows) {
  Json shown = Json::array();
  Json basis = Json::array();
  for (const Row& row : rows) {
    shown.push_back(row.row);
    basis.push_back(row.basis);
  }
  return {shown, basis};
}

}  // namespace

Oracle::Oracle(const std::vector<OracleQuery>& queries) {
  for (const OracleQuery& query : queries) tallies_.emplace_back().query = query;
}

void Oracle::add(const std::vector<Arrival>& arrivals) {
  ++installation_;
  const std::vector<Counted> counted = find_counted(arrivals);
  for (const Counted& report : counted) {
    first_period_ = std::min(first_period_.value_or(report.period), report.period);
    last_period_ = std::max(last_period_.value_or(report.period), report.period);
  }
  for (Tally& tally : tallies_) {
    count(tally, counted);
    count_arrivals(tally, arrivals);
  }
}

std::vector<Oracle::Counted> Oracle::find_counted(const std::vector<Arrival>& arrivals) {
  std::vector<Counted> counted;
  for (const Arrival& arrival : arrivals) {
    if (arrival.is_repeated) continue;
    // A replacing report counts in its own period only.
    if (arrival.replaces) counted.pop_back();
    counted.push_back({period_of(arrival.delivery.time), &arrival.read, {}, false});
  }
  if (!counted.empty()) counted.front().is_first = true;
  for (Counted& report : counted) {
    for (const CommandCount& command : report.report->commands) {
      report.commands.push_back(number_of(command.name));
    }
  }
  return counted;
}

std::size_t Oracle::number_of(const std::string& command) {
  const auto [position, is_new] = numbers_.try_emplace(command, names_.size());
  if (is_new) names_.push_back(command);
  return position->second;
}

void Oracle::count(Tally& tally, const std::vector<Counted>& counted) const {
  std::set<Period> periods;
  std::set<std::tuple<Period, std::string, std::string>> versions;
  const Report* described = nullptr;
  for (const Counted& report : counted) {
    if (!is_selected(tally.query, report.period, *report.report)) continue;
    PeriodTally& period = tally.periods[report.period];
    ++period.reports;
    if (report.is_first) ++period.first_reports;
    periods.insert(report.period);
    versions.emplace(report.period, report.report->application, report.report->version);
    if (!report.report->machine.empty()) described = report.report;
    count_commands(tally, report);
    count_file_types(tally, *report.report);
  }
  if (!periods.empty()) ++tally.installations;
  for (const Period period : periods) ++tally.periods[period].installations;
  for (const auto& version : versions) ++tally.versions[version];
  if (described == nullptr) return;
  for (const MachineValue& property : described->machine) {
    if (property.name == "MACAddress") continue;
    ++tally.machines[{property.category, property.name, shown_value(property)}];
  }
}

void Oracle::count_commands(Tally& tally, const Counted& counted) const {
  if (tally.commands.size() < names_.size()) tally.commands.resize(names_.size());
  for (std::size_t i = 0; i < counted.commands.size(); ++i) {
    const CommandCount& command = counted.report->commands[i];
    CommandTally& entry = tally.commands[counted.commands[i]];
    entry.uses += command.uses;
    count_once(entry.installations, entry.last, installation_);
    if (command.order == 0) continue;
    ++entry.reports_by_place[command.order];
    count_once(entry.placed_installations, entry.last_placed, installation_);
  }
}

void Oracle::count_file_types(Tally& tally, const Report& report) const {
  for (const FileTypeCount& file_type : report.file_types) {
    FileTypeTally& entry = tally.file_types[shown_file_type(file_type.name)];
    entry.opened += file_type.opened;
    entry.saved += file_type.saved;
    count_once(entry.installations, entry.last, installation_);
    if (file_type.opened > 0) {
      count_once(entry.opening_installations, entry.last_opening, installation_);
    }
    if (file_type.saved > 0) {
      count_once(entry.saving_installations, entry.last_saving, installation_);
    }
  }
}

void Oracle::count_arrivals(Tally& tally, const std::vector<Arrival>& arrivals) {
  for (const Arrival& arrival : arrivals) {
    if (!is_in_range(tally.query, period_of(arrival.delivery.time))) continue;
    if (arrival.is_repeated) {
      ++tally.intake.repeated;
      continue;
    }
    ++tally.intake.accepted;
    if (arrival.replaces) ++tally.intake.replaced;
  }
}

Json Oracle::answers() const {
  Json figures;
  for (const char* const name :
       {"overview", "commands", "file-types", "versions", "machines", "intake"}) {
    figures[name] = Json::array();
  }
  if (!first_period_) return figures;
  for (const Tally& tally : tallies_) {
    add_overview(tally, figures["overview"]);
    add_commands(tally, figures["commands"]);
    add_file_types(tally, figures["file-types"]);
    add_versions(tally, figures["versions"]);
    add_machines(tally, figures["machines"]);
    if (!tally.query.version) add_intake(tally, figures["intake"]);
  }
  return figures;
}

Json Oracle::query_of(const Tally& tally) const {
  Json query;
  query["version"] = tally.query.version ? Json(*tally.query.version) : Json();
  query["from"] = tally.query.from ? Json(format_day(first_day_of(*tally.query.from))) : Json();
  query["to"] = tally.query.to ? Json(format_day(last_day_of(*tally.query.to))) : Json();
  return query;
}

Json Oracle::answer_of(const Tally& tally, Json rows) const {
  Json answer;
  answer["product"] = product_name;
  answer["version"] = tally.query.version ? Json(*tally.query.version) : Json();
  answer["from"] = format_day(first_day_of(tally.query.from.value_or(*first_period_)));
  answer["to"] = format_day(last_day_of(tally.query.to.value_or(*last_period_)));
  answer["threshold"] = 1;
  answer["installations"] = tally.installations;
  answer["rows"] = std::move(rows);
  answer["withheld"]["rows"] = 0;
  return answer;
}

void Oracle::add_overview(const Tally& tally, Json& answers) const {
  std::vector<Row> rows;
  // A period without reports has a row if it lies between two that have some.
  const Period first = tally.periods.empty() ? 0 : tally.periods.begin()->first;
  const Period last = tally.periods.empty() ? -1 : tally.periods.rbegin()->first;
  for (Period period = first; period <= last; ++period) {
    const auto found = tally.periods.find(period);
    const PeriodTally entry = found == tally.periods.end() ? PeriodTally{} : found->second;
    rows.push_back({{{"period", format_day(first_day_of(period))},
                     {"installations", entry.installations},
                     {"new", entry.first_reports},
                     {"reports", entry.reports}},
                    {{"installations", entry.installations},
                     {"new", entry.first_reports},
                     {"reports", entry.installations}}});
  }
  auto [shown, basis] = split(rows);
  answers.push_back(
      {{"query", query_of(tally)}, {"answer", answer_of(tally, shown)}, {"basis", basis}});
}

void Oracle::add_commands(const Tally& tally, Json& answers) const {
  std::vector<std::size_t> order;
  for (std::size_t i = 0; i < tally.commands.size(); ++i) {
    if (tally.commands[i].installations > 0) order.push_back(i);
  }
  std::ranges::sort(order, [&](std::size_t a, std::size_t b) {
    return std::pair(-tally.commands[a].uses, names_[a]) <
           std::pair(-tally.commands[b].uses, names_[b]);
  });
  std::vector<Row> rows;
  for (const std::size_t i : order) {
    const CommandTally& entry = tally.commands[i];
    rows.push_back({{{"command", names_[i]},
                     {"uses", entry.uses},
                     {"installations", entry.installations},
                     {"share", share_of(entry.installations, tally.installations)},
                     {"median_order", lower_median(entry.reports_by_place)}},
                    {{"uses", entry.installations},
                     {"installations", entry.installations},
                     {"share", entry.installations},
                     {"median_order", entry.placed_installations}}});
  }
  auto [shown, basis] = split(rows);
  answers.push_back(
      {{"query", query_of(tally)}, {"answer", answer_of(tally, shown)}, {"basis", basis}});
}

void Oracle::add_file_types(const Tally& tally, Json& answers) const {
  std::vector<std::pair<std::string, FileTypeTally>> order(tally.file_types.begin(),
                                                           tally.file_types.end());
  std::ranges::stable_sort(order, [](const auto& a, const auto& b) {
    return a.second.opened + a.second.saved > b.second.opened + b.second.saved;
  });
  std::vector<Row> rows;
  rows.reserve(order.size());
  for (const auto& [name, entry] : order) {
    rows.push_back({{{"file_type", name},
                     {"opened", entry.opened},
                     {"saved", entry.saved},
                     {"installations", entry.installations}},
                    {{"opened", entry.opening_installations},
                     {"saved", entry.saving_installations},
                     {"installations", entry.installations}}});
  }
  auto [shown, basis] = split(rows);
  answers.push_back(
      {{"query", query_of(tally)}, {"answer", answer_of(tally, shown)}, {"basis", basis}});
}

void Oracle::add_versions(const Tally& tally, Json& answers) const {
  std::vector<std::pair<std::tuple<Period, std::string, std::string>, std::int64_t>> order(
      tally.versions.begin(), tally.versions.end());
  std::ranges::sort(order, {}, [](const auto& entry) {
    const auto& [period, application, version] = entry.first;
    return std::tuple(period, version_numbers(version), application);
  });
  std::vector<Row> rows;
  rows.reserve(order.size());
  for (const auto& [key, installations] : order) {
    const auto& [period, application, version] = key;
    rows.push_back({{{"period", format_day(first_day_of(period))},
                     {"application", application},
                     {"version", version},
                     {"installations", installations}},
                    {{"installations", installations}}});
  }
  auto [shown, basis] = split(rows);
  answers.push_back(
      {{"query", query_of(tally)}, {"answer", answer_of(tally, shown)}, {"basis", basis}});
}

void Oracle::add_machines(const Tally& tally, Json& answers) const {
  std::vector<std::pair<std::tuple<std::string, std::string, std::string>, std::int64_t>> order(
      tally.machines.begin(), tally.machines.end());
  std::ranges::sort(order, {}, [](const auto& entry) {
    const auto& [category, name, value] = entry.first;
    return std::tuple(category, name, -entry.second, value);
  });
  std::vector<Row> rows;
  for (const auto& [key, installations] : order) {
    const auto& [category, name, value] = key;
    rows.push_back({{{"category", category},
                     {"name", name},
                     {"value", value},
                     {"installations", installations}},
                    {{"installations", installations}}});
  }
  auto [shown, basis] = split(rows);
  answers.push_back(
      {{"query", query_of(tally)}, {"answer", answer_of(tally, shown)}, {"basis", basis}});
}

void Oracle::add_intake(const Tally& tally, Json& answers) const {
  Json row;
  row["accepted"] = tally.intake.accepted;
  row["replaced"] = tally.intake.replaced;
  row["repeated"] = tally.intake.repeated;
  row["refused"] = Json::object();
  // Intake counts deliveries, not people: its numbers rest on no installation.
  answers.push_back({{"query", query_of(tally)},
                     {"answer", answer_of(tally, Json::array({row}))},
                     {"basis", Json::array()}});
}

}  // namespace pelto::collector
