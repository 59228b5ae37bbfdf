#include "upload/UploadNotifier.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <new>
#include <thread>

#include "tests/support/Deadline.h"

namespace {

using namespace std::chrono_literals;

using Log = std::vector<std::wstring>;

/// How many handles this process has open. The system's own count is always 0 under Wine.
int CountHandles() {
  int count = 0;
  // Numbers are given from the lowest free one on.
  for (std::uintptr_t number = 4, last = 0; number < last + 0x4000; number += 4) {
    DWORD flags;
    if (GetHandleInformation(reinterpret_cast<HANDLE>(number), &flags)) {
      ++count;
      last = number;
    }
  }
  return count;
}

TEST(UploadNotifier, StartsPendingWithNothingTold) {
  CUploadNotifier notifier;
  EXPECT_EQ(notifier.GetPercent(), 0);
  EXPECT_EQ(notifier.GetLog(), Log{});
  EXPECT_FALSE(notifier.CancelRequested());
}

TEST(UploadNotifier, ZeroMeansSuccess) {
  EXPECT_EQ(CUploadNotifier::Succeeded, 0);
  EXPECT_EQ(CUploadNotifier::Failed, 1);
  EXPECT_EQ(CUploadNotifier::Pending, -1);
}

TEST(UploadNotifier, DestructionLeavesItsThreeEventsOpen) {
  const int before = CountHandles();
  { const CUploadNotifier notifier; }
  EXPECT_EQ(CountHandles() - before, 3);
}

TEST(UploadNotifierStatus, IsKeptInTheOrderOfItsMessages) {
  CUploadNotifier notifier;
  notifier.AddStatus(L"b", 0, true);
  notifier.AddStatus(L"a", 10, true);
  notifier.AddStatus(L"", 20, false);
  notifier.AddStatus(L"b", 0, true);
  EXPECT_EQ(notifier.GetLog(), (Log{L"b", L"a", L"", L"b"}));
}

TEST(UploadNotifierPercent, RelativeIsAddedAndStopsAtOneHundred) {
  CUploadNotifier notifier;
  notifier.AddStatus(L"m", 30, true);
  EXPECT_EQ(notifier.GetPercent(), 30);
  notifier.SetPercent(69, true);
  EXPECT_EQ(notifier.GetPercent(), 99);
  notifier.SetPercent(1, true);
  EXPECT_EQ(notifier.GetPercent(), 100);
  notifier.SetPercent(1, true);
  EXPECT_EQ(notifier.GetPercent(), 100);
  notifier.AddStatus(L"m", 1000, true);
  EXPECT_EQ(notifier.GetPercent(), 100);
  notifier.SetPercent(-40, true);
  EXPECT_EQ(notifier.GetPercent(), 60);
}

TEST(UploadNotifierPercent, AbsoluteIsStoredAsGiven) {
  CUploadNotifier notifier;
  for (const int percent : {1, 100, 0, 101, -5, 1'000'000}) {
    notifier.SetPercent(percent, false);
    EXPECT_EQ(notifier.GetPercent(), percent);
    notifier.AddStatus(L"m", percent + 1, false);
    EXPECT_EQ(notifier.GetPercent(), percent + 1);
  }
}

TEST(UploadNotifierPercent, WithoutAMessageLogsNone) {
  CUploadNotifier notifier;
  notifier.SetPercent(50, false);
  notifier.SetPercent(50, true);
  EXPECT_EQ(notifier.GetLog(), Log{});
}

TEST(UploadNotifierCancel, StaysRequestedHoweverOftenOneAsks) {
  CUploadNotifier notifier;
  notifier.RequestCancel();
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(notifier.CancelRequested());
}

TEST(UploadNotifierCancel, IsNotCompletion) {
  const Deadline deadline;
  CUploadNotifier notifier;
  notifier.RequestCancel();
  auto result = std::async(std::launch::async, [&] { return notifier.AwaitResult(); });
  EXPECT_EQ(result.wait_for(100ms), std::future_status::timeout);
  notifier.Complete(CUploadNotifier::Failed);
  EXPECT_EQ(result.get(), CUploadNotifier::Failed);
  EXPECT_TRUE(notifier.CancelRequested());
}

TEST(UploadNotifierClear, TakesBackWhatWasTold) {
  const Deadline deadline;
  CUploadNotifier notifier;
  notifier.AddStatus(L"m", 40, false);
  notifier.RequestCancel();
  notifier.Complete(CUploadNotifier::Succeeded);
  notifier.Clear();
  EXPECT_EQ(notifier.GetPercent(), 0);
  EXPECT_EQ(notifier.GetLog(), Log{});
  EXPECT_FALSE(notifier.CancelRequested());
  auto result = std::async(std::launch::async, [&] { return notifier.AwaitResult(); });
  EXPECT_EQ(result.wait_for(100ms), std::future_status::timeout) << "completion was taken back";
  notifier.Complete(CUploadNotifier::Failed);
  EXPECT_EQ(result.get(), CUploadNotifier::Failed);
}

TEST(UploadNotifierResult, IsTheStatusThatCompletionGave) {
  const Deadline deadline;
  for (const int status : {0, 1, -1, 7}) {
    CUploadNotifier notifier;
    notifier.Complete(status);
    EXPECT_EQ(notifier.AwaitResult(), status);
  }
}

TEST(UploadNotifierResult, IsWaitedForUntilAnotherThreadCompletes) {
  const Deadline deadline;
  CUploadNotifier notifier;
  auto result = std::async(std::launch::async, [&] { return notifier.AwaitResult(); });
  EXPECT_EQ(result.wait_for(100ms), std::future_status::timeout);
  notifier.Complete(CUploadNotifier::Succeeded);
  EXPECT_EQ(result.get(), CUploadNotifier::Succeeded);
}

TEST(UploadNotifierResult, IsTakenByOneWait) {
  const Deadline deadline;
  CUploadNotifier notifier;
  std::atomic<int> taken = 0;
  const auto wait = [&] {
    notifier.AwaitResult();
    ++taken;
  };
  std::thread first(wait);
  std::thread second(wait);
  notifier.Complete(CUploadNotifier::Succeeded);
  while (taken == 0) std::this_thread::yield();
  std::this_thread::sleep_for(50ms);
  EXPECT_EQ(taken, 1);
  notifier.Complete(CUploadNotifier::Succeeded);
  first.join();
  second.join();
  EXPECT_EQ(taken, 2);
}

TEST(UploadNotifierStress, StatusesFromTwoThreadsAllArriveInEachThreadsOrder) {
  CUploadNotifier notifier;
  const auto tell = [&](wchar_t who) {
    for (int i = 0; i < 5000; ++i) {
      notifier.AddStatus(who + std::to_wstring(i), 0, true);
      notifier.SetPercent(1, true);
    }
  };
  std::thread other([&] { tell(L'b'); });
  tell(L'a');
  other.join();
  int next[2] = {};
  for (const std::wstring& message : notifier.GetLog()) {
    EXPECT_EQ(message.substr(1), std::to_wstring(next[message[0] - L'a']++));
  }
  EXPECT_EQ(next[0], 5000);
  EXPECT_EQ(next[1], 5000);
  EXPECT_EQ(notifier.GetPercent(), 100);
}

/// A notifier and what stands for its sender, in memory that is gone when they are: whoever uses
/// them later crashes.
class Delivery {
 public:
  Delivery() : place_(new (Memory()) Place) {}
  ~Delivery() {
    place_->~Place();
    VirtualFree(place_, 0, MEM_RELEASE);
  }
  Delivery(const Delivery&) = delete;
  Delivery& operator=(const Delivery&) = delete;

