#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/collector/support/FakeStorage.h"
#include "tests/collector/unit/storage/Samples.h"

namespace pelto::collector::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

enum class Engine { sqlite, in_memory };

/// The storage in memory, which the tests of the API use, must agree.
class Summaries : public ::testing::TestWithParam<Engine> {
 protected:
  Summaries() {
    if (GetParam() == Engine::sqlite) {
      storage_ = open_sqlite_storage(folder_ / sqlite_file_name);
    } else {
      storage_ = std::make_unique<test::FakeStorage>();
    }
  }

  void keep_report(unsigned id, const char* received, const std::string& installation,
                   const std::string& email = {}, const std::string& text = {},
                   const std::string& product = "default") {
    Report report = sample_report(installation);
    report.email = email;
    report.text = text;
    keep(*storage_, sample_delivery(id, received, report, product));
  }

  TemporaryFolder folder_;
  std::unique_ptr<Storage> storage_;
};

INSTANTIATE_TEST_SUITE_P(All, Summaries, ::testing::Values(Engine::sqlite, Engine::in_memory),
                         [](const auto& parameter) {
                           return parameter.param == Engine::sqlite ? "OfAFile" : "InMemory";
                         });

TEST_P(Summaries, OfProductsWithoutAReportHaveZeros) {
  EXPECT_THAT(storage_->keeping(), IsEmpty());
  storage_->add_product("b");
  storage_->add_product("a");
  EXPECT_THAT(storage_->keeping(), ElementsAre(ProductKeeping{"a"}, ProductKeeping{"b"}));
}

TEST_P(Summaries, CountWhatIsKeptOfEachProduct) {
  keep_report(1, "2026-03-05T10:00:00Z", "one", "", "<PeltoRpt/>");
  keep_report(2, "2026-01-05T10:00:00Z", "one", "", "<PeltoRpt/>");
  keep_report(3, "2026-02-05T10:00:00Z", "two");
  keep_report(4, "2026-04-05T10:00:00Z", "two", "", "<PeltoRpt/>", "other");
  EXPECT_THAT(storage_->keeping(),
              ElementsAre(ProductKeeping{"default", at("2026-01-05T10:00:00Z"), 3, 2, 2},
                          ProductKeeping{"other", at("2026-04-05T10:00:00Z"), 1, 1, 1}));
  storage_->remove_texts(at("2026-02-01T00:00:00Z"), to_the_end);
  storage_->erase_installation("two", to_the_end);
  EXPECT_THAT(storage_->keeping(),
              ElementsAre(ProductKeeping{"default", at("2026-01-05T10:00:00Z"), 2, 1, 1},
                          ProductKeeping{"other"}));
}

TEST_P(Summaries, HaveEachAddressOfAProductOnce) {
  keep_report(1, "2026-01-05T10:00:00Z", "one", "zoe@example.org");
  keep_report(2, "2026-01-07T10:00:00Z", "two", "ann@example.org");
  keep_report(3, "2026-01-06T10:00:00Z", "three", "ann@example.org");
  keep_report(4, "2026-01-05T10:00:00Z", "four", "bob@example.org", "", "other");
  keep_report(5, "2026-01-05T10:00:00Z", "five");
  EXPECT_THAT(storage_->contacts("default"),
              ElementsAre(Contact{"ann@example.org", at("2026-01-07T10:00:00Z")},
                          Contact{"zoe@example.org", at("2026-01-05T10:00:00Z")}));
  EXPECT_THAT(storage_->contacts("other"),
              ElementsAre(Contact{"bob@example.org", at("2026-01-05T10:00:00Z")}));
  EXPECT_THAT(storage_->contacts("unknown"), IsEmpty());
  storage_->erase_email("ANN@example.org", to_the_end);
  EXPECT_THAT(storage_->contacts("default"),
              ElementsAre(Contact{"zoe@example.org", at("2026-01-05T10:00:00Z")}));
}

