// The collector's own reading, retry rule and figures, over a storage in memory, against the truth
// of a simulated fleet.

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>
#include <variant>

#include "collector/figures/Figures.h"
#include "collector/fleet/Fleet.h"
#include "collector/intake/Intake.h"
#include "tests/collector/support/FakeStorage.h"

namespace pelto::collector {
namespace {

using Json = nlohmann::ordered_json;

FleetOptions options_of(std::uint64_t seed) {
  FleetOptions options;
  options.installations = 100;
  options.periods = 7;
  options.seed = seed;
  return options;
}

FigureQuery query_of(const std::string& figure, const Json& query) {
  const auto text = [&](const char* key) {
    return query.at(key).is_null() ? std::nullopt : std::optional(query.at(key).get<std::string>());
  };
  return {figure, std::nullopt, text("version"), text("from"), text("to"), 1};
}

void expect_truth(Storage& storage, const Json& truth) {
  for (const auto& [figure, cases] : truth.at("figures").items()) {
    EXPECT_GE(cases.size(), 4U) << figure;
    for (const Json& entry : cases) {
      Json expected = entry.at("answer");
      Json answer = Json::parse(figure_as_json(storage, query_of(figure, entry.at("query"))));
      if (figure == "intake") {
        // Its range is extended to the present.
        for (const char* const key : {"from", "to"}) {
          expected.erase(key);
          answer.erase(key);
        }
      }
      EXPECT_EQ(answer, expected) << figure << ' ' << entry.at("query");
    }
  }
}

void keep(Storage& storage, Delivery delivery, TimeKind time_kind) {
  delivery.product = "default";
  storage.keep(std::move(delivery), time_kind,
               [](Outcome outcome) { EXPECT_NE(outcome, Outcome::failed); });
}

TEST(Truth, IsWhatTheFiguresShowOfAHistory) {
  for (const std::uint64_t seed : {1U, 2U}) {
    const FleetOptions options = options_of(seed);
    const Fleet fleet = simulate_fleet(options, std::nullopt);
    std::stringstream lines;
    write_history(options, fleet.deliveries, LineForm::text, lines);
    test::FakeStorage storage;
    for (std::string text; std::getline(lines, text);) {
      const Json line = Json::parse(text);
      const auto report = read_report_text(line.at("report").get<std::string>(), {});
      ASSERT_TRUE(std::holds_alternative<Report>(report));
      keep(storage,
           {{},
            line.at("id"),
            parse_time(line.at("received").get<std::string>()).value(),
            std::get<Report>(report)},
           TimeKind::stated);
    }
    expect_truth(storage, fleet.truth);
  }
}

TEST(Truth, IsWhatTheFiguresShowOfRequestsThatArriveNow) {
  const FleetOptions options = options_of(3);
  const Time now = first_day_of(40) + std::chrono::hours(5);
  const Fleet fleet = simulate_fleet(options, now);
  test::FakeStorage storage;
  for (const PreparedRequest& request : prepare_requests(
           options, fleet.deliveries, parse_collector_address("http://127.0.0.1:1/collect"))) {
    const std::size_t header_end = request.bytes.find("\r\n\r\n") + 4;
    const auto received = read_request("multipart/form-data; boundary=AaB03x5fs1045fcc7",
                                       std::string_view(request.bytes).substr(header_end), {});
    ASSERT_TRUE(std::holds_alternative<Received>(received));
    const auto& [id, report] = std::get<Received>(received);
    keep(storage, {{}, id, now, report}, TimeKind::arrival);
  }
  expect_truth(storage, fleet.truth);
}

}  // namespace
}  // namespace pelto::collector
