// Who is logged in. The times are the caller's.
#pragma once

#include <chrono>
#include <cstddef>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "collector/access/Token.h"

namespace pelto::collector {

/// The sessions of one server, in memory alone: they end with it. Can be used from any thread.
class Sessions {
 public:
  using TimePoint = std::chrono::steady_clock::time_point;

  /// A session ends when it was not used for so long.
  static constexpr std::chrono::hours longest_pause{12};
  /// It ends after this time however much it is used.
  static constexpr std::chrono::hours longest_session{7 * 24};
  /// When there are more, the one that was not used for longest ends.
  static constexpr std::size_t most_sessions = 1000;
  /// The same for the sessions of one account, so that one cannot end those of all others.
  static constexpr std::size_t most_of_account = 50;

  struct Session {
    std::string user;
    /// What the account was like at the log-in. The session is void when it is not like that any
    /// more, which the caller compares.
    std::string stamp;

    bool operator==(const Session&) const = default;
  };

  /// Begins a session. Returns its token, of which only a hash is kept.
  std::string begin(const Session& session, TimePoint now);
  /// The session with this token, which is used by that; none if it has ended or never was.
  std::optional<Session> find(std::string_view token, TimePoint now);
  /// Ends the session with this token, if there is one.
  void end(std::string_view token);
  /// Ends all sessions of an account.
  void end_all(const std::string& user);

  std::size_t size() const;

 private:
  struct Entry {
    Session session;
    TimePoint start;
    TimePoint last_use;
  };
  using Entries = std::map<TokenHash, Entry>;

  static bool has_ended(const Entry& entry, TimePoint now);
  void make_room(const std::string& user, TimePoint now);

  mutable std::mutex mutex_;
  Entries entries_;
};

}  // namespace pelto::collector
