// How often a password may be tried. The times are the caller's.
#pragma once

#include <chrono>
#include <cstddef>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace pelto::collector {

/// Counts wrong passwords by account and by address. After `most_wrong` of either within `window`
/// the account or address has to wait, and each further wrong password doubles the wait. All is
/// forgotten after `window` without a wait and a wrong password. Can be used from any thread.
///
/// An account is known by the name that was entered, whether there is one of this name or not:
/// a difference would tell which names there are.
class LoginLimiter {
 public:
  using TimePoint = std::chrono::steady_clock::time_point;

  static constexpr std::size_t most_wrong = 10;
  static constexpr std::chrono::minutes window{15};
  static constexpr std::chrono::seconds first_wait{30};
  static constexpr std::chrono::seconds longest_wait{15 * 60};
  /// The most accounts, and the most addresses, that are counted at a time. Of more, the one with
  /// the fewest wrong passwords is forgotten.
  static constexpr std::size_t most_keys = 4096;

  /// One attempt, from before the password is compared.
  struct Attempt {
    std::string account;
    std::string address;
  };

  /// How long to wait before the attempt may be made. None: it may be made now, and is to be ended
  /// with `end`. Attempts that have begun count as wrong meanwhile, so that many at a time do not
  /// get around the limit.
  std::optional<std::chrono::seconds> begin(const Attempt& attempt, TimePoint now);
  enum class Result { right, wrong, not_compared };
  /// A right password lets the account's wrong ones be forgotten, and not those of the address.
  void end(const Attempt& attempt, Result result, TimePoint now);

  /// The numbers of accounts and addresses that are counted at present.
  std::size_t size() const;

 private:
  struct Entry {
    /// The times of the latest wrong passwords, `most_wrong` of them at most.
    std::vector<TimePoint> wrong;
    std::size_t waits = 0;
    TimePoint wait_end;
    /// Attempts that have begun.
    std::size_t open = 0;
  };
  using Entries = std::map<std::string, Entry>;

  static void forget_old(Entry& entry, TimePoint now);
  static std::optional<std::chrono::seconds> wait_of(Entry& entry, TimePoint now);
  static void add_wrong(Entry& entry, TimePoint now);
  static Entry& entry_of(Entries& entries, const std::string& key, TimePoint now);
  static void make_room(Entries& entries, TimePoint now);

  mutable std::mutex mutex_;
  Entries accounts_;
  Entries addresses_;
};

}  // namespace pelto::collector
