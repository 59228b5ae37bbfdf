// A storage in memory: the whole interface in the plainest way, so that it is also an oracle.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "collector/storage/Storage.h"

namespace pelto::collector::test {

/// Everything happens in the calling thread: `keep` calls `done` before it returns.
class FakeStorage : public Storage {
 public:
  void keep(Delivery delivery, TimeKind time_kind, std::function<void(Outcome)> done) override;
  void count_refusal(const std::string& product, Time received, std::string_view code) override;
  bool is_ready() noexcept override { return is_ready_; }
  /// Whether deliveries are kept from now on, or fail.
  void set_ready(bool is_ready) { is_ready_ = is_ready; }

  void add_product(const std::string& product) override { products_.insert(product); }
  std::vector<std::string> products() override;
  std::optional<std::pair<Period, Period>> periods(const std::string& product) override;

  Counts<PeriodRow> count_periods(const Selection& selection) override;
  Counts<CommandRow> count_commands(const Selection& selection) override;
  Counts<FileTypeRow> count_file_types(const Selection& selection) override;
  Counts<VersionRow> count_versions(const Selection& selection) override;
  Counts<MachineRow> count_machines(const Selection& selection) override;
  IntakeCounts count_intake(const Selection& selection) override;

  int threshold() override { return threshold_; }
  void set_threshold(int threshold) override { threshold_ = threshold; }

  /// The same for each storage, so that results can be compared with literals.
  std::string secret(const std::string& name) override;

  std::vector<ProductKeeping> keeping() override;
  std::vector<Contact> contacts(const std::string& product) override;
  InstallationKeeping keeping_of(const std::string& installation) override;

  std::vector<KeptDelivery> export_part(const std::optional<std::string>& installation,
                                        ExportPlace& place) override;
  ErasedCounts erase_installation(const std::string& installation, const GoesOn& goes_on) override;
  ErasedCounts erase_email(const std::string& address, const GoesOn& goes_on) override;
  std::int64_t remove_texts(Time before, const GoesOn& goes_on) override;
  ErasedCounts erase_silent(Time before, const GoesOn& goes_on) override;
  /// Throws what erasures return as `traces_left`.
  void remove_traces(const GoesOn& goes_on) override;
  /// What keeps traces from being removed from now on; empty: nothing.
  void set_traces_left(std::string reason) { traces_left_ = std::move(reason); }

  /// Throws: there is no file.
  void back_up(const std::string& path) override;
  std::vector<std::string> check() override { return problems_; }
  /// What `check` finds from now on.
  void set_problems(std::vector<std::string> problems) { problems_ = std::move(problems); }

 private:
  struct Entry {
    Delivery delivery;
    bool is_replaced = false;
    bool replaces = false;
  };
  /// What counters that belong to no kept delivery are kept under.
  struct CounterKey {
    std::string product;
    Period period = 0;
    std::string code;
    auto operator<=>(const CounterKey&) const = default;
  };

  void judge_anew(const std::string& product, const std::string& installation);
  std::vector<const Entry*> counted_in_range(const Selection& selection) const;
  Basis installations_of(const Selection& selection) const;

  /// By time, then identifier.
  std::vector<Entry> entries_;
  std::map<CounterKey, std::int64_t> refused_;
  std::map<CounterKey, std::int64_t> repeated_;
  std::set<std::string> products_;
  std::vector<std::string> problems_;
  std::string traces_left_;
  int threshold_ = 5;
  bool is_ready_ = true;
};

}  // namespace pelto::collector::test
