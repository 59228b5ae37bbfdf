#include "collector/commands/Import.h"

#include <algorithm>
#include <condition_variable>
#include <cstddef>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <variant>

#include "collector/commands/ImportLine.h"
#include "collector/commands/LineOrder.h"
#include "collector/intake/Refusal.h"

namespace pelto::collector {

namespace {

/// Longer than a report of a hundred thousand commands.
constexpr std::size_t longest_line = std::size_t{16} * 1024 * 1024;
/// The lines whose deliveries are not kept yet have this many bytes together, or are a single one.
constexpr std::size_t most_bytes_in_flight = std::size_t{16} * 1024 * 1024;
constexpr std::size_t most_lines_in_flight = 4096;

/// The deliveries that the storage has got and not yet kept, and what became of the others.
class Flight {
 public:
  /// Waits until there is room for a delivery from a line of `length` bytes.
  void begin(std::size_t length) {
    std::unique_lock lock(mutex_);
    landed_.wait(lock, [&] {
      return lines_ == 0 ||
             (lines_ < most_lines_in_flight && bytes_ + length <= most_bytes_in_flight);
    });
    ++lines_;
    bytes_ += length;
  }

  void end(std::size_t length, Outcome outcome) {
    const std::scoped_lock lock(mutex_);
    --lines_;
    bytes_ -= length;
    ++outcomes_[outcome];
    // With the lock: after the last one this object may be gone.
    landed_.notify_one();
  }

  bool has_failed() {
    const std::scoped_lock lock(mutex_);
    return outcomes_.contains(Outcome::failed);
  }

  /// Waits until all are kept.
  std::map<Outcome, std::int64_t> finish() {
    std::unique_lock lock(mutex_);
    landed_.wait(lock, [&] { return lines_ == 0; });
    return outcomes_;
  }

 private:
  std::mutex mutex_;
  std::condition_variable landed_;
  std::size_t lines_ = 0;
  std::size_t bytes_ = 0;
  std::map<Outcome, std::int64_t> outcomes_;
};

bool has_only_whitespace(std::string_view line) {
  return line.find_first_not_of(" \t\r") == std::string_view::npos;
}

class Import {
 public:
  Import(Storage& storage, const LineFile& file, const IntakeOptions& options,
         std::ostream& complaints)
      : storage_(storage), file_(file), options_(options), complaints_(complaints) {}

  ImportCounts run() {
    read_lines();
    keep_deliveries();
    count_refusals();
    return counts_;
  }

 private:
  /// By product, day and code.
  using Refusals = std::map<std::tuple<std::string, Day, std::string>, std::int64_t>;

  /// Reads every line once, for its time and for what is wrong with it.
  void read_lines() {
    std::int64_t number = 0;
    file_.for_each_line(longest_line,
                        [&](std::optional<std::string_view> line, LineFile::Place place) {
                          ++number;
                          if (!line) {
                            refuse(number, BadLine{std::string(code_of(Refusal::too_large))});
                            return;
                          }
                          if (has_only_whitespace(*line)) return;
                          const auto read = read_import_line(*line, options_);
                          if (const auto* const bad = std::get_if<BadLine>(&read)) {
                            refuse(number, *bad);
                            return;
                          }
                          const auto& delivery = std::get<Delivery>(read);
                          order_.add(delivery.received, delivery.id, place);
                        });
  }

  void refuse(std::int64_t line, const BadLine& bad) {
    complaints_ << "line " << line << ": " << bad.code << '\n';
    ++counts_.refused;
    if (bad.product.empty()) return;
    ++refusals_[{bad.product, std::chrono::floor<std::chrono::days>(bad.received), bad.code}];
  }

  /// Reads the lines again, in the order of their times.
  void keep_deliveries() {
    Flight flight;
    try {
      order_.for_each([&](LineFile::Place place) {
        auto read = read_import_line(file_.read(place), options_);
        if (!std::holds_alternative<Delivery>(read)) {
          throw StorageError("the file was changed while it was read; import it again");
        }
        flight.begin(place.length);
        storage_.keep(std::move(std::get<Delivery>(read)), TimeKind::stated,
                      [&flight, place](Outcome outcome) { flight.end(place.length, outcome); });
        if (flight.has_failed()) throw_failed();
      });
    } catch (...) {
      // The storage still has callbacks to call.
      flight.finish();
      throw;
    }
    const auto outcomes = flight.finish();
    const auto number_of = [&](Outcome outcome) {
      const auto found = outcomes.find(outcome);
      return found == outcomes.end() ? 0 : found->second;
    };
    if (number_of(Outcome::failed) > 0) throw_failed();
    counts_.replaced = number_of(Outcome::replaced);
    counts_.accepted = number_of(Outcome::accepted) + counts_.replaced;
    counts_.repeated = number_of(Outcome::repeated);
  }

  [[noreturn]] static void throw_failed() {
    throw StorageError(
        "some deliveries could not be kept; check that the disk has space and that no other "
        "process holds the storage, and import the file again");
  }

  /// After the deliveries, which make their products known.
  void count_refusals() {
    const std::vector<std::string> products = storage_.products();
    for (const auto& [key, number] : refusals_) {
      const auto& [product, day, code] = key;
      const bool is_known = std::ranges::find(products, product) != products.end();
      for (std::int64_t i = 0; i < number; ++i) {
        storage_.count_refusal(is_known ? product : "", day, code);
      }
    }
  }

  Storage& storage_;
  const LineFile& file_;
  const IntakeOptions& options_;
  std::ostream& complaints_;
  LineOrder order_;
  Refusals refusals_;
  ImportCounts counts_;
};

}  // namespace

ImportCounts import_lines(Storage& storage, const LineFile& file, const IntakeOptions& options,
                          std::ostream& complaints) {
  return Import(storage, file, options, complaints).run();
}

}  // namespace pelto::collector
