#include <atomic>
#include <future>
#include <thread>
#include <tuple>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/collector/unit/storage/Samples.h"

namespace pelto::collector::testing {

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class Keeping : public ::testing::Test {
 protected:
  void reopen() {
    storage.reset();
    storage = open_sqlite_storage(folder / sqlite_file_name);
  }

  TemporaryFolder folder;
  std::unique_ptr<Storage> storage = open_sqlite_storage(folder / sqlite_file_name);
};

TEST_F(Keeping, ADeliveryIsThereAfterReopeningWithEverythingThatIsKept) {
  Report report = sample_report("first", 3);
  report.commands = {{"Arc", 0, 0}, {"Line", 3, 1}, {"Ö\"<&>\n", 1'000'000'000, 2}};
  report.file_types = {{"", 0, 0}, {".dwg", 2, 1}};
  report.machine = {{"", "", ""},
                    {"HardDisk", "Size", "-12"},
                    {"OS", "Caption", "Windows"},
                    {"System", "TotalPhysicalMemory", "0017179869184"},
                    {"Video Card", "AdapterRAM", "-1048576"}};
  const Delivery delivery = sample_delivery(1, "2026-01-05T10:00:00Z", report);
  EXPECT_EQ(keep(*storage, delivery), Outcome::accepted);
  reopen();
  const auto kept = export_all(*storage);
  ASSERT_EQ(kept.size(), 1U);
  EXPECT_EQ(kept[0].delivery.report, report);
  EXPECT_EQ(kept[0].delivery.id, delivery.id);
  EXPECT_EQ(kept[0].delivery.received, delivery.received);
  EXPECT_EQ(kept[0].delivery.product, "default");
  EXPECT_FALSE(kept[0].is_replaced);
}

TEST_F(Keeping, AnIdentifierThatIsNoGuidIsKeptAsItIs) {
  Delivery delivery = sample_delivery(1, "2026-01-05T10:00:00Z", sample_report("first"));
  for (const char* const id :
       {"", "x", "sixteen letters.", "0000000A-0000-4000-8000-000000000001"}) {
    delivery.id = id;
    EXPECT_NE(keep(*storage, delivery, TimeKind::arrival), Outcome::repeated) << id;
    EXPECT_EQ(keep(*storage, delivery, TimeKind::arrival), Outcome::repeated) << id;
  }
  EXPECT_EQ(export_all(*storage).size(), 4U);
}

TEST_F(Keeping, TheSameIdentifierIsRepeatedAndChangesNothing) {
  const Delivery first = sample_delivery(1, "2026-01-05T10:00:00Z", sample_report("first", 3));
  Delivery again = sample_delivery(1, "2026-01-06T10:00:00Z", sample_report("second", 9));
  EXPECT_EQ(keep(*storage, first), Outcome::accepted);
  EXPECT_EQ(keep(*storage, again), Outcome::repeated);
  again.product = "other";
  EXPECT_EQ(keep(*storage, again), Outcome::accepted);
  EXPECT_EQ(export_all(*storage, "first").size(), 1U);
  EXPECT_EQ(export_all(*storage, "second").size(), 1U);
  EXPECT_EQ(storage->count_commands(everything()).rows[0].uses, 3);
  EXPECT_EQ(storage->count_intake(everything()).repeated, 1);
  EXPECT_EQ(storage->count_intake(everything()).accepted, 1);
  EXPECT_EQ(storage->count_intake(everything("other")).repeated, 0);
}

TEST_F(Keeping, AGrownReportReplacesTheOneBeforeItWhoseIdentifierStaysKnown) {
  const Delivery first = sample_delivery(1, "2026-01-05T10:00:00Z", sample_report("first", 3));
  EXPECT_EQ(keep(*storage, first), Outcome::accepted);
  EXPECT_EQ(keep(*storage, sample_delivery(2, "2026-01-08T10:00:00Z", sample_report("first", 5))),
            Outcome::replaced);
  EXPECT_EQ(keep(*storage, first), Outcome::repeated);
  EXPECT_EQ(storage->count_commands(everything()).rows[0].uses, 5);
  const auto kept = export_all(*storage);
  ASSERT_EQ(kept.size(), 2U);
  EXPECT_TRUE(kept[0].is_replaced);
  EXPECT_FALSE(kept[1].is_replaced);
}

TEST_F(Keeping, AReportPutBetweenTwoEndsTheirChainOrJoinsIt) {
  keep(*storage, sample_delivery(1, "2026-01-05T10:00:00Z", sample_report("first", 3)));
  keep(*storage, sample_delivery(3, "2026-01-09T10:00:00Z", sample_report("first", 5)));
  EXPECT_EQ(storage->count_commands(everything()).rows[0].uses, 5);
  // Holds neither, and is held by the last.
  EXPECT_EQ(keep(*storage, sample_delivery(2, "2026-01-07T10:00:00Z", sample_report("first", 1))),
            Outcome::accepted);
  EXPECT_EQ(storage->count_commands(everything()).rows[0].uses, 8);
  const IntakeCounts intake = storage->count_intake(everything());
  EXPECT_EQ(intake.accepted, 3);
  EXPECT_EQ(intake.replaced, 1);
  EXPECT_THAT(storage->check(), IsEmpty());
}

TEST_F(Keeping, WhatArrivesLaterIsLaterEvenIfTheClockWasSetBack) {
  keep(*storage, sample_delivery(1, "2026-01-05T10:00:00Z", sample_report("first", 3)),
       TimeKind::arrival);
  EXPECT_EQ(keep(*storage, sample_delivery(2, "2025-01-05T10:00:00Z", sample_report("first", 4)),
                 TimeKind::arrival),
            Outcome::replaced);
  EXPECT_EQ(keep(*storage, sample_delivery(3, "2025-01-05T10:00:00Z", sample_report("second")),
                 TimeKind::arrival),
            Outcome::accepted);
  EXPECT_EQ(export_all(*storage, "first")[1].delivery.received, at("2026-01-05T10:00:01Z"));
  EXPECT_EQ(export_all(*storage, "second")[0].delivery.received, at("2025-01-05T10:00:00Z"));
}

TEST_F(Keeping, AReportThatIsNotNormalizedIsNormalized) {
  Report report = sample_report("first", 3);
  report.commands.push_back({"Line", 7, 2});
  report.commands.push_back({"Arc", -1, 1});
  keep(*storage, sample_delivery(1, "2026-01-05T10:00:00Z", report));
  EXPECT_THAT(export_all(*storage)[0].delivery.report.commands,
              ElementsAre(CommandCount{"Arc", 0, 1}, CommandCount{"Line", 3, 1}));
}

TEST_F(Keeping, TheAdaptersAddressIsNotKeptAsAPropertyOfTheMachine) {
  Report report = sample_report("first");
  report.machine = {{"Adapter", "MACAddress", "02:fc:00:00:00:01"}, {"OS", "Caption", "Windows"}};
  keep(*storage, sample_delivery(1, "2026-01-05T10:00:00Z", report));
  EXPECT_THAT(export_all(*storage)[0].delivery.report.machine,
              ElementsAre(MachineValue{"OS", "Caption", "Windows"}));
}

TEST_F(Keeping, ExportIsByTimeThenIdentifierAcrossItsParts) {
  Delivery delivery = sample_delivery(0, "2026-01-05T10:00:00Z", sample_report("first"));
  std::promise<void> last;
  constexpr unsigned count = 1203;
  for (unsigned i = count; i > 0; --i) {
    delivery.id = guid(i);
    delivery.product = i % 3 == 0 ? "other" : "default";
    delivery.report.installation = "installation-" + std::to_string(i % 50);
    delivery.received = at("2026-01-05T10:00:00Z") + std::chrono::seconds{i / 700};
    storage->keep(delivery, TimeKind::stated, [&, i](Outcome outcome) {
      EXPECT_NE(outcome, Outcome::failed);
      if (i == 1) last.set_value();
    });
  }
  last.get_future().wait();
  const auto kept = export_all(*storage);
  ASSERT_EQ(kept.size(), count);
  for (std::size_t i = 1; i < kept.size(); ++i) {
    const Delivery& before = kept[i - 1].delivery;
    const Delivery& after = kept[i].delivery;
    EXPECT_LT(std::tie(before.received, before.id), std::tie(after.received, after.id));
  }
  EXPECT_EQ(export_all(*storage, "installation-7").size(), 24U);
  EXPECT_THAT(export_all(*storage, "unknown"), IsEmpty());
}

TEST_F(Keeping, APartOfAnExportHasAFewLargeDeliveriesOnly) {
  Report report = sample_report("first");
  // 11 bytes each, and so more than a third of a MiB in all.
  for (int i = 0; i < 32'000; ++i) {
    report.commands.push_back({"Command " + std::to_string(i), largest_count, largest_count - i});
  }
  for (unsigned i = 1; i <= 4; ++i) {
    keep(*storage, sample_delivery(i, "2026-01-05T10:00:00Z", report));
  }
  std::vector<std::size_t> sizes;
  ExportPlace place;
  for (auto part = storage->export_part({}, place); !part.empty();
       part = storage->export_part({}, place)) {
    sizes.push_back(part.size());
  }
  EXPECT_THAT(sizes, ElementsAre(3U, 1U));
}

TEST_F(Keeping, ProductsAreListedByNameAndAddedOnce) {
  EXPECT_THAT(storage->products(), IsEmpty());
  storage->add_product("b");
  storage->add_product("a");
  storage->add_product("b");
  reopen();
  EXPECT_THAT(storage->products(), ElementsAre("a", "b"));
  EXPECT_FALSE(storage->periods("a"));
  EXPECT_FALSE(storage->periods("unknown"));
}

TEST_F(Keeping, CountsOfAnUnknownProductAreEmpty) {
  keep(*storage, sample_delivery(1, "2026-01-05T10:00:00Z", sample_report("first")));
  EXPECT_THAT(storage->count_commands(everything("unknown")).rows, IsEmpty());
  EXPECT_EQ(storage->count_machines(everything("unknown")).installations, Basis{});
}

TEST_F(Keeping, RefusalsAreCountedByDayAndCodeAndThoseWithoutAProductUnderEvery) {
  storage->add_product("default");
  storage->add_product("other");
  const Time now = at("2026-01-05T10:00:00Z");
  storage->count_refusal("default", now, "bad-base64");
  storage->count_refusal("default", now, "bad-base64");
  storage->count_refusal("", now, "unknown-product");
  storage->count_refusal("", now + period_length * 3, "unknown-product");
  // What was counted is written at the end at the latest.
  reopen();
  const Period period = period_of(now);
  const auto refused = [&](const char* product) {
    return storage->count_intake({product, {}, period, period}).refused;
  };
  EXPECT_THAT(refused("default"),
              ElementsAre(std::pair("bad-base64", 2), std::pair("unknown-product", 1)));
  EXPECT_THAT(refused("other"), ElementsAre(std::pair("unknown-product", 1)));
}

TEST_F(Keeping, ARefusalIsWrittenSoonWithoutAnythingElseToDo) {
  storage->add_product("default");
  storage->count_refusal("default", at("2026-01-05T10:00:00Z"), "timeout");
  const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds{10};
  while (storage->count_intake(everything()).refused.empty() &&
         std::chrono::steady_clock::now() < limit) {
    std::this_thread::sleep_for(std::chrono::milliseconds{50});
  }
  EXPECT_EQ(storage->count_intake(everything()).refused["timeout"], 1);
}

TEST_F(Keeping, ARefusalIsWrittenSoonWhileDeliveriesNeverEnd) {
  storage->add_product("default");
  storage->count_refusal("default", at("2026-01-05T10:00:00Z"), "timeout");
  std::atomic<unsigned> waiting = 0;
  std::int64_t counted = 0;
  const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds{10};
  for (unsigned i = 0; counted == 0 && std::chrono::steady_clock::now() < limit; ++i) {
    ++waiting;
    storage->keep(sample_delivery(i, "2026-01-05T10:00:00Z", sample_report("first")),
                  TimeKind::arrival, [&](Outcome) { --waiting; });
    while (waiting > 2000) std::this_thread::yield();
    if (i % 1000 == 0) counted = storage->count_intake(everything()).refused["timeout"];
  }
  // The writer had something to do until here.
  EXPECT_GT(waiting, 0U);
  EXPECT_EQ(counted, 1);
  storage.reset();
}

TEST_F(Keeping, TheThresholdIsFiveAtFirstAndStays) {
  EXPECT_EQ(storage->threshold(), 5);
  storage->set_threshold(12);
  reopen();
  EXPECT_EQ(storage->threshold(), 12);
}

TEST_F(Keeping, ASecretIsMadeOnceAndDiffersByName) {
  const std::string first = storage->secret("first");
  EXPECT_EQ(first.size(), 32U);
  EXPECT_NE(storage->secret("second"), first);
  reopen();
  EXPECT_EQ(storage->secret("first"), first);
}

TEST_F(Keeping, RawTextsGoByTimeAndTheCountsStay) {
  for (unsigned i = 1; i <= 4; ++i) {
    Delivery delivery =
        sample_delivery(i, "2026-01-05T10:00:00Z", sample_report(std::to_string(i)));
    delivery.received += std::chrono::hours{24} * i;
    if (i != 3) delivery.report.text = "<PeltoRpt>" + std::string(i, ' ') + "</PeltoRpt>";
    keep(*storage, delivery);
  }
  EXPECT_THAT(storage->check(), IsEmpty());
  EXPECT_EQ(storage->remove_texts(at("2026-01-09T10:00:00Z"), to_the_end), 2);
  EXPECT_EQ(storage->remove_texts(at("2026-01-09T10:00:00Z"), to_the_end), 0);
  EXPECT_EQ(storage->remove_texts(at("2026-01-09T10:00:01Z"), to_the_end), 1);
  EXPECT_EQ(storage->count_commands(everything()).rows[0].uses, 4);
}

TEST_F(Keeping, TheRemovalOfRawTextsCanEndBetweenItsSteps) {
  constexpr unsigned count = 4500;
  for (unsigned i = 0; i < count; ++i) {
    Delivery delivery = sample_delivery(i, "2026-01-05T10:00:00Z", sample_report(guid(i)));
    // Many arrive in the same second, as in an import.
    delivery.received += std::chrono::seconds{i / 1000};
    delivery.report.text = "<PeltoRpt></PeltoRpt>";
    storage->keep(delivery, TimeKind::stated,
                  [](Outcome outcome) { EXPECT_EQ(outcome, Outcome::accepted); });
  }
  // The writer works in the order of the calls.
  storage->add_product("default");
  const Time later = at("2026-01-06T10:00:00Z");
  EXPECT_EQ(storage->remove_texts(later, [] { return false; }), 0);
  int steps = 0;
  const std::int64_t removed = storage->remove_texts(later, [&] { return ++steps <= 2; });
  EXPECT_GT(removed, 0);
  EXPECT_LT(removed, count);
  EXPECT_EQ(steps, 3);
  EXPECT_THAT(storage->check(), IsEmpty());
  EXPECT_EQ(storage->remove_texts(later, to_the_end), count - removed);
  EXPECT_EQ(storage->remove_texts(later, to_the_end), 0);
}

TEST_F(Keeping, ManyThreadsKeepCountAndEraseAtATime) {
  constexpr unsigned threads = 4;
  constexpr unsigned each = 150;
  std::atomic<unsigned> done = 0;
  std::vector<std::thread> workers;
  for (unsigned thread = 0; thread < threads; ++thread) {
    workers.emplace_back([&, thread] {
      for (unsigned i = 0; i < each; ++i) {
        Delivery delivery =
            sample_delivery(thread * each + i, "2026-01-05T10:00:00Z",
                            sample_report(std::to_string(thread) + "-" + std::to_string(i)));
        storage->keep(delivery, TimeKind::arrival, [&](Outcome outcome) {
          EXPECT_EQ(outcome, Outcome::accepted);
          ++done;
        });
        if (i % 50 == 10) storage->count_commands(everything());
        if (i % 50 == 20) storage->count_machines(everything());
        if (i % 50 == 30) {
          EXPECT_TRUE(storage->is_ready());
        }
        if (i % 50 == 40) storage->erase_installation("gone-" + std::to_string(i), to_the_end);
        storage->count_refusal("", delivery.received, "busy");
      }
    });
  }
  for (std::thread& worker : workers) worker.join();
  reopen();
  EXPECT_EQ(done, threads * each);
  EXPECT_EQ(storage->count_commands(everything()).rows[0].installations.installations,
            threads * each);
  EXPECT_EQ(storage->count_intake(everything()).refused["busy"], threads * each);
  EXPECT_THAT(storage->check(), IsEmpty());
}

}  // namespace

}  // namespace pelto::collector::testing
