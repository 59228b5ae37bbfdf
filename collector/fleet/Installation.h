// A simulated installation: when its sender delivers, and what is in each delivery. Everything
// follows from the options and the installation's number, so that any part of the history can be
// made again without keeping it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "collector/report/Report.h"

namespace pelto::collector {

class Random;

struct FleetOptions {
  std::int64_t installations = 0;
  int periods = 0;
  std::uint64_t seed = 0;
  /// The history's last period is the last whole one before this day.
  Day until{std::chrono::year{2026} / std::chrono::January / 1};
};

Period last_period_of(const FleetOptions& options);
Period first_period_of(const FleetOptions& options);

/// The application's versions that come out during a history, oldest first.
std::vector<std::string> versions_of(const FleetOptions& options);

/// A request of a sender that reaches the collector.
struct SimulatedDelivery {
  Time time{};
  std::string id;
  /// The report's number. A sender goes on counting into its report until a delivery is confirmed.
  int report = 0;
  /// How often the sender has counted into the report since its first delivery.
  int growth = 0;
  /// The number of the machine's description; none: -1.
  int machine = -1;
  int version = 0;
  /// The same request as the one before, to the byte.
  bool is_repeated = false;
};

class Installation {
 public:
  Installation(const FleetOptions& options, std::int64_t number);

  const std::string& identifier() const { return identifier_; }
  int code_page() const;
  /// In order of time. No two have the same time, except that a repetition can have its original's.
  const std::vector<SimulatedDelivery>& deliveries() const { return deliveries_; }

  /// Whether the report counts nothing in this delivery. Each later report holds it.
  bool is_empty(const SimulatedDelivery& delivery) const;
  /// What the sender has counted, entries ordered by name, and what it has asked the machine. Two
  /// reports of different numbers, one after the other, differ in the command at the first place,
  /// so that neither holds the other unless it is empty.
  Report report_of(const SimulatedDelivery& delivery) const;

 private:
  void choose_habits();
  void plan_deliveries();
  void plan_request(Random& random, SimulatedDelivery delivery);
  int version_at(Time time) const;
  Report count_usage(const SimulatedDelivery& delivery) const;
  void grow(Report& report, const SimulatedDelivery& delivery, int growth) const;

  FleetOptions options_;
  std::uint64_t number_;
  std::string identifier_;
  std::string application_;
  std::string email_;
  int language_ = 0;
  /// How long this user waits before a new version.
  std::chrono::seconds hesitation_{};
  bool keeps_version_ = false;
  /// The commands that this user knows, by popularity.
  std::vector<int> commands_;
  std::vector<int> file_types_;
  std::vector<SimulatedDelivery> deliveries_;
};

}  // namespace pelto::collector
