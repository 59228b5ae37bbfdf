// A storage in a list, which counts by going through it: what every storage must agree with.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "collector/storage/Storage.h"

namespace pelto::collector::testing {

class Model {
 public:
  Outcome keep(Delivery delivery, TimeKind time_kind);
  void erase(const std::string& installation);

  Counts<PeriodRow> count_periods(const Selection& selection) const;
  Counts<CommandRow> count_commands(const Selection& selection) const;
  Counts<FileTypeRow> count_file_types(const Selection& selection) const;
  Counts<VersionRow> count_versions(const Selection& selection) const;
  Counts<MachineRow> count_machines(const Selection& selection) const;
  IntakeCounts count_intake(const Selection& selection) const;
  std::vector<KeptDelivery> deliveries() const;
  std::optional<std::pair<Period, Period>> periods(const std::string& product) const;

 private:
  struct Kept {
    Delivery delivery;
    bool is_replaced = false;
    bool replaces = false;
  };

  void judge();
  std::vector<const Kept*> counted(const Selection& selection, bool is_selected) const;
  Basis installations(const Selection& selection) const;

  /// By time, then identifier.
  std::vector<Kept> kept_;
  std::vector<Delivery> repeated_;
};

}  // namespace pelto::collector::testing
