#pragma once

#include "platform/WindowsHeader.h"

/// Aborts the test program after 30 s, so that a test that waits without a timeout cannot block
/// the whole run.
class Deadline {
 public:
  Deadline();
  ~Deadline();
  Deadline(const Deadline&) = delete;
  Deadline& operator=(const Deadline&) = delete;

 private:
  HANDLE over_;
  HANDLE thread_;
};
