// What a storage counts. Nothing here is fit to be shown: the figures apply the threshold first.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "collector/report/Calendar.h"

namespace pelto::collector {

/// Which reports are counted: those of a product in a range of whole periods, `from` and `to`
/// included, and of one version if there is one. Replaced reports never count.
struct Selection {
  std::string product;
  std::optional<std::string> version;
  Period from = 0;
  Period to = 0;
};

/// `Basis::elsewhere` is only compared with a threshold, and no threshold is larger than this.
inline constexpr std::int64_t many_installations = 1000;

/// The numbers of different installations on which a number rests.
struct Basis {
  std::int64_t installations = 0;
  /// The installations on which the same number rests that is counted over all other versions of
  /// the range; 0 if no version is selected. Exact below `many_installations`; any number from
  /// there on means that many or more.
  std::int64_t elsewhere = 0;

  bool operator==(const Basis&) const = default;
};

struct PeriodRow {
  Period period = 0;
  std::int64_t reports = 0;
  Basis installations;
  /// Installations whose first counted report of the product is in this period and selected.
  Basis first_reports;
};

struct CommandRow {
  std::string command;
  std::int64_t uses = 0;
  Basis installations;
  /// Of the reports in which the command has a place.
  Basis placed;
  /// The lower median of the places; none if there are none.
  std::optional<std::int64_t> median_order;
};

struct FileTypeRow {
  std::string file_type;
  std::int64_t opened = 0;
  std::int64_t saved = 0;
  Basis installations;
  /// Of the reports with an opened or a saved count above 0.
  Basis opening;
  Basis saving;
};

struct VersionRow {
  Period period = 0;
  std::string application;
  std::string version;
  /// Elsewhere: of the same period and application.
  Basis installations;
};

/// A value of a machine's property, of each installation's latest report in the range that
/// describes the machine, by `machine_class`.
struct MachineRow {
  std::string category;
  std::string name;
  std::string value;
  Basis installations;
};

struct IntakeCounts {
  std::int64_t accepted = 0;
  std::int64_t replaced = 0;
  std::int64_t repeated = 0;
  std::map<std::string, std::int64_t> refused;
};

/// A table of counts and the installations of the whole selection. The rows' order is not defined.
template <typename Row>
struct Counts {
  Basis installations;
  std::vector<Row> rows;
};

}  // namespace pelto::collector
