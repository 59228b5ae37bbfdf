// Who logged in, and who erased, exported or changed accounts.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <SQLiteCpp/Database.h>

#include "collector/report/Calendar.h"

namespace pelto::collector {

enum class Action {
  log_in,
  log_in_failed,
  log_out,
  erase,
  export_data,
  user_add,
  user_change,
  user_remove,
  setup,
};

/// "log-in", "log-in-failed", "log-out", "erase", "export", "user-add", "user-change",
/// "user-remove" or "setup".
std::string_view name_of(Action action);

// Whoever acts without an account. No account can have these names: they have spaces.
inline constexpr char command_line_user[] = "command line";
inline constexpr char participant_user[] = "a participant";

/// Who does something, and when.
struct Actor {
  Time at{};
  /// The account's name, or one of the names above.
  std::string user;
};

/// What the audit says of an export. It does not say of whom.
std::string describe_export(bool is_of_one_installation);

struct AuditEntry {
  /// From 1, growing with time.
  std::int64_t number = 0;
  Time at{};
  /// The account's name, one of the names above, or empty for an unknown one.
  std::string user;
  std::string action;
  /// Has no identifier of an installation and no address.
  std::string detail;

  bool operator==(const AuditEntry&) const = default;
};

/// Adds an entry within the caller's transaction: a change in the same file and its entry are made
/// together or not at all. Throws `SQLite::Exception`.
void add_entry(SQLite::Database& database, const Actor& actor, Action action,
               const std::string& detail);

/// The entries in the storage's file. All operations can be called from any thread; each throws
/// `StorageError`. Several processes can use one file at a time.
class Audit {
 public:
  /// Entries about log-ins are removed after this time; the others stay.
  static constexpr std::chrono::days keeps_log_ins{400};
  /// Of failed log-ins only so many are kept: anybody can make some.
  static constexpr int most_failed_log_ins = 10'000;

  /// Opens the storage's file; makes it if it is missing.
  explicit Audit(const std::filesystem::path& file);

  void add(Time at, const std::string& user, Action action, const std::string& detail = {});
  /// At most `limit` entries, newest first; with `before` those with a smaller number.
  std::vector<AuditEntry> list(std::optional<std::int64_t> before, int limit);

 private:
  std::filesystem::path file_;
  std::mutex mutex_;
  SQLite::Database database_;
};

}  // namespace pelto::collector
