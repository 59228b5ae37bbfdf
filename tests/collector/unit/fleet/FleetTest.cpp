#include "collector/fleet/Fleet.h"

#include <gtest/gtest.h>

#include <set>
#include <sstream>
#include <stdexcept>

namespace pelto::collector {
namespace {

using Json = nlohmann::ordered_json;

FleetOptions options_of(std::int64_t installations = 60) {
  FleetOptions options;
  options.installations = installations;
  options.periods = 6;
  options.seed = 5;
  return options;
}

std::vector<Json> lines_of(const FleetOptions& options, LineForm form) {
  std::stringstream text;
  write_history(options, simulate_fleet(options, std::nullopt).deliveries, form, text);
  std::vector<Json> lines;
  for (std::string line; std::getline(text, line);) lines.push_back(Json::parse(line));
  return lines;
}

TEST(Fleet, HasTheSameLinesAndTruthForTheSameSeed) {
  std::ostringstream first;
  std::ostringstream second;
  write_history(options_of(), simulate_fleet(options_of(), std::nullopt).deliveries, LineForm::text,
                first);
  write_history(options_of(), simulate_fleet(options_of(), std::nullopt).deliveries, LineForm::text,
                second);
  EXPECT_EQ(first.str(), second.str());
  EXPECT_EQ(simulate_fleet(options_of(), std::nullopt).truth.dump(),
            simulate_fleet(options_of(), std::nullopt).truth.dump());
}

TEST(Fleet, HasOtherLinesForAnotherSeed) {
  FleetOptions other = options_of();
  other.seed = 6;
  EXPECT_NE(lines_of(options_of(), LineForm::text), lines_of(other, LineForm::text));
}

TEST(Fleet, WritesLinesInOrderOfTimeWithTheReportsText) {
  std::string last;
  for (const Json& line : lines_of(options_of(), LineForm::text)) {
    const std::string received = line.at("received");
    EXPECT_GE(received, last);
    last = received;
    EXPECT_EQ(line.at("product"), "default");
    EXPECT_EQ(line.at("id").get<std::string>().size(), 36U);
    EXPECT_TRUE(line.at("report").get<std::string>().starts_with("<PeltoRpt>\n"));
    EXPECT_EQ(line.size(), 4U);
  }
  EXPECT_FALSE(last.empty());
}

TEST(Fleet, WritesParsedLinesWithoutWhatAnExportDoesNotHave) {
  const FleetOptions options = options_of(400);
  int replaced = 0;
  int other_types = 0;
  for (const Json& line : lines_of(options, LineForm::parsed)) {
    std::set<std::string> keys;
    for (const auto& [key, value] : line.items()) keys.insert(key);
    EXPECT_EQ(keys,
              (std::set<std::string>{"received", "product", "id", "installation", "application",
                                     "version", "replaced", "commands", "file_types", "machine"}));
    if (line.at("replaced") == true) ++replaced;
    const std::string text = line.dump();
    EXPECT_EQ(text.find("MACAddress"), std::string::npos);
    EXPECT_EQ(text.find("README"), std::string::npos);
    if (text.find("(other)") != std::string::npos) ++other_types;
  }
  EXPECT_GT(replaced, 10);
  EXPECT_GT(other_types, 5);
}

TEST(Fleet, TellsInTheTruthHowManyReportsAreReplaced) {
  const Fleet fleet = simulate_fleet(options_of(400), std::nullopt);
  std::int64_t replaced = 0;
  for (const DeliveryReference& reference : fleet.deliveries) replaced += reference.is_replaced;
  const Json& intake = fleet.truth.at("figures").at("intake").at(0).at("answer").at("rows").at(0);
  EXPECT_EQ(intake.at("replaced"), replaced);
  EXPECT_EQ(intake.at("accepted").get<std::size_t>() + intake.at("repeated").get<std::size_t>(),
            fleet.deliveries.size());
}

TEST(Fleet, FallsIntoOnePeriodWhenItIsSentNow) {
  const Time now = first_day_of(30);
  const Json truth = simulate_fleet(options_of(), now).truth;
  EXPECT_EQ(truth.at("route"), "network");
  const Json& answer = truth.at("figures").at("overview").at(0).at("answer");
  EXPECT_EQ(answer.at("rows").size(), 1U);
  EXPECT_EQ(answer.at("rows").at(0).at("period"), format_day(first_day_of(30)));
  EXPECT_EQ(answer.at("installations"), 60);
}

TEST(Fleet, PreparesARequestForEachDeliveryInItsOrder) {
  const FleetOptions options = options_of();
  const Fleet fleet = simulate_fleet(options, Time{});
  const auto requests = prepare_requests(options, fleet.deliveries,
                                         parse_collector_address("http://127.0.0.1:1/collect"));
  ASSERT_EQ(requests.size(), fleet.deliveries.size());
  for (std::size_t i = 0; i < requests.size(); ++i) {
    EXPECT_EQ(requests[i].installation, fleet.deliveries[i].installation);
    EXPECT_TRUE(requests[i].bytes.starts_with("POST /collect HTTP/1.1\r\n"));
  }
}

TEST(Fleet, NeedsInstallationsAndPeriods) {
  FleetOptions options = options_of(0);
  EXPECT_THROW(simulate_fleet(options, std::nullopt), std::invalid_argument);
  options = options_of();
  options.periods = 0;
  EXPECT_THROW(simulate_fleet(options, std::nullopt), std::invalid_argument);
  options.periods = 1001;
  EXPECT_THROW(simulate_fleet(options, std::nullopt), std::invalid_argument);
}

}  // namespace
}  // namespace pelto::collector
