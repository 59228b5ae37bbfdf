// What a storage of reports can do.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "collector/report/Report.h"
#include "collector/storage/Counts.h"

namespace pelto::collector {

/// A storage that is full, locked, damaged or gone. The text is one line that says what to do.
class StorageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// What became of a delivery.
enum class Outcome {
  /// Kept as a report of its own.
  accepted,
  /// Kept, and it replaces the installation's report before it.
  replaced,
  /// A delivery of the product with this identifier is kept already; nothing has changed.
  repeated,
  /// Not kept: the storage is full, locked or gone.
  failed,
};

/// What a delivery's time means.
enum class TimeKind {
  /// The delivery arrives now. If the clock shows no later time than that of the installation's
  /// latest report, it counts as one second later than that: what arrives later is later. So more
  /// than one a second run ahead of the clock, without a limit.
  arrival,
  /// The delivery arrived then. It is put in its place in time, and the report after it is judged
  /// anew.
  stated,
};

/// A kept delivery as an export shows it. `report` has no e-mail address, no adapter address and
/// no text.
struct KeptDelivery {
  Delivery delivery;
  /// Whether the next report of the installation replaces it.
  bool is_replaced = false;
  /// Whether its counts, or its application and version, cannot be read: they are missing here, and
  /// a check names the report.
  bool is_damaged = false;
};

/// Where an export goes on; at first before everything. What the numbers mean is the storage's
/// affair.
struct ExportPlace {
  std::int64_t received = INT64_MIN;
  std::string id{};
  std::int64_t product = 0;
};

/// What is kept of a product.
struct ProductKeeping {
  std::string product;
  /// When the first delivery was received that is kept; none without one.
  std::optional<Time> since{};
  std::int64_t deliveries = 0;
  std::int64_t installations = 0;
  /// Deliveries whose raw report is kept.
  std::int64_t texts = 0;

  bool operator==(const ProductKeeping&) const = default;
};

/// An e-mail address, and when it was received last.
struct Contact {
  std::string address;
  Time received{};

  bool operator==(const Contact&) const = default;
};

/// What is kept under an installation's identifier.
struct InstallationKeeping {
  struct Kept {
    Time received{};
    std::string product;
    std::string version;
    std::int64_t commands = 0;
    std::int64_t file_types = 0;
    bool has_text = false;

    bool operator==(const Kept&) const = default;
  };
  /// Anybody can deliver any number under one identifier, and ask for them.
  static constexpr std::size_t most_deliveries = 100;
  /// The latest `most_deliveries`, by time.
  std::vector<Kept> deliveries{};
  /// The number of all.
  std::int64_t total = 0;
  bool has_email = false;

  bool operator==(const InstallationKeeping&) const = default;
};

struct ErasedCounts {
  std::int64_t installations = 0;
  std::int64_t deliveries = 0;
  std::int64_t contacts = 0;
  /// False if something of the subject is left, as the erasure was ended.
  bool is_whole = true;
  /// Why unused parts of the files can still hold pieces of what was erased: a line that says what
  /// to do. Empty if they do not.
  std::string traces_left{};
};

/// Asked between the steps of a long operation; false ends it there.
using GoesOn = std::function<bool()>;

/// For those that do not end early.
inline bool to_the_end() {
  return true;
}

/// All operations can be called from any thread; each throws `StorageError`. Several processes can
/// use one storage at a time.
class Storage {
 public:
  virtual ~Storage() = default;

  /// Keeps a delivery and calls `done` once, from a thread of the storage: after the delivery has
  /// been committed and synced, or with `failed`. Does not wait and does not throw. `done` must not
  /// throw and should be quick: all deliveries wait for it.
  virtual void keep(Delivery delivery, TimeKind time_kind, std::function<void(Outcome)> done) = 0;
  /// Counts a refusal under its code. Written soon, not at once. An empty product: the request
  /// named none that is known, and it counts under every product.
  virtual void count_refusal(const std::string& product, Time received, std::string_view code) = 0;
  /// Whether a delivery could be kept now. Does not throw.
  virtual bool is_ready() noexcept = 0;

  /// Makes a product known, if it is not yet.
  virtual void add_product(const std::string& product) = 0;
  /// By name.
  virtual std::vector<std::string> products() = 0;
  /// The periods of the product's first and last counted report; none without one.
  virtual std::optional<std::pair<Period, Period>> periods(const std::string& product) = 0;

  /// Each is counted at one moment, in which everything that was kept before is there.
  virtual Counts<PeriodRow> count_periods(const Selection& selection) = 0;
  virtual Counts<CommandRow> count_commands(const Selection& selection) = 0;
  virtual Counts<FileTypeRow> count_file_types(const Selection& selection) = 0;
  virtual Counts<VersionRow> count_versions(const Selection& selection) = 0;
  virtual Counts<MachineRow> count_machines(const Selection& selection) = 0;
  /// By day of arrival. The version is ignored.
  virtual IntakeCounts count_intake(const Selection& selection) = 0;

  /// The threshold of the figures, 5 at first.
  virtual int threshold() = 0;
  virtual void set_threshold(int threshold) = 0;

  /// A random secret of 32 bytes that is made on first use and then stays, by name.
  virtual std::string secret(const std::string& name) = 0;

  /// By product's name.
  virtual std::vector<ProductKeeping> keeping() = 0;
  /// The addresses of a product's installations, each once, by their bytes.
  virtual std::vector<Contact> contacts(const std::string& product) = 0;
  /// Of an unknown installation nothing.
  virtual InstallationKeeping keeping_of(const std::string& installation) = 0;

  /// The next kept deliveries after `place`, of one installation or all, by time, then identifier;
  /// none at the end. Moves `place` on. A part is small enough to be held in memory.
  virtual std::vector<KeptDelivery> export_part(const std::optional<std::string>& installation,
                                                ExportPlace& place) = 0;
  /// Calls `take` for each of them, part after part.
  void export_deliveries(const std::optional<std::string>& installation,
                         const std::function<void(const KeptDelivery&)>& take);

  /// Erases everything of an installation in every product, in small steps, and then its traces in
  /// unused parts of the files. If `goes_on` returns false before all is erased, the result has
  /// what was erased so far, and says so: what is left can be erased by another call. An erasure is
  /// not undone; for traces that are left, `remove_traces` tries again.
  virtual ErasedCounts erase_installation(const std::string& installation,
                                          const GoesOn& goes_on) = 0;
  /// Erases every installation with this e-mail address, in the same way; letter case is ignored.
  virtual ErasedCounts erase_email(const std::string& address, const GoesOn& goes_on) = 0;
  /// Removes the raw reports received before `before`, in small steps, until `goes_on` returns
  /// false between two of them. Returns their number.
  virtual std::int64_t remove_texts(Time before, const GoesOn& goes_on) = 0;
  /// Erases every installation whose last delivery was received before `before`, in the same way.
  /// If `goes_on` returns false it ends, and the result has what was erased so far.
  virtual ErasedCounts erase_silent(Time before, const GoesOn& goes_on) = 0;
  /// Removes what earlier erasures, also of other processes and of those that were killed, may have
  /// left in unused parts of the files. Takes no time if there is nothing. Throws if another
  /// process reads for too long, and if `goes_on` returns false before the end.
  virtual void remove_traces(const GoesOn& goes_on) = 0;

  /// Writes a copy as of now to the new file `path`, while others read and write.
  virtual void back_up(const std::string& path) = 0;
  /// Recounts everything and compares. Returns what is wrong, a line each; nothing if all is well.
  virtual std::vector<std::string> check() = 0;
};

}  // namespace pelto::collector
