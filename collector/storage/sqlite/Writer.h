// The one thread of a storage that writes.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <exception>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <tuple>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include <sys/types.h>

#include "collector/storage/Storage.h"
#include "collector/storage/sqlite/Checkpointer.h"
#include "collector/storage/sqlite/Connection.h"
#include "collector/storage/sqlite/Folding.h"
#include "collector/storage/sqlite/Keeping.h"

namespace pelto::collector {

/// Works off what it is given in the order of the calls. Deliveries that wait together are kept in
/// one transaction: the disk is synced once for all of them.
class Writer {
 public:
  /// Throws `StorageError`.
  Writer(std::filesystem::path path, const SqliteOptions& options);
  /// Works off the rest first.
  ~Writer();
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;

  void keep(Delivery delivery, TimeKind time_kind, std::function<void(Outcome)> done);
  void count_refusal(const std::string& product, Time received, std::string_view code);
  /// Whether the last write succeeded; tries one if that was some time ago.
  ///
  /// A delivery that fails for damage may fail for its installation's reports alone. So it is tried
  /// again as one of a new installation, and taken back: only if that fails, too, the damage
  /// concerns others, until one is kept.
  bool is_ready();
  /// Passes on what is damaged, once for all calls. From any thread.
  void note_damage(const std::string& what);

  /// Runs `work(connection, keeper)` on the writer's thread, outside of a transaction, and returns
  /// its result or throws what it throws.
  template <typename Work>
  auto run(Work work) {
    using Result = decltype(work(std::declval<Connection&>(), std::declval<Keeper&>()));
    auto call = std::make_shared<Call<Result>>();
    add([this, call, work = std::move(work)]() mutable {
      std::exception_ptr error;
      std::optional<Kept<Result>> result;
      try {
        if constexpr (std::is_void_v<Result>) {
          work(connection_, keeper_);
          result.emplace();
        } else {
          result.emplace(work(connection_, keeper_));
        }
      } catch (...) {
        error = std::current_exception();
      }
      call->finish(std::move(result), std::move(error));
    });
    return call->take();
  }

 private:
  using Clock = std::chrono::steady_clock;
  struct Job {
    Delivery delivery;
    TimeKind time_kind;
    std::function<void(Outcome)> done;
  };
  using Task = std::function<void()>;
  template <typename Result>
  using Kept = std::conditional_t<std::is_void_v<Result>, std::monostate, Result>;

  /// The result of a task on its way to the caller's thread.
  template <typename Result>
  class Call {
   public:
    void finish(std::optional<Kept<Result>> result, std::exception_ptr error) {
      const std::lock_guard lock(mutex_);
      result_ = std::move(result);
      error_ = std::move(error);
      is_done_ = true;
      done_.notify_all();
    }
    Result take() {
      std::unique_lock lock(mutex_);
      done_.wait(lock, [this] { return is_done_; });
      if (error_) std::rethrow_exception(std::exchange(error_, nullptr));
      if constexpr (!std::is_void_v<Result>) return std::move(*result_);
    }

   private:
    std::mutex mutex_;
    std::condition_variable done_;
    std::optional<Kept<Result>> result_;
    std::exception_ptr error_;
    bool is_done_ = false;
  };
  /// Why something was not written.
  enum class Trouble {
    none,
    /// Another process held the lock for too long.
    lock,
    /// Something in the file is damaged.
    damage,
    /// The file is gone, or the disk is full or broken.
    other,
  };
  using Refusals = std::map<std::tuple<std::string, Day, std::string>, std::int64_t>;

  void add(std::variant<Job, Task> job);
  void work();
  /// What is to be done next: deliveries, or one task; nothing if refusals are due, or if it is not
  /// to wait.
  std::vector<std::variant<Job, Task>> take_next(bool waits);
  Trouble keep_group(std::vector<std::variant<Job, Task>>& jobs);
  /// After a group has failed for damage: one after the other, until one meets a lock, which the
  /// rest would wait for in vain, too.
  void keep_each(std::vector<std::variant<Job, Task>>& jobs);
  /// After a group has waited for the lock in vain: those that came after it meanwhile do not wait
  /// again, one group after the other.
  void fail_waiting();
  /// In one transaction: all of them or none. Throws.
  std::vector<Outcome> commit(std::vector<std::variant<Job, Task>>& jobs);
  /// Tries whether a delivery would be kept, and notes it.
  void probe();
  /// Keeps the delivery that failed as one of a new installation, and takes it back. Throws.
  void try_suspect();
  /// Whether no sender waits for the outcome.
  static bool is_import(const std::vector<std::variant<Job, Task>>& jobs);
  /// Writes the refusals if the first of them was counted some time ago, or at the end.
  void write_refusals();
  /// Works on the sums, if there is something to do. Returns whether there is more.
  bool tidy_up();
  /// Lets other processes have the lock from time to time, however much there is to write.
  void let_others_write();
  void check_file() const;
  void note_state(bool is_ready);
  /// The next that asks for the state has to try.
  void forget_state();
  /// What the exception means that is being handled.
  Trouble judge_failure();

  std::filesystem::path path_;
  SqliteOptions options_;
  Connection connection_;
  Keeper keeper_;
  Checkpointer checkpointer_;
  Merging merging_;
  std::pair<dev_t, ino_t> file_;
  Clock::time_point pause_time_ = Clock::now();
  std::atomic<bool> has_noted_damage_ = false;
  bool is_importing_ = false;
  /// The last delivery, if it failed for damage and it is not known that this is its own.
  std::optional<Delivery> suspect_;

  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::variant<Job, Task>> jobs_;
  Refusals refusals_;
  bool is_stopping_ = false;
  bool is_probing_ = false;
  bool is_ready_ = true;
  Clock::time_point state_time_ = Clock::now();
  Clock::time_point refusals_time_ = Clock::now();
  std::thread thread_;
};

}  // namespace pelto::collector
