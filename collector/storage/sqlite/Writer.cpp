#include "collector/storage/sqlite/Writer.h"

#include <algorithm>
#include <cstddef>
#include <exception>
#include <stdexcept>

#include <SQLiteCpp/Transaction.h>
#include <sodium.h>
#include <sqlite3.h>
#include <sys/stat.h>

#include "collector/storage/sqlite/Database.h"
#include "collector/storage/sqlite/Folding.h"

namespace pelto::collector {

namespace {

/// More deliveries would let the first of a group wait for long.
constexpr std::size_t largest_group = 256;
/// Packed counts beyond this are folded even if they are of few reports.
constexpr std::int64_t bytes_per_fold = std::int64_t{4} * 1024 * 1024;
/// For how long the outcome of a write tells whether the next one will succeed.
constexpr std::chrono::seconds state_lifetime{1};
constexpr std::chrono::milliseconds longest_probe{250};
constexpr std::chrono::seconds refusals_delay{1};
/// Other processes try the lock at intervals. A pause that is longer than one of those cannot be
/// missed, as the moment between two transactions can.
constexpr std::chrono::milliseconds pause_for_others = lock_interval * 5 / 2;
constexpr std::chrono::milliseconds pause_interval{250};
/// An import has time, and a server beside it has not.
constexpr std::chrono::milliseconds pause_interval_of_import{25};

std::pair<dev_t, ino_t> identify(const std::filesystem::path& path) {
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0) return {};
  return {status.st_dev, status.st_ino};
}

/// A GUID's characters, all random.
std::string random_guid() {
  unsigned char bytes[16];
  randombytes_buf(bytes, sizeof bytes);
  char digits[2 * sizeof bytes + 1];
  std::string guid = sodium_bin2hex(digits, sizeof digits, bytes, sizeof bytes);
  for (const std::size_t place : {8U, 13U, 18U, 23U}) guid.insert(place, 1, '-');
  return guid;
}

}  // namespace

Writer::Writer(std::filesystem::path path, const SqliteOptions& options)
    : path_(std::move(path)),
      options_(options),
      connection_(path_),
      keeper_(connection_, options),
      checkpointer_(path_, connection_),
      file_(identify(path_)) {
  limit_wait(connection_.database(), Wait::brief);
  thread_ = std::thread([this] { work(); });
}

Writer::~Writer() {
  {
    const std::lock_guard lock(mutex_);
    is_stopping_ = true;
  }
  changed_.notify_all();
  thread_.join();
}

void Writer::keep(Delivery delivery, TimeKind time_kind, std::function<void(Outcome)> done) {
  normalize(delivery.report);
  add(Job{std::move(delivery), time_kind, std::move(done)});
}

void Writer::count_refusal(const std::string& product, Time received, std::string_view code) {
  const Day day = std::chrono::floor<std::chrono::days>(received);
  const std::lock_guard lock(mutex_);
  if (refusals_.empty()) {
    refusals_time_ = Clock::now();
    changed_.notify_all();
  }
  ++refusals_[{product, day, std::string(code)}];
}

bool Writer::is_ready() {
  std::unique_lock lock(mutex_);
  const auto is_known = [this] { return Clock::now() - state_time_ < state_lifetime; };
  if (is_known()) return is_ready_;
  if (!is_probing_) {
    is_probing_ = true;
    jobs_.emplace_back(Task{[this] { probe(); }});
    changed_.notify_all();
  }
  // The caller's thread may have others to serve. A write that takes longer is no good sign either.
  return changed_.wait_for(lock, longest_probe, is_known) && is_ready_;
}

void Writer::add(std::variant<Job, Task> job) {
  const std::lock_guard lock(mutex_);
  jobs_.push_back(std::move(job));
  changed_.notify_all();
}

void Writer::work() {
  bool has_more = true;
  for (;;) {
    auto jobs = take_next(!has_more);
    if (jobs.empty()) {
      has_more = has_more && tidy_up();
      write_refusals();
      const std::lock_guard lock(mutex_);
      if (is_stopping_ && jobs_.empty() && refusals_.empty()) return;
    } else if (auto* const task = std::get_if<Task>(&jobs.front())) {
      (*task)();
    } else {
      is_importing_ = is_import(jobs);
      keep_group(jobs);
      let_others_write();
      has_more = tidy_up();
      write_refusals();
    }
    checkpointer_.keep_log_small();
    let_others_write();
  }
}

