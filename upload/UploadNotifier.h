#pragma once

#include <atomic>
#include <string>
#include <vector>

#include "platform/WindowsHeader.h"

/// What a sending thread tells the thread that waits for it. Every operation may be called from
/// either thread.
class CUploadNotifier {
 public:
  /// A completion status, where 0 means success: the one inversion of this program's flags.
  static constexpr int Succeeded = 0;
  static constexpr int Failed = 1;
  /// Until completion.
  static constexpr int Pending = -1;

  CUploadNotifier();
  /// Leaves the three events open to the end of the process, deliberately: whatever the other
  /// thread is about, it never meets a closed one.
  ~CUploadNotifier();
  CUploadNotifier(const CUploadNotifier&) = delete;
  CUploadNotifier& operator=(const CUploadNotifier&) = delete;

  /// Back to the start: status pending, 0 per cent, an empty log, no signal.
  void Clear();
  /// Appends a message to the log and sets the percentage (see `SetPercent`).
  void AddStatus(std::wstring message, int percent, bool isRelative);
  /// Sets the percentage, or adds to it and stops at 100.
  void SetPercent(int percent, bool isRelative);
  /// Stores the status and lets the waiting thread go on. The last thing that a sender does.
  void Complete(int status);
  /// Waits for completion, without a time-out, and answers with the status.
  int AwaitResult();
  /// Whether somebody wants the sending to end. The request stays.
  bool CancelRequested();
  /// Asks the sending thread to end.
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
  /// Set with the cancel event, so that nobody asks the system while there was no request.
  std::atomic<bool> mayBeCancelled_ = false;
};
