// Fills a storage with simulated reports, and measures filling, counting and size.
//
//     storage_bench FOLDER [REPORTS] [DELIVERIES_PER_SECOND]
//
// A fifth as many installations as reports, which report in turn, 58 of 400 commands in the
// installation's language, ten versions of which three or four are in use in a period, an e-mail
// address from every fifth installation, and a machine in every second report. Each report is
// written as a sender writes it and read as intake reads it, so that the kept text is the one that
// a server would keep.
// With a rate, a last part measures how long deliveries at that rate wait for being kept.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <variant>
#include <vector>

#include "collector/fleet/Catalog.h"
#include "collector/fleet/Random.h"
#include "collector/fleet/ReportText.h"
#include "collector/intake/Intake.h"
#include "collector/storage/sqlite/SqliteStorage.h"

namespace {

using namespace pelto::collector;
using Clock = std::chrono::steady_clock;

constexpr unsigned commands_per_report = 58;
constexpr unsigned periods = 14;

double milliseconds_since(Clock::time_point begin) {
  return std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
}

/// Other programs on the machine make times longer, but not the processor's.
double processor_milliseconds() {
  return static_cast<double>(std::clock()) * 1000 / CLOCKS_PER_SEC;
}

class Reports {
 public:
  explicit Reports(unsigned installations) : installations_(installations) {
    for (std::size_t language = 0; language < languages().size(); ++language) {
      auto& names = names_.emplace_back();
      for (int command = 0; command < command_count; ++command) {
        names.push_back(command_name(static_cast<int>(language), command));
      }
      std::ranges::sort(names);
    }
  }

  Delivery next(Time received) {
    Delivery delivery;
    delivery.product = "default";
    delivery.id = guid(below(1U << 31U));
    delivery.received = received;
    const unsigned installation = next_++ % installations_;
    Random machine({installation});
    const auto language =
        static_cast<std::size_t>(machine.below(static_cast<std::int64_t>(languages().size())));
    Report report;
    report.installation = guid(installation);
    if (installation % 5 == 0) report.email = "person." + guid(installation) + "@example.com";
    report.application = "Example Designer";
    const auto since = received - Day{std::chrono::year{2025} / 1 / 1};
    const auto period = static_cast<unsigned>(since / period_length);
    report.version = std::to_string(1 + std::min(9U, (period + below(4)) / 2)) + ".0.0.0";
    add_commands(report, names_[language]);
    report.file_types = {{".dwg", below(20), below(10)}, {".dxf", below(3), below(2)}};
    if (below(2) == 0) report.machine = make_machine(machine, languages()[language]);
    delivery.report = std::get<Report>(read_report_text(format_report(report), {}));
    return delivery;
  }

 private:
  unsigned below(unsigned limit) { return static_cast<unsigned>(random_() % limit); }

  std::string guid(unsigned number) const {
    char text[37];
    std::snprintf(text, sizeof text, "%08x-%04x-4000-8000-%012x", number * 2654435761U,
                  number % 65521U, number);
    return text;
  }

  void add_commands(Report& report, const std::vector<std::string>& names) {
    // The square makes the first ones popular.
    std::vector<bool> is_taken(command_count, false);
    for (unsigned taken = 0; taken < commands_per_report;) {
      const double place = std::pow(below(1000) / 1000.0, 2.0);
      const auto command = static_cast<std::size_t>(place * command_count);
      if (is_taken[command]) continue;
      is_taken[command] = true;
      ++taken;
    }
    std::vector<std::int64_t> order(commands_per_report);
    for (unsigned i = 0; i < commands_per_report; ++i) order[i] = i + 1;
    std::ranges::shuffle(order, random_);
    for (std::size_t i = 0; i < is_taken.size(); ++i) {
      if (!is_taken[i]) continue;
      report.commands.push_back({names[i], 1 + below(200), order[report.commands.size()]});
    }
  }

  unsigned installations_;
  unsigned next_ = 0;
  /// By language.
  std::vector<std::vector<std::string>> names_;
  std::mt19937 random_{1};
};

/// How many deliveries wait for their outcome.
class Window {
 public:
  void enter() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return waiting_ < 1000; });
    ++waiting_;
  }
  void leave() {
    const std::lock_guard lock(mutex_);
    --waiting_;
    changed_.notify_all();
  }
  void wait_for_all() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return waiting_ == 0; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  int waiting_ = 0;
};

