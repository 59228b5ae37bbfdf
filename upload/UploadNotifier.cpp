#include "upload/UploadNotifier.h"

#include <algorithm>
#include <utility>

namespace {

/// Holds a critical section for a scope.
class Lock {
 public:
  explicit Lock(CRITICAL_SECTION& section) : section_(section) { EnterCriticalSection(&section_); }
  ~Lock() { LeaveCriticalSection(&section_); }
  Lock(const Lock&) = delete;
  Lock& operator=(const Lock&) = delete;

 private:
  CRITICAL_SECTION& section_;
};

HANDLE MakeAutoResetEvent() {
  return CreateEventW(nullptr /* security */, FALSE /* resets itself */, FALSE /* not signalled */,
                      nullptr /* no name */);
}

}  // namespace

CUploadNotifier::CUploadNotifier()
    : completion_(MakeAutoResetEvent()),
      cancel_(MakeAutoResetEvent()),
      feedback_(MakeAutoResetEvent()) {
  InitializeCriticalSection(&lock_);
  Clear();
}

CUploadNotifier::~CUploadNotifier() {
  DeleteCriticalSection(&lock_);
}

void CUploadNotifier::Clear() {
  {
    const Lock lock(lock_);
    status_ = Pending;
    percent_ = 0;
    log_.clear();
  }
  mayBeCancelled_ = false;
  ResetEvent(cancel_);
  ResetEvent(completion_);
  ResetEvent(feedback_);
}

void CUploadNotifier::AddStatus(std::wstring message, int percent, bool isRelative) {
  const Lock lock(lock_);
  log_.push_back(std::move(message));
  SetPercentLocked(percent, isRelative);
}

void CUploadNotifier::SetPercent(int percent, bool isRelative) {
  const Lock lock(lock_);
  SetPercentLocked(percent, isRelative);
}

void CUploadNotifier::SetPercentLocked(int percent, bool isRelative) {
  percent_ = isRelative ? std::min(percent_ + percent, 100) : percent;
}

void CUploadNotifier::Complete(int status) {
  {
    const Lock lock(lock_);
    status_ = status;
  }
  // Outside the lock, and the last thing: whoever waits may destroy this object now.
  SetEvent(completion_);
}

int CUploadNotifier::AwaitResult() {
  WaitForSingleObject(completion_, INFINITE);
  const Lock lock(lock_);
  return status_;
}

bool CUploadNotifier::CancelRequested() {
  // A sender asks before each piece. Under Wine, where a wait of no time goes through its server,
  // asking the system each time took as long as sending.
  if (!mayBeCancelled_) return false;
  if (WaitForSingleObject(cancel_, 0) != WAIT_OBJECT_0) return false;
  // Asking has taken the signal.
  SetEvent(cancel_);
  return true;
}

void CUploadNotifier::RequestCancel() {
  SetEvent(cancel_);
  mayBeCancelled_ = true;
}

std::vector<std::wstring> CUploadNotifier::Log() {
  const Lock lock(lock_);
  return log_;
}

int CUploadNotifier::Percent() {
  const Lock lock(lock_);
  return percent_;
}
