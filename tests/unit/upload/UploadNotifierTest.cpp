#include "upload/UploadNotifier.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <new>
#include <thread>

#include "tests/support/Deadline.h"
#include "tests/unit/upload/OpenHandles.h"

namespace {

using namespace std::chrono_literals;

using Log = std::vector<std::wstring>;

TEST(UploadNotifier, StartsWithoutMessagesPercentAndCancellation) {
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

TEST(UploadNotifier, ThreeEventsStayOpenAfterItsDestruction) {
  const int before = CountHandles();
  { const CUploadNotifier notifier; }
  EXPECT_EQ(CountHandles() - before, 3);
}

TEST(UploadNotifierStatus, MessagesKeepTheirOrder) {
  CUploadNotifier notifier;
  notifier.AddStatus(L"b", 0, true);
  notifier.AddStatus(L"a", 10, true);
  notifier.AddStatus(L"", 20, false);
  notifier.AddStatus(L"b", 0, true);
  EXPECT_EQ(notifier.GetLog(), (Log{L"b", L"a", L"", L"b"}));
}

TEST(UploadNotifierPercent, RelativeIsAddedUpTo100AndAbsoluteIsStoredAsGiven) {
  const struct {
    int percent;
    bool isRelative;
    int result;
  } steps[] = {{30, true, 30},    {69, true, 99},    {1, true, 100},
               {1, true, 100},    {1000, true, 100}, {-40, true, 60},
               {1, false, 1},     {100, false, 100}, {0, false, 0},
               {101, false, 101}, {-5, false, -5},   {1'000'000, false, 1'000'000}};
  CUploadNotifier notifier;
  CUploadNotifier withMessages;
  for (const auto& [percent, isRelative, result] : steps) {
    notifier.SetPercent(percent, isRelative);
    EXPECT_EQ(notifier.GetPercent(), result);
    withMessages.AddStatus(L"m", percent, isRelative);
    EXPECT_EQ(withMessages.GetPercent(), result);
  }
  EXPECT_EQ(notifier.GetLog(), Log{});
  EXPECT_EQ(withMessages.GetLog(), Log(std::size(steps), L"m"));
}

TEST(UploadNotifierCancel, RequestPersists) {
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

TEST(UploadNotifierClear, ResetsEverything) {
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
  EXPECT_EQ(result.wait_for(100ms), std::future_status::timeout) << "completion was not reset";
  notifier.Complete(CUploadNotifier::Failed);
  EXPECT_EQ(result.get(), CUploadNotifier::Failed);
}

TEST(UploadNotifierResult, IsTheStatusOfTheCompletion) {
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

TEST(UploadNotifierResult, ReleasesOneWait) {
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
  const auto report = [&](wchar_t thread) {
    for (int i = 0; i < 5000; ++i) {
      notifier.AddStatus(thread + std::to_wstring(i), 0, true);
      notifier.SetPercent(1, true);
    }
  };
  std::thread other([&] { report(L'b'); });
  report(L'a');
  other.join();
  int next[2] = {};
  for (const std::wstring& message : notifier.GetLog()) {
    EXPECT_EQ(message.substr(1), std::to_wstring(next[message[0] - L'a']++));
  }
  EXPECT_EQ(next[0], 5000);
  EXPECT_EQ(next[1], 5000);
  EXPECT_EQ(notifier.GetPercent(), 100);
}

/// A notifier and the pointer of its sender, in memory that is unmapped with them, so that a later
/// use crashes.
class Delivery {
 public:
  Delivery() : place_(new (AllocateMemory()) Place) {}
  ~Delivery() {
    place_->~Place();
    VirtualFree(place_, 0, MEM_RELEASE);
  }
  Delivery(const Delivery&) = delete;
  Delivery& operator=(const Delivery&) = delete;

  CUploadNotifier& GetNotifier() { return place_->notifier; }
  /// The last calls of a sender's thread.
  void Complete(int status) {
    CUploadNotifier* const notifier = place_->sendersNotifier;
    notifier->AddStatus(L"message", 100, false);
    notifier->Complete(status);
  }

 private:
  struct Place {
    CUploadNotifier notifier;
    CUploadNotifier* sendersNotifier = &notifier;
  };

  static void* AllocateMemory() {
    void* const memory =
        VirtualAlloc(nullptr, sizeof(Place), MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
  }

  Place* place_;
};

TEST(UploadNotifierStress, MemoryMayBeFreedAsSoonAsTheWaitReturns) {
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
    right += delivery->GetNotifier().AwaitResult() == i ? 1 : 0;
  }
  sending.join();
  EXPECT_EQ(right, Count);
}

}  // namespace