void fill(Storage& storage, Reports& reports, std::int64_t count, double days) {
  const Time begin = Day{std::chrono::year{2025} / 1 / 1};
  const double step = days * 86'400 / static_cast<double>(count);
  Window window;
  double making = 0;
  const double processor = processor_milliseconds();
  const auto start = Clock::now();
  for (std::int64_t i = 0; i < count; ++i) {
    const double one = processor_milliseconds();
    const auto offset = static_cast<std::int64_t>(static_cast<double>(i) * step);
    Delivery delivery = reports.next(begin + std::chrono::seconds{offset});
    making += processor_milliseconds() - one;
    window.enter();
    storage.keep(std::move(delivery), TimeKind::arrival, [&](Outcome) { window.leave(); });
  }
  window.wait_for_all();
  const double elapsed = milliseconds_since(start);
  std::printf(
      "fill: %lld reports in %.1f s, %.0f a second; processor %.1f s, "
      "of which making them about %.1f s\n",
      static_cast<long long>(count), elapsed / 1000, static_cast<double>(count) / elapsed * 1000,
      (processor_milliseconds() - processor) / 1000, making / 1000);
}

void measure_waits(Storage& storage, Reports& reports, int rate) {
  constexpr int seconds = 20;
  const auto count = static_cast<std::size_t>(rate * seconds);
  std::vector<double> waits(count, 0);
  Window window;
  const Time begin = Day{std::chrono::year{2026} / 2 / 1};
  const auto start = Clock::now();
  for (std::size_t i = 0; i < count; ++i) {
    Delivery delivery = reports.next(begin + std::chrono::seconds{i / 1000});
    std::this_thread::sleep_until(start + std::chrono::microseconds{i * 1'000'000} / rate);
    window.enter();
    const auto begun = Clock::now();
    storage.keep(std::move(delivery), TimeKind::arrival, [&, i, begun](Outcome) {
      waits[i] = milliseconds_since(begun);
      window.leave();
    });
  }
  window.wait_for_all();
  std::ranges::sort(waits);
  std::printf("waits at %d a second: median %.2f ms, 99 %% %.2f ms, longest %.2f ms\n", rate,
              waits[count / 2], waits[count * 99 / 100], waits.back());
}

template <typename Count>
void measure(const char* name, Count count) {
  double best = 1e9;
  double best_processor = 1e9;
  std::size_t rows = 0;
  for (int i = 0; i < 3; ++i) {
    const auto begin = Clock::now();
    const double processor = processor_milliseconds();
    rows = count();
    best_processor = std::min(best_processor, processor_milliseconds() - processor);
    best = std::min(best, milliseconds_since(begin));
  }
  std::printf("%-28s %8.1f ms, processor %8.1f ms  (%zu rows)\n", name, best, best_processor, rows);
}

void measure_counts(Storage& storage, const char* what, const Selection& selection) {
  std::printf("%s:\n", what);
  measure("  periods", [&] { return storage.count_periods(selection).rows.size(); });
  measure("  commands", [&] { return storage.count_commands(selection).rows.size(); });
  measure("  file types", [&] { return storage.count_file_types(selection).rows.size(); });
  measure("  versions", [&] { return storage.count_versions(selection).rows.size(); });
  measure("  machines", [&] { return storage.count_machines(selection).rows.size(); });
  measure("  intake", [&] { return storage.count_intake(selection).refused.size(); });
}

void print_memory() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("VmHWM") || line.starts_with("VmRSS")) std::printf("%s\n", line.c_str());
  }
}

std::uintmax_t size_of(const std::filesystem::path& folder) {
  std::uintmax_t size = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) size += entry.file_size();
  return size;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: storage_bench FOLDER [REPORTS] [DELIVERIES_PER_SECOND]\n");
    return 1;
  }
  const std::filesystem::path folder = argv[1];
  const std::int64_t count = argc > 2 ? std::atoll(argv[2]) : 1'000'000;
  const auto path = folder / sqlite_file_name;
  const bool is_new = !std::filesystem::exists(path);
  Reports reports(static_cast<unsigned>(std::max<std::int64_t>(1, count / 5)));
  if (is_new) {
    const auto storage = open_sqlite_storage(path);
    fill(*storage, reports, count, periods * 28.0 - 1);
  }
  std::printf("size: %.0f bytes a report\n",
              static_cast<double>(size_of(folder)) / static_cast<double>(count));
  print_memory();

  const auto begin = Clock::now();
  const auto storage = open_sqlite_storage(path);
  const auto range = storage->periods("default").value();
  std::printf("start: %.1f ms\n", milliseconds_since(begin));
  measure_counts(*storage, "everything", {"default", {}, range.first, range.second});
  measure_counts(*storage, "one version", {"default", "4.0.0.0", range.first, range.second});
  measure_counts(*storage, "one period", {"default", {}, range.second - 1, range.second - 1});
  print_memory();
  if (argc > 3) measure_waits(*storage, reports, std::atoi(argv[3]));
  return 0;
}