std::vector<std::variant<Writer::Job, Writer::Task>> Writer::take_next(bool waits) {
  std::unique_lock lock(mutex_);
  const auto has_work = [this] { return !jobs_.empty() || is_stopping_; };
  if (waits && refusals_.empty()) {
    changed_.wait(lock, [&] { return has_work() || !refusals_.empty(); });
  }
  if (waits) changed_.wait_until(lock, refusals_time_ + refusals_delay, has_work);
  std::vector<std::variant<Job, Task>> next;
  while (!jobs_.empty() && next.size() < largest_group) {
    const bool is_task = std::holds_alternative<Task>(jobs_.front());
    if (is_task && !next.empty()) break;
    next.push_back(std::move(jobs_.front()));
    jobs_.pop_front();
    if (is_task) break;
  }
  return next;
}

Writer::Trouble Writer::keep_group(std::vector<std::variant<Job, Task>>& jobs) {
  std::vector<Outcome> outcomes(jobs.size(), Outcome::failed);
  Trouble trouble = Trouble::none;
  try {
    outcomes = commit(jobs);
  } catch (...) {
    trouble = judge_failure();
  }
  // What is damaged may belong to one installation: the others' deliveries can be kept.
  if (trouble == Trouble::damage && jobs.size() > 1) {
    keep_each(jobs);
    return trouble;
  }
  if (trouble == Trouble::none) suspect_.reset();
  if (trouble == Trouble::damage) {
    suspect_ = std::get<Job>(jobs.front()).delivery;
    // Whether it can be kept does not depend on these.
    suspect_->report.text.clear();
    suspect_->report.email.clear();
    suspect_->report.adapter_hash.clear();
    forget_state();
  } else {
    note_state(trouble == Trouble::none);
  }
  for (std::size_t i = 0; i < jobs.size(); ++i) std::get<Job>(jobs[i]).done(outcomes[i]);
  if (trouble == Trouble::lock) fail_waiting();
  return trouble;
}

void Writer::keep_each(std::vector<std::variant<Job, Task>>& jobs) {
  bool is_locked = false;
  for (auto& job : jobs) {
    if (is_locked) {
      std::get<Job>(job).done(Outcome::failed);
      continue;
    }
    std::vector<std::variant<Job, Task>> alone;
    alone.push_back(std::move(job));
    is_locked = keep_group(alone) == Trouble::lock;
  }
}

void Writer::fail_waiting() {
  std::deque<std::variant<Job, Task>> waiting;
  {
    const std::lock_guard lock(mutex_);
    waiting.swap(jobs_);
    for (auto& job : waiting) {
      if (std::holds_alternative<Task>(job)) jobs_.push_back(std::move(job));
    }
  }
  for (auto& job : waiting) {
    if (auto* const delivery = std::get_if<Job>(&job)) delivery->done(Outcome::failed);
  }
}

std::vector<Outcome> Writer::commit(std::vector<std::variant<Job, Task>>& jobs) {
  check_file();
  limit_wait(connection_.database(), is_import(jobs) ? Wait::longest : Wait::brief);
  SQLite::Transaction transaction(connection_.database(), SQLite::TransactionBehavior::IMMEDIATE);
  try {
    keeper_.begin();
    std::vector<Outcome> outcomes;
    outcomes.reserve(jobs.size());
    for (const auto& job : jobs) {
      const Job& delivery = std::get<Job>(job);
      outcomes.push_back(keeper_.keep(delivery.delivery, delivery.time_kind));
    }
    keeper_.finish();
    transaction.commit();
    return outcomes;
  } catch (...) {
    keeper_.forget();
    throw;
  }
}

void Writer::probe() {
  Trouble trouble = Trouble::none;
  try {
    check_file();
    limit_wait(connection_.database(), Wait::brief);
    if (suspect_) try_suspect();
    SQLite::Transaction transaction(connection_.database(), SQLite::TransactionBehavior::IMMEDIATE);
    write_state(connection_, "tries", read_state(connection_, "tries") + 1);
    transaction.commit();
  } catch (...) {
    trouble = judge_failure();
  }
  note_state(trouble == Trouble::none);
  if (trouble == Trouble::lock) fail_waiting();
}

