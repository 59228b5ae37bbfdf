#include "upload/UploadNotifier.h"

#include <algorithm>
#include <utility>

#include "platform/Trace.h"

namespace {

/// Holds a critical section for a scope.
class CLock {
 public:
  explicit CLock(CRITICAL_SECTION& section) : section_(section) { EnterCriticalSection(&section_); }
  ~CLock() { LeaveCriticalSection(&section_); }
  CLock(const CLock&) = delete;
  CLock& operator=(const CLock&) = delete;

 private:
  CRITICAL_SECTION& section_;
};

HANDLE MakeAutoResetEvent() {
  return CreateEventW(nullptr /* security */, FALSE /* resets itself */, FALSE /* not signaled */,
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
    const CLock lock(lock_);
    status_ = Pending;
    percent_ = 0;
    log_.clear();
  }
  mayBeCanceled_ = false;
  ResetEvent(cancel_);
  ResetEvent(completion_);
  ResetEvent(feedback_);
}

void CUploadNotifier::AddStatus(std::wstring message, int percent, bool isRelative) {
  Trace(L"upload", message);
  const CLock lock(lock_);
  log_.push_back(std::move(message));
  SetPercentLocked(percent, isRelative);
}

void CUploadNotifier::SetPercent(int percent, bool isRelative) {
  const CLock lock(lock_);
  SetPercentLocked(percent, isRelative);
}

void CUploadNotifier::SetPercentLocked(int percent, bool isRelative) {
  percent_ = isRelative ? std::min(percent_ + percent, 100) : percent;
}

void CUploadNotifier::Complete(int status) {
  {
    const CLock lock(lock_);
    status_ = status;
  }
  // Outside the lock and last: the waiting thread may destroy this object now.
  SetEvent(completion_);
}

int CUploadNotifier::AwaitResult() {
  WaitForSingleObject(completion_, INFINITE);
  const CLock lock(lock_);
  return status_;
}

bool CUploadNotifier::CancelRequested() {
  // Called before each piece. Under Wine a wait of zero time is a call to its server, which took as
  // long as sending the piece.
  if (!mayBeCanceled_) return false;
  if (WaitForSingleObject(cancel_, 0) != WAIT_OBJECT_0) return false;
  // The wait has reset the event; signal it again.
  SetEvent(cancel_);
  return true;
}

void CUploadNotifier::RequestCancel() {
  SetEvent(cancel_);
  mayBeCanceled_ = true;
}

std::vector<std::wstring> CUploadNotifier::GetLog() {
  const CLock lock(lock_);
  return log_;
}

int CUploadNotifier::GetPercent() {
  const CLock lock(lock_);
  return percent_;
}
