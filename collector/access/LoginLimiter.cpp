#include "collector/access/LoginLimiter.h"

#include <algorithm>
#include <tuple>

namespace pelto::collector {

namespace {

using std::chrono::seconds;

/// For an attempt that another one has to end before.
constexpr seconds short_wait{1};

}  // namespace

std::optional<seconds> LoginLimiter::begin(const Attempt& attempt, TimePoint now) {
  const std::scoped_lock lock(mutex_);
  Entry& account = entry_of(accounts_, attempt.account, now);
  Entry& address = entry_of(addresses_, attempt.address, now);
  const auto account_wait = wait_of(account, now);
  const auto address_wait = wait_of(address, now);
  if (account_wait || address_wait) {
    return std::max(account_wait.value_or(seconds(0)), address_wait.value_or(seconds(0)));
  }
  ++account.open;
  ++address.open;
  return std::nullopt;
}

void LoginLimiter::end(const Attempt& attempt, Result result, TimePoint now) {
  const std::scoped_lock lock(mutex_);
  // Entries with open attempts are not forgotten, so both are there.
  const auto account = accounts_.find(attempt.account);
  const auto address = addresses_.find(attempt.address);
  --account->second.open;
  --address->second.open;
  if (result == Result::wrong) {
    add_wrong(account->second, now);
    add_wrong(address->second, now);
  } else if (result == Result::right) {
    account->second = Entry{{}, 0, {}, account->second.open};
  }
}

std::size_t LoginLimiter::size() const {
  const std::scoped_lock lock(mutex_);
  return accounts_.size() + addresses_.size();
}

void LoginLimiter::forget_old(Entry& entry, TimePoint now) {
  if (entry.waits > 0) {
    if (now - std::max(entry.wait_end, entry.wrong.back()) < window) return;
    entry = Entry{{}, 0, {}, entry.open};
    return;
  }
  std::erase_if(entry.wrong, [now](TimePoint time) { return now - time >= window; });
}

std::optional<seconds> LoginLimiter::wait_of(Entry& entry, TimePoint now) {
  if (now < entry.wait_end) return std::chrono::ceil<seconds>(entry.wait_end - now);
  const std::size_t left = entry.waits > 0 ? 1 : most_wrong - entry.wrong.size();
  if (entry.open >= left) return short_wait;
  return std::nullopt;
}

void LoginLimiter::add_wrong(Entry& entry, TimePoint now) {
  forget_old(entry, now);
  entry.wrong.push_back(now);
  if (entry.waits == 0 && entry.wrong.size() < most_wrong) return;
  if (entry.wrong.size() > most_wrong) entry.wrong.erase(entry.wrong.begin());
  seconds wait = first_wait;
  for (std::size_t i = 0; i < entry.waits && wait < longest_wait; ++i) wait *= 2;
  ++entry.waits;
  entry.wait_end = now + std::min(wait, longest_wait);
}

LoginLimiter::Entry& LoginLimiter::entry_of(Entries& entries, const std::string& key,
                                            TimePoint now) {
  const auto found = entries.find(key);
  if (found == entries.end()) {
    if (entries.size() >= most_keys) make_room(entries, now);
    return entries[key];
  }
  forget_old(found->second, now);
  return found->second;
}

/// Forgets what is old, and one more if that was not enough.
void LoginLimiter::make_room(Entries& entries, TimePoint now) {
  for (auto& [key, entry] : entries) forget_old(entry, now);
  std::erase_if(entries, [](const auto& entry) {
    return entry.second.open == 0 && entry.second.wrong.empty();
  });
  if (entries.size() < most_keys) return;
  const auto rank = [](const Entry& entry) {
    return std::tuple(entry.waits, entry.wrong.size(),
                      entry.wrong.empty() ? TimePoint{} : entry.wrong.back());
  };
  auto least = entries.end();
  for (auto entry = entries.begin(); entry != entries.end(); ++entry) {
    if (entry->second.open > 0) continue;
    if (least == entries.end() || rank(entry->second) < rank(least->second)) least = entry;
  }
  if (least != entries.end()) entries.erase(least);
}

}  // namespace pelto::collector
