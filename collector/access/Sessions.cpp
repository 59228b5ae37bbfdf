#include "collector/access/Sessions.h"

#include <algorithm>

namespace pelto::collector {

namespace {

/// Removes the entries that `is_meant` is true for, the longest unused first, until fewer than
/// `limit` are left.
template <typename Entries, typename Predicate>
void thin_out(Entries& entries, std::size_t limit, Predicate is_meant) {
  auto oldest = entries.end();
  std::size_t count = 0;
  for (auto entry = entries.begin(); entry != entries.end(); ++entry) {
    if (!is_meant(entry->second)) continue;
    ++count;
    if (oldest == entries.end() || entry->second.last_use < oldest->second.last_use) {
      oldest = entry;
    }
  }
  // One is added at a time, so there is never more than one too many.
  if (count >= limit) entries.erase(oldest);
}

}  // namespace

std::string Sessions::begin(const Session& session, TimePoint now) {
  std::string token = make_token();
  const std::scoped_lock lock(mutex_);
  make_room(session.user, now);
  entries_[hash_token(token)] = {session, now, now};
  return token;
}

std::optional<Sessions::Session> Sessions::find(std::string_view token, TimePoint now) {
  const TokenHash hash = hash_token(token);
  const std::scoped_lock lock(mutex_);
  const auto found = entries_.find(hash);
  if (found == entries_.end()) return std::nullopt;
  if (has_ended(found->second, now)) {
    entries_.erase(found);
    return std::nullopt;
  }
  found->second.last_use = std::max(found->second.last_use, now);
  return found->second.session;
}

void Sessions::end(std::string_view token) {
  const TokenHash hash = hash_token(token);
  const std::scoped_lock lock(mutex_);
  entries_.erase(hash);
}

void Sessions::end_all(const std::string& user) {
  const std::scoped_lock lock(mutex_);
  std::erase_if(entries_, [&](const auto& entry) { return entry.second.session.user == user; });
}

std::size_t Sessions::size() const {
  const std::scoped_lock lock(mutex_);
  return entries_.size();
}

bool Sessions::has_ended(const Entry& entry, TimePoint now) {
  return now - entry.last_use >= longest_pause || now - entry.start >= longest_session;
}

void Sessions::make_room(const std::string& user, TimePoint now) {
  std::erase_if(entries_, [&](const auto& entry) { return has_ended(entry.second, now); });
  thin_out(entries_, most_of_account,
           [&](const Entry& entry) { return entry.session.user == user; });
  thin_out(entries_, most_sessions, [](const Entry&) { return true; });
}

}  // namespace pelto::collector
