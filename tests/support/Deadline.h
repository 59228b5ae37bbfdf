#pragma once

#include "platform/WindowsHeader.h"

/// Ends the test program when the test is not over within 30 s, so that what a test waits for
/// without a time-out cannot hang the whole run.
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
