#include "tests/support/Deadline.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>

namespace {

constexpr DWORD LimitMilliseconds = 30'000;

// A system event: a stop token with a condition variable sometimes missed an end during the
// thread's start.
DWORD WINAPI Watch(void* over) {
  if (WaitForSingleObject(over, LimitMilliseconds) == WAIT_TIMEOUT) {
    std::fputs("a test exceeded its deadline\n", stderr);
    std::abort();
  }
  return 0;
}

}  // namespace

Deadline::Deadline()
    : over_(CreateEventW(nullptr, TRUE /* manual */, FALSE /* not set */, nullptr)),
      thread_(CreateThread(nullptr, 0 /* default stack */, &Watch, over_, 0, nullptr)) {
  EXPECT_NE(thread_, nullptr) << GetLastError();
}

Deadline::~Deadline() {
  SetEvent(over_);
  WaitForSingleObject(thread_, INFINITE);
  CloseHandle(thread_);
  CloseHandle(over_);
}
