#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/collector/support/FakeStorage.h"

namespace pelto::collector {

/// A storage in memory that keeps deliveries on a thread of its own, when the test lets it.
class SlowStorage : public test::FakeStorage {
 public:
  SlowStorage();
  ~SlowStorage() override;

  /// From now on deliveries and the questions of participants wait until `release`.
  void hold();
  void release();
  /// What becomes of deliveries from now on, and whether one could be kept.
  void set_outcome(Outcome outcome);
  void set_ready(bool is_ready);
  /// What `remove_texts` and `erase_silent` do from now on.
  void fail_cleaning(bool fails);
  /// An erasure of an installation takes so many steps of 1 ms from now on.
  void set_erasing_steps(int steps);
  /// The steps that were made.
  int erasing_steps();
  /// How many raw reports `remove_texts` finds, each in a step of 1 ms.
  void set_texts(std::int64_t count);

  /// From now on an export has so many parts of a MiB each, and then an end or a failure.
  enum class ExportEnd { sound, failure };
  void set_export(int parts, ExportEnd end);
  /// The parts that were asked for since then.
  int parts_given();

  /// What was kept, in the order of arrival.
  std::vector<Delivery> kept();
  /// Refusals as "PRODUCT CODE", with their numbers.
  std::map<std::string, int> refusals();
  /// The deliveries that wait.
  std::size_t waiting();
  /// The times with which `remove_texts` and `erase_silent` were called.
  std::vector<Time> text_limits();
  std::vector<Time> silence_limits();

  void keep(Delivery delivery, TimeKind time_kind, std::function<void(Outcome)> done) override;
  void count_refusal(const std::string& product, Time received, std::string_view code) override;
  bool is_ready() noexcept override;
  void add_product(const std::string& product) override;
  std::vector<std::string> products() override;
  InstallationKeeping keeping_of(const std::string& installation) override;
  ErasedCounts erase_installation(const std::string& installation, const GoesOn& goes_on) override;
  std::int64_t remove_texts(Time before, const GoesOn& goes_on) override;
  ErasedCounts erase_silent(Time before, const GoesOn& goes_on) override;
  std::vector<KeptDelivery> export_part(const std::optional<std::string>& installation,
                                        ExportPlace& place) override;

 private:
  struct Waiting {
    Delivery delivery;
    std::function<void(Outcome)> done;
  };

  void run();

  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<Waiting> waiting_;
  std::vector<Delivery> kept_;
  std::map<std::string, int> refusals_;
  std::vector<std::string> products_;
  std::vector<Time> text_limits_;
  std::vector<Time> silence_limits_;
  Outcome outcome_ = Outcome::accepted;
  bool is_ready_ = true;
  bool fails_cleaning_ = false;
  std::int64_t texts_ = 2;
  int erasing_steps_ = 0;
  int erasing_steps_made_ = 0;
  int export_parts_ = 0;
  int parts_given_ = 0;
  ExportEnd export_end_ = ExportEnd::sound;
  bool is_held_ = false;
  bool is_ending_ = false;
  std::thread thread_;
};

}  // namespace pelto::collector