TEST_P(Summaries, SayWhatIsKeptOfAnInstallation) {
  keep_report(2, "2026-03-05T10:00:00Z", "one", "", "", "other");
  keep_report(1, "2026-01-05T10:00:00Z", "one", "ann@example.org", "<PeltoRpt/>");
  keep_report(3, "2026-02-05T10:00:00Z", "two");
  const InstallationKeeping kept = storage_->keeping_of("one");
  const Report report = sample_report("one");
  const auto commands = static_cast<std::int64_t>(report.commands.size());
  const auto file_types = static_cast<std::int64_t>(report.file_types.size());
  EXPECT_THAT(kept.deliveries,
              ElementsAre(InstallationKeeping::Kept{at("2026-01-05T10:00:00Z"), "default",
                                                    report.version, commands, file_types, true},
                          InstallationKeeping::Kept{at("2026-03-05T10:00:00Z"), "other",
                                                    report.version, commands, file_types, false}));
  EXPECT_EQ(kept.total, 2);
  EXPECT_TRUE(kept.has_email);
  EXPECT_FALSE(storage_->keeping_of("two").has_email);
}

TEST_P(Summaries, OfAnInstallationHaveItsLatestDeliveriesAndTheNumberOfAll) {
  constexpr unsigned more = 5;
  constexpr unsigned count = InstallationKeeping::most_deliveries + more;
  const Time first = at("2026-01-05T10:00:00Z");
  // Every fifth one in the other product; the last ones come first.
  for (unsigned i = count; i-- > 0;) {
    Delivery delivery = sample_delivery(i, "2026-01-05T10:00:00Z", sample_report("one"),
                                        i % 5 == 0 ? "other" : "default");
    delivery.received = first + std::chrono::seconds{i};
    storage_->keep(delivery, TimeKind::stated, [](Outcome) {});
  }
  keep_report(count, "2025-01-05T10:00:00Z", "one");
  keep_report(count + 1, "2026-02-05T10:00:00Z", "two");
  const InstallationKeeping kept = storage_->keeping_of("one");
  EXPECT_EQ(kept.total, count + 1);
  ASSERT_EQ(kept.deliveries.size(), InstallationKeeping::most_deliveries);
  for (unsigned i = 0; i < kept.deliveries.size(); ++i) {
    EXPECT_EQ(kept.deliveries[i].received, first + std::chrono::seconds{i + more});
    EXPECT_EQ(kept.deliveries[i].product, (i + more) % 5 == 0 ? "other" : "default");
  }
}

TEST_P(Summaries, OfAnInstallationThatIsErasedOrUnknownAreEmpty) {
  keep_report(1, "2026-01-05T10:00:00Z", "one", "ann@example.org");
  storage_->erase_installation("one", to_the_end);
  EXPECT_EQ(storage_->keeping_of("one"), InstallationKeeping{});
  EXPECT_EQ(storage_->keeping_of("never"), InstallationKeeping{});
  EXPECT_EQ(storage_->keeping_of(""), InstallationKeeping{});
}

TEST_P(Summaries, AnExportInPartsIsTheWholeExport) {
  // The file gives 500 deliveries at a time, the storage in memory three.
  for (unsigned i = 1; i < 520; ++i) {
    const Delivery delivery = sample_delivery(i, "2026-01-05T10:00:00Z",
                                              sample_report("machine-" + std::to_string(i % 7)));
    storage_->keep(delivery, TimeKind::stated, [](Outcome) {});
  }
  keep_report(520, "2026-01-05T10:00:00Z", "machine-1");
  std::vector<std::string> whole;
  for (const KeptDelivery& kept : export_all(*storage_)) whole.push_back(kept.delivery.id);
  std::vector<std::string> parts;
  ExportPlace place;
  std::size_t count = 0;
  for (auto part = storage_->export_part({}, place); !part.empty();
       part = storage_->export_part({}, place)) {
    ++count;
    for (const KeptDelivery& kept : part) parts.push_back(kept.delivery.id);
  }
  EXPECT_EQ(parts.size(), 520);
  EXPECT_EQ(parts, whole);
  EXPECT_GT(count, 1);
  EXPECT_TRUE(std::ranges::is_sorted(parts));
  EXPECT_THAT(storage_->export_part({}, place), IsEmpty());
}

}  // namespace
}  // namespace pelto::collector::testing
