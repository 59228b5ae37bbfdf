#include "tests/collector/unit/storage/Model.h"

#include <algorithm>
#include <map>
#include <set>
#include <tuple>
#include <utility>

#include "collector/report/MachineClass.h"
#include "collector/report/RetryRule.h"

namespace pelto::collector::testing {

namespace {

using Names = std::set<std::string>;

std::int64_t size_of(const Names& names) {
  return static_cast<std::int64_t>(names.size());
}

bool is_same_sender(const Delivery& left, const Delivery& right) {
  return left.product == right.product && left.report.installation == right.report.installation;
}

bool has_version(const Report& report, const Selection& selection) {
  return !selection.version || *selection.version == report.version;
}

}  // namespace

Outcome Model::keep(Delivery delivery, TimeKind time_kind) {
  for (const Kept& kept : kept_) {
    if (kept.delivery.product == delivery.product && kept.delivery.id == delivery.id) {
      repeated_.push_back(delivery);
      return Outcome::repeated;
    }
  }
  if (time_kind == TimeKind::arrival) {
    for (const Kept& kept : kept_) {
      if (is_same_sender(kept.delivery, delivery) && kept.delivery.received >= delivery.received) {
        delivery.received = kept.delivery.received + std::chrono::seconds{1};
      }
    }
  }
  kept_.push_back({delivery});
  std::ranges::sort(kept_, {}, [](const Kept& kept) {
    return std::tie(kept.delivery.received, kept.delivery.id, kept.delivery.product);
  });
  judge();
  const auto found = std::ranges::find_if(kept_, [&](const Kept& kept) {
    return kept.delivery.product == delivery.product && kept.delivery.id == delivery.id;
  });
  return found->replaces ? Outcome::replaced : Outcome::accepted;
}

void Model::erase(const std::string& installation) {
  std::erase_if(
      kept_, [&](const Kept& kept) { return kept.delivery.report.installation == installation; });
}

void Model::judge() {
  std::map<std::pair<std::string, std::string>, Kept*> last;
  for (Kept& kept : kept_) {
    kept.is_replaced = false;
    kept.replaces = false;
    Kept*& before = last[{kept.delivery.product, kept.delivery.report.installation}];
    if (before != nullptr && is_sent_again(before->delivery.report, before->delivery.received,
                                           kept.delivery.report, kept.delivery.received)) {
      before->is_replaced = true;
      kept.replaces = true;
    }
    before = &kept;
  }
}

std::vector<const Model::Kept*> Model::counted(const Selection& selection, bool is_selected) const {
  std::vector<const Kept*> counted;
  for (const Kept& kept : kept_) {
    const Period period = period_of(kept.delivery.received);
    if (kept.is_replaced || kept.delivery.product != selection.product) continue;
    if (period < selection.from || period > selection.to) continue;
    if (has_version(kept.delivery.report, selection) == is_selected) counted.push_back(&kept);
  }
  return counted;
}

Basis Model::installations(const Selection& selection) const {
  const auto count = [&](bool is_selected) {
    Names names;
    for (const Kept* kept : counted(selection, is_selected)) {
      names.insert(kept->delivery.report.installation);
    }
    return size_of(names);
  };
  return {count(true), count(false)};
}

Counts<PeriodRow> Model::count_periods(const Selection& selection) const {
  Counts<PeriodRow> counts;
  counts.installations = installations(selection);
  std::map<std::string, const Kept*> first;
  for (const Kept& kept : kept_) {
    if (kept.is_replaced || kept.delivery.product != selection.product) continue;
    first.emplace(kept.delivery.report.installation, &kept);
  }
  for (Period period = selection.from; period <= selection.to; ++period) {
    Selection one = selection;
    one.from = period;
    one.to = period;
    PeriodRow row{period, 0, installations(one), {}};
    row.reports = static_cast<std::int64_t>(counted(one, true).size());
    for (const auto& [name, kept] : first) {
      if (period_of(kept->delivery.received) != period) continue;
      ++(has_version(kept->delivery.report, selection) ? row.first_reports.installations
                                                       : row.first_reports.elsewhere);
    }
    if (row.reports > 0) counts.rows.push_back(row);
  }
  return counts;
}

Counts<CommandRow> Model::count_commands(const Selection& selection) const {
  struct Sum {
    std::int64_t uses = 0;
    Names all[2];
    Names placed[2];
    std::vector<std::int64_t> places;
    bool is_row = false;
  };
  std::map<std::string, Sum> sums;
  for (const bool is_selected : {false, true}) {
    for (const Kept* kept : counted(selection, is_selected)) {
      const Report& report = kept->delivery.report;
      for (const CommandCount& command : report.commands) {
        Sum& sum = sums[command.name];
        sum.all[is_selected].insert(report.installation);
        if (command.order > 0) sum.placed[is_selected].insert(report.installation);
        if (!is_selected) continue;
        sum.is_row = true;
        sum.uses += command.uses;
        if (command.order > 0) sum.places.push_back(command.order);
      }
    }
  }
  Counts<CommandRow> counts;
  counts.installations = installations(selection);
  for (auto& [name, sum] : sums) {
    if (!sum.is_row) continue;
    CommandRow row{name, sum.uses, {}, {}, {}};
    row.installations = {size_of(sum.all[1]), size_of(sum.all[0])};
    row.placed = {size_of(sum.placed[1]), size_of(sum.placed[0])};
    std::ranges::sort(sum.places);
    if (!sum.places.empty()) row.median_order = sum.places[(sum.places.size() - 1) / 2];
    counts.rows.push_back(row);
  }
  return counts;
}

Counts<FileTypeRow> Model::count_file_types(const Selection& selection) const {
  struct Sum {
    FileTypeRow row;
    Names all[2];
    Names opening[2];
    Names saving[2];
    bool is_row = false;
  };
  std::map<std::string, Sum> sums;
  for (const bool is_selected : {false, true}) {
    for (const Kept* kept : counted(selection, is_selected)) {
      const Report& report = kept->delivery.report;
      for (const FileTypeCount& file_type : report.file_types) {
        Sum& sum = sums[file_type.name];
        sum.all[is_selected].insert(report.installation);
        if (file_type.opened > 0) sum.opening[is_selected].insert(report.installation);
        if (file_type.saved > 0) sum.saving[is_selected].insert(report.installation);
        if (!is_selected) continue;
        sum.is_row = true;
        sum.row.opened += file_type.opened;
        sum.row.saved += file_type.saved;
      }
    }
  }
  Counts<FileTypeRow> counts;
  counts.installations = installations(selection);
  for (auto& [name, sum] : sums) {
    if (!sum.is_row) continue;
    sum.row.file_type = name;
    sum.row.installations = {size_of(sum.all[1]), size_of(sum.all[0])};
    sum.row.opening = {size_of(sum.opening[1]), size_of(sum.opening[0])};
    sum.row.saving = {size_of(sum.saving[1]), size_of(sum.saving[0])};
    counts.rows.push_back(sum.row);
  }
  return counts;
}

Counts<VersionRow> Model::count_versions(const Selection& selection) const {
  std::map<std::tuple<Period, std::string, std::string>, Names> selected;
  for (const Kept* kept : counted(selection, true)) {
    const Report& report = kept->delivery.report;
    selected[{period_of(kept->delivery.received), report.application, report.version}].insert(
        report.installation);
  }
  Counts<VersionRow> counts;
  counts.installations = installations(selection);
  for (const auto& [key, names] : selected) {
    const auto& [period, application, version] = key;
    Names others;
    for (const Kept* kept : counted(selection, false)) {
      const Report& report = kept->delivery.report;
      if (report.application != application) continue;
      if (period_of(kept->delivery.received) == period) others.insert(report.installation);
    }
    counts.rows.push_back({period, application, version, {size_of(names), size_of(others)}});
  }
  return counts;
}

Counts<MachineRow> Model::count_machines(const Selection& selection) const {
  std::map<std::tuple<std::string, std::string, std::string>, Basis> sums;
  for (const bool is_selected : {false, true}) {
    std::map<std::string, const Report*> latest;
    for (const Kept* kept : counted(selection, is_selected)) {
      const Report& report = kept->delivery.report;
      if (!report.machine.empty()) latest[report.installation] = &report;
    }
    for (const auto& [name, report] : latest) {
      for (const MachineValue& property : report->machine) {
        Basis& sum = sums[{property.category, property.name, machine_class(property).value()}];
        ++(is_selected ? sum.installations : sum.elsewhere);
      }
    }
  }
  Counts<MachineRow> counts;
  counts.installations = installations(selection);
  for (const auto& [key, basis] : sums) {
    const auto& [category, name, value] = key;
    if (basis.installations > 0) counts.rows.push_back({category, name, value, basis});
  }
  return counts;
}

IntakeCounts Model::count_intake(const Selection& selection) const {
  IntakeCounts counts;
  const auto is_selected = [&](const Delivery& delivery) {
    const Period period = period_of(delivery.received);
    return delivery.product == selection.product && period >= selection.from &&
           period <= selection.to;
  };
  for (const Kept& kept : kept_) {
    if (!is_selected(kept.delivery)) continue;
    ++counts.accepted;
    if (kept.replaces) ++counts.replaced;
  }
  counts.repeated = std::ranges::count_if(repeated_, is_selected);
  return counts;
}

std::vector<KeptDelivery> Model::deliveries() const {
  std::vector<KeptDelivery> deliveries;
  for (const Kept& kept : kept_) {
    KeptDelivery delivery{kept.delivery, kept.is_replaced};
    Report& report = delivery.delivery.report;
    report.email.clear();
    report.adapter_hash.clear();
    report.text.clear();
    report.is_capped = false;
    std::ranges::sort(report.commands, {}, &CommandCount::name);
    std::ranges::sort(report.file_types, {}, &FileTypeCount::name);
    std::ranges::sort(report.machine, {}, [](const MachineValue& property) {
      return std::tie(property.category, property.name);
    });
    deliveries.push_back(std::move(delivery));
  }
  return deliveries;
}

std::optional<std::pair<Period, Period>> Model::periods(const std::string& product) const {
  std::optional<std::pair<Period, Period>> range;
  for (const Kept& kept : kept_) {
    if (kept.is_replaced || kept.delivery.product != product) continue;
    const Period period = period_of(kept.delivery.received);
    if (!range) range = {period, period};
    range->second = period;
  }
  return range;
}

}  // namespace pelto::collector::testing