void Writer::try_suspect() {
  Delivery delivery = *suspect_;
  delivery.id = random_guid();
  delivery.report.installation = delivery.id;
  {
    const SQLite::Transaction taken_back(connection_.database(),
                                         SQLite::TransactionBehavior::IMMEDIATE);
    try {
      keeper_.begin();
      keeper_.keep(std::move(delivery), TimeKind::arrival);
      keeper_.finish();
    } catch (...) {
      keeper_.forget();
      throw;
    }
    keeper_.forget();
  }
  suspect_.reset();
}

bool Writer::is_import(const std::vector<std::variant<Job, Task>>& jobs) {
  return !jobs.empty() && std::ranges::all_of(jobs, [](const auto& job) {
    return std::get<Job>(job).time_kind == TimeKind::stated;
  });
}

void Writer::write_refusals() {
  Refusals refusals;
  {
    const std::lock_guard lock(mutex_);
    const bool is_due = is_stopping_ || Clock::now() >= refusals_time_ + refusals_delay;
    if (refusals_.empty() || !is_due) return;
    refusals.swap(refusals_);
  }
  try {
    check_file();
    SQLite::Transaction transaction(connection_.database(), SQLite::TransactionBehavior::IMMEDIATE);
    keeper_.begin();
    for (const auto& [key, count] : refusals) {
      const auto& [product, day, code] = key;
      const std::int64_t number = product.empty() ? 0 : keeper_.product_number(product);
      keeper_.intake().count(number, day, "refused", code, count);
    }
    keeper_.finish();
    transaction.commit();
  } catch (const std::exception&) {
    keeper_.forget();
    const std::lock_guard lock(mutex_);
    refusals_time_ = Clock::now();
    // At the end there is no later try.
    if (is_stopping_) return;
    for (const auto& [key, count] : refusals) refusals_[key] += count;
  }
}

bool Writer::tidy_up() {
  try {
    const bool is_fold_due =
        read_state(connection_, "pending_reports") >= options_.reports_per_fold ||
        read_state(connection_, "pending_bytes") >= bytes_per_fold;
    if (!is_fold_due && merging_.is_done()) return false;
    std::int64_t damaged = 0;
    bool is_sound = true;
    SQLite::Transaction transaction(connection_.database(), SQLite::TransactionBehavior::IMMEDIATE);
    keeper_.begin();
    if (is_fold_due) {
      damaged = fold(connection_, keeper_.names());
      merging_.plan(connection_);
    } else {
      is_sound = merging_.step(connection_, keeper_.names());
    }
    transaction.commit();
    if (!is_sound) {
      note_damage(
          "sums were damaged and are counted anew from the reports; run check, and restore a "
          "backup if it finds more");
    }
    if (damaged != 0) {
      note_damage("report " + std::to_string(damaged) +
                  " is damaged and counts as an empty one; run check, and restore a backup");
    }
    return !merging_.is_done();
  } catch (...) {
    // The counts are the same without it, and the next group tries again.
    judge_failure();
    merging_.forget();
    return false;
  }
}

void Writer::let_others_write() {
  const auto interval = is_importing_ ? pause_interval_of_import : pause_interval;
  if (Clock::now() - pause_time_ < interval) return;
  std::this_thread::sleep_for(pause_for_others);
  pause_time_ = Clock::now();
}

void Writer::check_file() const {
  // SQLite would go on writing to a file that nobody finds any more.
  if (identify(path_) != file_) {
    throw std::runtime_error(path_.string() + " was moved or deleted");
  }
}

void Writer::forget_state() {
  const std::lock_guard lock(mutex_);
  state_time_ = {};
}

void Writer::note_state(bool is_ready) {
  {
    const std::lock_guard lock(mutex_);
    is_ready_ = is_ready;
    is_probing_ = false;
    state_time_ = Clock::now();
  }
  changed_.notify_all();
}

Writer::Trouble Writer::judge_failure() {
  try {
    throw;
  } catch (const StorageError& error) {
    note_damage(error.what());
    return Trouble::damage;
  } catch (const SQLite::Exception& error) {
    if (error.getErrorCode() == SQLITE_BUSY) return Trouble::lock;
    if (error.getErrorCode() != SQLITE_CORRUPT) return Trouble::other;
    note_damage(storage_error(path_, error).what());
    return Trouble::damage;
  } catch (...) {
    return Trouble::other;
  }
}

void Writer::note_damage(const std::string& what) {
  if (!has_noted_damage_.exchange(true) && options_.on_damage) options_.on_damage(what);
}

}  // namespace pelto::collector
