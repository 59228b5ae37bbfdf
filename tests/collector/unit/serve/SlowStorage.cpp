#include "tests/collector/unit/serve/SlowStorage.h"

namespace pelto::collector {

SlowStorage::SlowStorage() : thread_([this] { run(); }) {}

SlowStorage::~SlowStorage() {
  {
    const std::lock_guard lock(mutex_);
    is_ending_ = true;
  }
  changed_.notify_all();
  thread_.join();
}

void SlowStorage::hold() {
  const std::lock_guard lock(mutex_);
  is_held_ = true;
}

void SlowStorage::release() {
  {
    const std::lock_guard lock(mutex_);
    is_held_ = false;
  }
  changed_.notify_all();
}

void SlowStorage::set_outcome(Outcome outcome) {
  const std::lock_guard lock(mutex_);
  outcome_ = outcome;
}

void SlowStorage::set_ready(bool is_ready) {
  const std::lock_guard lock(mutex_);
  is_ready_ = is_ready;
}

void SlowStorage::fail_cleaning(bool fails) {
  const std::lock_guard lock(mutex_);
  fails_cleaning_ = fails;
}

void SlowStorage::set_erasing_steps(int steps) {
  const std::lock_guard lock(mutex_);
  erasing_steps_ = steps;
}

int SlowStorage::erasing_steps() {
  const std::lock_guard lock(mutex_);
  return erasing_steps_made_;
}

void SlowStorage::set_texts(std::int64_t count) {
  const std::lock_guard lock(mutex_);
  texts_ = count;
}

void SlowStorage::set_export(int parts, ExportEnd end) {
  const std::lock_guard lock(mutex_);
  export_parts_ = parts;
  parts_given_ = 0;
  export_end_ = end;
}

int SlowStorage::parts_given() {
  const std::lock_guard lock(mutex_);
  return parts_given_;
}

std::vector<Delivery> SlowStorage::kept() {
  const std::lock_guard lock(mutex_);
  return kept_;
}

std::map<std::string, int> SlowStorage::refusals() {
  const std::lock_guard lock(mutex_);
  return refusals_;
}

std::size_t SlowStorage::waiting() {
  const std::lock_guard lock(mutex_);
  return waiting_.size();
}

std::vector<Time> SlowStorage::text_limits() {
  const std::lock_guard lock(mutex_);
  return text_limits_;
}

std::vector<Time> SlowStorage::silence_limits() {
  const std::lock_guard lock(mutex_);
  return silence_limits_;
}

void SlowStorage::keep(Delivery delivery, TimeKind, std::function<void(Outcome)> done) {
  {
    const std::lock_guard lock(mutex_);
    waiting_.push_back({std::move(delivery), std::move(done)});
  }
  changed_.notify_all();
}

void SlowStorage::count_refusal(const std::string& product, Time, std::string_view code) {
  const std::lock_guard lock(mutex_);
  ++refusals_[product + " " + std::string(code)];
}

bool SlowStorage::is_ready() noexcept {
  const std::lock_guard lock(mutex_);
  return is_ready_;
}

void SlowStorage::add_product(const std::string& product) {
  const std::lock_guard lock(mutex_);
  products_.push_back(product);
}

std::vector<std::string> SlowStorage::products() {
  const std::lock_guard lock(mutex_);
  return products_;
}

InstallationKeeping SlowStorage::keeping_of(const std::string& installation) {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [this] { return !is_held_; });
  return FakeStorage::keeping_of(installation);
}

ErasedCounts SlowStorage::erase_installation(const std::string& installation,
                                             const GoesOn& goes_on) {
  std::unique_lock lock(mutex_);
  for (; erasing_steps_made_ < erasing_steps_; ++erasing_steps_made_) {
    lock.unlock();
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
    lock.lock();
    if (goes_on()) continue;
    ErasedCounts erased;
    erased.is_whole = false;
    return erased;
  }
  return FakeStorage::erase_installation(installation, goes_on);
}

std::int64_t SlowStorage::remove_texts(Time before, const GoesOn& goes_on) {
  std::int64_t texts = 0;
  {
    const std::lock_guard lock(mutex_);
    text_limits_.push_back(before);
    if (fails_cleaning_) throw StorageError("the storage is full");
    texts = texts_;
  }
  std::int64_t removed = 0;
  for (; removed < texts && goes_on(); ++removed) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return removed;
}

ErasedCounts SlowStorage::erase_silent(Time before, const GoesOn&) {
  const std::lock_guard lock(mutex_);
  silence_limits_.push_back(before);
  return {1, 1, 0};
}

std::vector<KeptDelivery> SlowStorage::export_part(const std::optional<std::string>&,
                                                   ExportPlace&) {
  const std::lock_guard lock(mutex_);
  if (parts_given_ < export_parts_) {
    ++parts_given_;
    KeptDelivery kept;
    kept.delivery.report.application = std::string(std::size_t{1} << 20U, 'x');
    return {kept};
  }
  if (export_end_ == ExportEnd::failure) throw StorageError("the storage is gone");
  return {};
}

void SlowStorage::run() {
  std::unique_lock lock(mutex_);
  while (true) {
    changed_.wait(lock, [this] { return is_ending_ || (!is_held_ && !waiting_.empty()); });
    if (waiting_.empty()) return;
    Waiting next = std::move(waiting_.front());
    waiting_.pop_front();
    const Outcome outcome = outcome_;
    if (outcome != Outcome::failed) kept_.push_back(std::move(next.delivery));
    lock.unlock();
    next.done(outcome);
    next.done = nullptr;
    lock.lock();
  }
}

}  // namespace pelto::collector
