// What the figures must be, counted from the simulation alone. It is the second opinion on the
// collector's figures, so it shares no code with their counting and aims at being plain, not fast.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <unordered_map>
#include <vector>

#include <nlohmann/json.hpp>

#include "collector/fleet/Arrival.h"

namespace pelto::collector {

/// A range of periods, both included, and a version; none means all.
struct OracleQuery {
  std::optional<Period> from;
  std::optional<Period> to;
  std::optional<std::string> version;
};

class Oracle {
 public:
  explicit Oracle(const std::vector<OracleQuery>& queries);

  /// All arrivals from one installation, in order.
  void add(const std::vector<Arrival>& arrivals);

  /// For each figure a list of {"query", "answer", "basis"}: the answer as `figures` must give it
  /// with a threshold of 1, and for each row the number of installations on which each of its
  /// numbers rests. (What a threshold above 1 leaves out also depends on the other rows.)
  nlohmann::ordered_json answers() const;

 private:
  struct PeriodTally {
    std::int64_t reports = 0;
    std::int64_t installations = 0;
    std::int64_t first_reports = 0;
  };
  struct CommandTally {
    std::int64_t uses = 0;
    std::int64_t installations = 0;
    std::int64_t placed_installations = 0;
    std::map<std::int64_t, std::int64_t> reports_by_place;
    /// The installation that was counted last, so that each counts once.
    std::int64_t last = -1;
    std::int64_t last_placed = -1;
  };
  struct FileTypeTally {
    std::int64_t opened = 0;
    std::int64_t saved = 0;
    std::int64_t installations = 0;
    std::int64_t opening_installations = 0;
    std::int64_t saving_installations = 0;
    std::int64_t last = -1;
    std::int64_t last_opening = -1;
    std::int64_t last_saving = -1;
  };
  struct IntakeTally {
    std::int64_t accepted = 0;
    std::int64_t replaced = 0;
    std::int64_t repeated = 0;
  };
  struct Tally {
    OracleQuery query;
    std::int64_t installations = 0;
    std::map<Period, PeriodTally> periods;
    /// By the command's number in `names_`.
    std::vector<CommandTally> commands;
    std::map<std::string, FileTypeTally> file_types;
    /// By period, application and version.
    std::map<std::tuple<Period, std::string, std::string>, std::int64_t> versions;
    /// By category, name and value.
    std::map<std::tuple<std::string, std::string, std::string>, std::int64_t> machines;
    IntakeTally intake;
  };
  /// A report that counts.
  struct Counted {
    Period period = 0;
    const Report* report = nullptr;
    /// The numbers of its commands in `names_`.
    std::vector<std::size_t> commands;
    bool is_first = false;
  };

  std::vector<Counted> find_counted(const std::vector<Arrival>& arrivals);
  std::size_t number_of(const std::string& command);
  void count(Tally& tally, const std::vector<Counted>& counted) const;
  void count_commands(Tally& tally, const Counted& counted) const;
  void count_file_types(Tally& tally, const Report& report) const;
  static void count_arrivals(Tally& tally, const std::vector<Arrival>& arrivals);

  nlohmann::ordered_json query_of(const Tally& tally) const;
  nlohmann::ordered_json answer_of(const Tally& tally, nlohmann::ordered_json rows) const;
  void add_overview(const Tally& tally, nlohmann::ordered_json& answers) const;
  void add_commands(const Tally& tally, nlohmann::ordered_json& answers) const;
  void add_file_types(const Tally& tally, nlohmann::ordered_json& answers) const;
  void add_versions(const Tally& tally, nlohmann::ordered_json& answers) const;
  void add_machines(const Tally& tally, nlohmann::ordered_json& answers) const;
  void add_intake(const Tally& tally, nlohmann::ordered_json& answers) const;

  std::vector<Tally> tallies_;
  std::vector<std::string> names_;
  std::unordered_map<std::string, std::size_t> numbers_;
  /// The number of the installation that is being counted.
  std::int64_t installation_ = -1;
  std::optional<Period> first_period_;
  std::optional<Period> last_period_;
};

}  // namespace pelto::collector
