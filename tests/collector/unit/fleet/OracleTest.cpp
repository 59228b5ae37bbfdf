#include "collector/fleet/Oracle.h"

#include <gtest/gtest.h>

namespace pelto::collector {
namespace {

using Json = nlohmann::ordered_json;
using std::chrono::days;

const std::vector<OracleQuery> whole_history{OracleQuery{}};

/// Noon on a day of period 0, which begins on 2024-01-01, or of a later one.
Time noon(int day) {
  return first_day_of(0) + days(day) + std::chrono::hours(12);
}

Arrival arrival_at(int day, const std::string& version = "1.9.0.0") {
  Arrival arrival;
  arrival.delivery.time = noon(day);
  arrival.read.application = "Designer";
  arrival.read.version = version;
  return arrival;
}

Arrival replacing(Arrival arrival) {
  arrival.replaces = true;
  return arrival;
}

Arrival repeated(Arrival arrival) {
  arrival.is_repeated = true;
  return arrival;
}

/// The rows of a figure for the first query.
Json rows_of(const Oracle& oracle, const char* figure) {
  return oracle.answers().at(figure).at(0).at("answer").at("rows");
}

Json basis_of(const Oracle& oracle, const char* figure) {
  return oracle.answers().at(figure).at(0).at("basis");
}

TEST(Oracle, CountsAnInstallationOnceInAPeriodAndAReplacedReportNever) {
  Oracle oracle(whole_history);
  oracle.add({arrival_at(0), arrival_at(5), arrival_at(70)});
  oracle.add({arrival_at(3), replacing(arrival_at(29)), repeated(arrival_at(29))});
  EXPECT_EQ(rows_of(oracle, "overview"), Json::parse(R"([
    {"period": "2024-01-01", "installations": 1, "new": 1, "reports": 2},
    {"period": "2024-01-29", "installations": 1, "new": 1, "reports": 1},
    {"period": "2024-02-26", "installations": 1, "new": 0, "reports": 1}])"));
  EXPECT_EQ(rows_of(oracle, "intake"),
            Json::parse(R"([{"accepted": 5, "replaced": 1, "repeated": 1, "refused": {}}])"));
}

TEST(Oracle, HasARowForAPeriodWithoutReports) {
  Oracle oracle(whole_history);
  oracle.add({arrival_at(0), arrival_at(56)});
  EXPECT_EQ(rows_of(oracle, "overview").at(1),
            Json::parse(R"({"period": "2024-01-29", "installations": 0, "new": 0, "reports": 0})"));
}

TEST(Oracle, BeginsAndEndsWithThePeriodsOfTheSelectedReports) {
  Oracle oracle(std::vector<OracleQuery>{{{}, {}, "2.0.0.0"}});
  oracle.add({arrival_at(0), arrival_at(30, "2.0.0.0"), arrival_at(60)});
  EXPECT_EQ(
      rows_of(oracle, "overview"),
      Json::parse(R"([{"period": "2024-01-29", "installations": 1, "new": 0, "reports": 1}])"));
}

TEST(Oracle, AddsUpCommandsAndTakesTheLowerMedianOfTheirPlaces) {
  Arrival first = arrival_at(0);
  first.read.commands = {{"Line", 5, 4}, {"Arc", 2, 0}};
  Arrival second = arrival_at(30);
  second.read.commands = {{"Line", 6, 2}};
  Arrival third = arrival_at(1);
  third.read.commands = {{"Öffnen", 11, 9}, {"Arc", 1, 7}};
  Oracle oracle(whole_history);
  oracle.add({first, second});
  oracle.add({third});
  oracle.add({arrival_at(2)});
  EXPECT_EQ(rows_of(oracle, "commands"), Json::parse(R"([
    {"command": "Line", "uses": 11, "installations": 1, "share": 0.3333, "median_order": 2},
    {"command": "Öffnen", "uses": 11, "installations": 1, "share": 0.3333, "median_order": 9},
    {"command": "Arc", "uses": 3, "installations": 2, "share": 0.6667, "median_order": 7}])"));
  EXPECT_EQ(basis_of(oracle, "commands").at(2),
            Json::parse(R"({"uses": 2, "installations": 2, "share": 2, "median_order": 1})"));
}

TEST(Oracle, HasNoMedianForACommandWithoutAPlace) {
  Arrival arrival = arrival_at(0);
  arrival.read.commands = {{"Arc", 2, 0}};
  Oracle oracle(whole_history);
  oracle.add({arrival});
  EXPECT_EQ(rows_of(oracle, "commands").at(0).at("median_order"), nullptr);
}

TEST(Oracle, CountsFileTypesThatMayHoldAPathTogether) {
  Arrival arrival = arrival_at(0);
  arrival.read.file_types = {{".dwg", 1, 2},
                             {".last/README", 3, 0},
                             {".a b", 0, 4},
                             {".a-name-that-is-longer-than-it-may-be", 1, 1}};
  Oracle oracle(whole_history);
  oracle.add({arrival});
  EXPECT_EQ(rows_of(oracle, "file-types"), Json::parse(R"json([
    {"file_type": "(other)", "opened": 4, "saved": 5, "installations": 1
},
    {"file_type": ".dwg", "opened": 1, "saved": 2, "installations": 1}])json"));
}

TEST(Oracle, OrdersVersionsByTheirNumbers) {
  Oracle oracle(whole_history);
  oracle.add({arrival_at(0, "1.10.0.0"), arrival_at(5, "1.9.0.0"), arrival_at(40, "1.10.0.0")});
  EXPECT_EQ(rows_of(oracle, "versions"), Json::parse(R"([
    {"period": "2024-01-01", "application": "Designer", "version": "1.9.0.0", "installations": 1},
    {"period": "2024-01-01", "application": "Designer", "version": "1.10.0.0", "installations": 1},
    {"period": "2024-01-29", "application": "Designer", "version": "1.10.0.0", "installations": 1}
  ])"));
}

TEST(Oracle, TakesTheLatestDescriptionOfAMachine) {
  Arrival first = arrival_at(0);
  first.read.machine = {{"System", "TotalPhysicalMemory", "8589934591"}};
  Arrival second = arrival_at(30);
  second.read.machine = {{"Adapter", "MACAddress", "02:fc:00:00:00:01"},
                         {"HardDisk", "Size", "1099511627776"},
                         {"System", "TotalPhysicalMemory", "8589934592"},
                         {"Video Card", "AdapterRAM", "-1048576"}};
  Arrival third = arrival_at(2);
  third.read.machine = {{"System", "TotalPhysicalMemory", "17179869183"}};
  Oracle oracle(whole_history);
  oracle.add({first, second, arrival_at(60)});
  oracle.add({third});
  EXPECT_EQ(rows_of(oracle, "machines"), Json::parse(R"([
    {"category": "HardDisk", "name": "Size", "value": "1 TiB", "installations": 1},
    {"category": "System", "name": "TotalPhysicalMemory", "value": "8 GiB", "installations": 2},
    {"category": "Video Card", "name": "AdapterRAM", "value": "2 GiB", "installations": 1}])"));
}

TEST(Oracle, SelectsByPeriodsAndVersion) {
  Oracle oracle(std::vector<OracleQuery>{{1, 1, {}}, {{}, {}, "2.0.0.0"}});
  oracle.add({arrival_at(0, "2.0.0.0"), arrival_at(30, "2.0.0.0")});
  oracle.add({arrival_at(1, "1.0.0.0"), arrival_at(31, "2.0.0.0")});
  const Json overview = oracle.answers().at("overview");
  EXPECT_EQ(overview.at(0).at("answer"), Json::parse(R"({
    "product": "default", "version": null, "from": "2024-01-29", "to": "2024-02-25",
    "threshold": 1, "installations": 2,
    "rows": [{"period": "2024-01-29", "installations": 2, "new": 0, "reports": 2}],
    "withheld": {"rows": 0}})"));
  // The second installation is not new with this version: its first report has another.
  EXPECT_EQ(overview.at(1).at("answer").at("rows"), Json::parse(R"([
    {"period": "2024-01-01", "installations": 1, "new": 1, "reports": 1},
    {"period": "2024-01-29", "installations": 2, "new": 0, "reports": 2}])"));
  // Deliveries of the intake have no version.
  EXPECT_EQ(oracle.answers().at("intake").size(), 1U);
}

}  // namespace
}  // namespace pelto::collector
