#include "collector/commands/Import.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "collector/figures/Figures.h"
#include "collector/storage/ExportLine.h"
#include "tests/collector/support/Deliveries.h"
#include "tests/collector/support/FakeStorage.h"
#include "tests/collector/support/TemporaryFolder.h"

namespace pelto::collector {
namespace {

using test::FakeStorage;
using test::guid_of;
using test::time_in;

/// A line with one command that was used so often.
std::string line_of(int id, Time received, int uses, const std::string& installation = "i",
                    const std::string& product = "default") {
  KeptDelivery kept;
  kept.delivery = {product, guid_of(id), received, {}};
  kept.delivery.report.installation = installation;
  kept.delivery.report.commands = {{"Line", uses, 1}};
  return export_line(kept) + "\n";
}

class ImportTest : public testing::Test {
 protected:
  ImportCounts import_text(const std::string& text) {
    const auto path = folder_ / "lines";
    std::ofstream(path, std::ios::binary) << text;
    return import_lines(storage_, LineFile(path, folder_.path()), {}, complaints_);
  }

  std::string exported() {
    std::string lines;
    storage_.export_deliveries(
        {}, [&](const KeptDelivery& kept) { lines += export_line(kept) + "\n"; });
    return lines;
  }

  test::TemporaryFolder folder_;
  FakeStorage storage_;
  std::ostringstream complaints_;
};

TEST_F(ImportTest, KeepsDeliveriesInTheOrderOfTheirTimes) {
  // The first was sent last, and holds the others.
  const ImportCounts counts = import_text(
      line_of(1, time_in(0, 9), 3) + line_of(2, time_in(0, 1), 1) + line_of(3, time_in(0, 5), 2));
  EXPECT_EQ(counts.accepted, 3);
  EXPECT_EQ(counts.replaced, 2);
  EXPECT_EQ(counts.repeated, 0);
  EXPECT_EQ(counts.refused, 0);
  EXPECT_EQ(complaints_.str(), "");
}

TEST_F(ImportTest, NamesTheLinesThatCannotBeTakenAndTakesTheOthers) {
  const ImportCounts counts = import_text(
      line_of(1, time_in(0), 1) + "x\n" + " \r\n" +
      R"({"received":"2024-01-01T00:00:00Z","product":"default","id":"1","installation":"i"})" +
      "\n\n" + line_of(2, time_in(0), 1, "j") + "{}");
  EXPECT_EQ(counts.accepted, 2);
  EXPECT_EQ(counts.refused, 3);
  EXPECT_EQ(complaints_.str(), "line 2: bad-line\nline 4: bad-id\nline 7: bad-line\n");
}

TEST_F(ImportTest, CountsRefusalsUnderTheirCodesDaysAndProducts) {
  const auto bad = [](const std::string& product) {
    return R"({"received":"2024-02-01T10:00:00Z","id":"1","product":")" + product + "\"}\n";
  };
  import_text(line_of(1, time_in(0), 1, "i", "cad") + line_of(2, time_in(0), 1, "i", "cam") +
              bad("cad") + bad("cad") + bad("new") + "x\n");
  using Refused = std::map<std::string, std::int64_t>;
  EXPECT_EQ(storage_.count_intake({"cad", {}, 1, 1}).refused, (Refused{{"bad-id", 3}}));
  EXPECT_EQ(storage_.count_intake({"cam", {}, 1, 1}).refused, (Refused{{"bad-id", 1}}))
      << "of a product that is not known";
  EXPECT_EQ(storage_.count_intake({"cad", {}, 0, 0}).refused, Refused{});
}

TEST_F(ImportTest, TakesADeliveryOnce) {
  const std::string line = line_of(1, time_in(0), 1);
  EXPECT_EQ(import_text(line + line).repeated, 1);
  const ImportCounts again = import_text(line);
  EXPECT_EQ(again.accepted, 0);
  EXPECT_EQ(again.repeated, 1);
}

TEST_F(ImportTest, FailsWhenTheStorageDoes) {
  storage_.set_ready(false);
  try {
    import_text(line_of(1, time_in(0), 1));
    FAIL();
  } catch (const StorageError& error) {
    // A storage does not say whether the disk is full or another process holds it.
    EXPECT_NE(std::string(error.what()).find("the disk has space"), std::string::npos);
    EXPECT_NE(std::string(error.what()).find("no other process holds"), std::string::npos);
  }
}

TEST_F(ImportTest, NamesTheLinesThatAreTooLarge) {
  std::string many = R"({"commands":[0)";
  for (int i = 0; i < 1'000'000; ++i) many += ",0";
  const ImportCounts counts = import_text(std::string(16 * 1024 * 1024 + 1, ' ') + "\n" + many +
                                          "]}\n" + line_of(1, time_in(0), 1));
  EXPECT_EQ(counts.accepted, 1);
  EXPECT_EQ(counts.refused, 2);
  EXPECT_EQ(complaints_.str(), "line 1: too-large\nline 2: too-large\n");
}

TEST_F(ImportTest, OfAnExportGivesTheSameFiguresAndExport) {
  import_text(line_of(4, time_in(1, 9), 3, "j") + line_of(2, time_in(0, 20), 1) +
              line_of(3, time_in(1, 5), 2) + line_of(1, time_in(1, 9), 3, "k"));
  const std::string lines = exported();
  const std::string figures = figure_as_json(storage_, {.name = "commands", .threshold = 1});
  storage_ = FakeStorage();
  EXPECT_EQ(import_text(lines).accepted, 4);
  EXPECT_EQ(exported(), lines);
  EXPECT_EQ(figure_as_json(storage_, {.name = "commands", .threshold = 1}), figures);
}

}  // namespace
}  // namespace pelto::collector
