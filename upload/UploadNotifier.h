#pragma once

#include <atomic>
#include <string>
#include <vector>

#include "platform/WindowsHeader.h"

/// Carries the progress and the outcome of a send from the sending thread to the waiting one. Every
/// operation may be called from either thread.
class CUploadNotifier {
 public:
  /// Completion statuses. Unlike in the rest of the program, 0 means success
  /// (docs/compatibility.md, 48).
  static constexpr int Succeeded = 0;
  static constexpr int Failed = 1;
  /// Until completion.
  static constexpr int Pending = -1;

  CUploadNotifier();
  /// Does not close the three events (docs/compatibility.md, 45): the sending thread may still be
  /// signaling completion.
  ~CUploadNotifier();
  CUploadNotifier(const CUploadNotifier&) = delete;
  CUploadNotifier& operator=(const CUploadNotifier&) = delete;

  /// Resets to the start: status pending, 0 percent, an empty log, no event signaled.
  void Clear();
  /// Appends a message to the log and updates the percentage (see `SetPercent`).
  void AddStatus(std::wstring message, int percent, bool isRelative);
  /// Stores the percentage as given, or adds to it and caps the sum at 100.
  void SetPercent(int percent, bool isRelative);
  /// Stores the status and releases the waiting thread. The last call of a sender.
  void Complete(int status);
  /// Waits for completion without a timeout and returns the status.
  int AwaitResult();
  /// Whether cancellation was requested. The request persists.
  bool CancelRequested();
  /// Requests that the send ends early.
  void RequestCancel();

  std::vector<std::wstring> GetLog();
  int GetPercent();

 private:
  void SetPercentLocked(int percent, bool isRelative);

  CRITICAL_SECTION lock_;
  int status_ = Pending;
  HANDLE completion_;
  HANDLE cancel_;
  HANDLE feedback_;
  int percent_ = 0;
  std::vector<std::wstring> log_;
  /// Set with the cancel event, so that the event is not queried without a request.
  std::atomic<bool> mayBeCanceled_ = false;
};