  CUploadNotifier& Notifier() { return place_->notifier; }
  /// What a sender's thread does in the end.
  void Complete(int status) {
    CUploadNotifier* const notifier = place_->sendersNotifier;
    notifier->AddStatus(L"told", 100, false);
    notifier->Complete(status);
  }

 private:
  struct Place {
    CUploadNotifier notifier;
    CUploadNotifier* sendersNotifier = &notifier;
  };

  static void* Memory() {
    void* const memory =
        VirtualAlloc(nullptr, sizeof(Place), MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
  }

  Place* place_;
};

TEST(UploadNotifierStress, BothMayBeDestroyedAsSoonAsTheWaitIsOver) {
  const Deadline deadline;
  constexpr int Count = 10'000;
  std::atomic<Delivery*> handedOver = nullptr;
  std::thread sending([&] {
    for (int i = 0; i < Count; ++i) {
      Delivery* delivery;
      while ((delivery = handedOver.exchange(nullptr)) == nullptr) std::this_thread::yield();
      delivery->Complete(i);
    }
  });
  int right = 0;
  for (int i = 0; i < Count; ++i) {
    const auto delivery = std::make_unique<Delivery>();
    handedOver = delivery.get();
    right += delivery->Notifier().AwaitResult() == i ? 1 : 0;
  }
  sending.join();
  EXPECT_EQ(right, Count);
}

}  // namespace
