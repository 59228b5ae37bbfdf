#include "collector/serve/Housekeeping.h"

#include <exception>
#include <string>

namespace pelto::collector {

Housekeeping::Housekeeping(const HousekeepingOptions& options, Storage& storage, LogWriter& log)
    : options_(options), storage_(storage), log_(log), thread_([this] { run(); }) {}

Housekeeping::~Housekeeping() {
  {
    const std::lock_guard lock(mutex_);
    is_stopping_ = true;
  }
  changed_.notify_one();
  thread_.join();
}

void Housekeeping::run() {
  std::unique_lock lock(mutex_);
  while (!is_stopping_) {
    lock.unlock();
    clean_up();
    lock.lock();
    changed_.wait_for(lock, options_.interval, [this] { return is_stopping_; });
  }
}

void Housekeeping::clean_up() {
  const auto now = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
  try {
    const GoesOn goes_on = [this] { return this->goes_on(); };
    const std::int64_t texts = storage_.remove_texts(now - options_.retention, goes_on);
    if (texts > 0) log_.message("removed " + std::to_string(texts) + " raw reports");
    if (options_.forget_silent && goes_on()) {
      const ErasedCounts erased = storage_.erase_silent(now - *options_.forget_silent, goes_on);
      if (erased.installations > 0) {
        log_.message("erased " + std::to_string(erased.installations) + " silent installations");
      }
    }
    if (goes_on()) storage_.remove_traces(goes_on);
  } catch (const std::exception& error) {
    log_.message(std::string("cannot remove what is kept no longer: ") + error.what());
  }
}

bool Housekeeping::goes_on() {
  const std::lock_guard lock(mutex_);
  return !is_stopping_;
}

}  // namespace pelto::collector
