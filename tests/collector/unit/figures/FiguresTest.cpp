#include "collector/figures/Figures.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/collector/support/Deliveries.h"
#include "tests/collector/support/FakeStorage.h"

namespace pelto::collector {
namespace {

using nlohmann::json;
using test::delivery_of;
using test::FakeStorage;
using test::keep_stated;
using test::time_in;

Report report_of_version(const std::string& version) {
  Report report;
  report.application = "App";
  report.version = version;
  report.commands = {{"Line", 2, 1}};
  report.file_types = {{".dwg", 3, 1}};
  report.machine = {{"OS", "Version", "10"}};
  return report;
}

/// Keeps a report each of installations "0", "1" and so on.
void keep_reports(Storage& storage, int installations, Time received,
                  const std::string& version = "1.0", const std::string& product = "default") {
  for (int i = 0; i < installations; ++i) {
    Delivery delivery = delivery_of(std::to_string(i), received, report_of_version(version));
    delivery.product = product;
    ASSERT_EQ(keep_stated(storage, std::move(delivery)), Outcome::accepted);
  }
}

json ask(Storage& storage, const FigureQuery& query) {
  return json::parse(figure_as_json(storage, query));
}

FigureError error_of(Storage& storage, const FigureQuery& query) {
  try {
    figure_as_json(storage, query);
  } catch (const FigureError& error) {
    return error;
  }
  ADD_FAILURE() << "the question was answered";
  return {FigureError::Kind::bad_request, ""};
}

TEST(Figures, EachIsAnswered) {
  FakeStorage storage;
  keep_reports(storage, 6, time_in(26));
  const std::string head =
      R"({"product":"default","version":null,"from":"2025-12-29","to":"2026-01-25",)"
      R"("threshold":5,"installations":6,"rows":[)";
  const std::string tail = R"(],"withheld":{"rows":0}})";
  EXPECT_EQ(figure_as_json(storage, {"overview"}),
            head + R"({"period":"2025-12-29","installations":6,"new":6,"reports":6})" + tail);
  EXPECT_EQ(figure_as_json(storage, {"commands"}),
            head +
                R"({"command":"Line","uses":12,"installations":6,"share":1.0,"median_order":1})" +
                tail);
  EXPECT_EQ(figure_as_json(storage, {"file-types"}),
            head + R"({"file_type":".dwg","opened":18,"saved":6,"installations":6})" + tail);
  EXPECT_EQ(figure_as_json(storage, {"versions"}),
            head +
                R"({"period":"2025-12-29","application":"App","version":"1.0","installations":6})" +
                tail);
  EXPECT_EQ(figure_as_json(storage, {"machines"}),
            head + R"({"category":"OS","name":"Version","value":"10","installations":6})" + tail);
  EXPECT_EQ(ask(storage, {"intake"})["rows"].dump(),
            R"([{"accepted":6,"refused":{},"repeated":0,"replaced":0}])");
}

TEST(Figures, CsvHasTheSameRows) {
  FakeStorage storage;
  keep_reports(storage, 6, time_in(26));
  EXPECT_EQ(figure_as_csv(storage, {"commands"}),
            "command,uses,installations,share,median_order\r\nLine,12,6,1.0,1\r\n");
}

TEST(Figures, AnUnknownNameIsNotFound) {
  FakeStorage storage;
  const FigureError error = error_of(storage, {"overviews"});
  EXPECT_EQ(error.kind(), FigureError::Kind::not_found);
  EXPECT_STREQ(error.what(),
               "there is no such figure; use one of: overview, commands, file-types, versions, "
               "machines, intake");
}

TEST(Figures, OfAnEmptyFolderAreThoseOfTheCurrentPeriod) {
  FakeStorage storage;
  const auto now = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
  const json answer = ask(storage, {"overview"});
  EXPECT_EQ(answer["product"], "default");
  EXPECT_EQ(answer["from"], format_day(first_day_of(period_of(now))));
  EXPECT_EQ(answer["to"], format_day(last_day_of(period_of(now))));
  EXPECT_EQ(answer["installations"], 0);
  EXPECT_EQ(answer["rows"], json::array());
}

TEST(Figures, AnUnknownProductIsNotFound) {
  FakeStorage storage;
  EXPECT_EQ(error_of(storage, {"overview", "cad"}).kind(), FigureError::Kind::not_found);
  storage.add_product("default");
  const FigureError error = error_of(storage, {"overview", "cad"});
  EXPECT_EQ(error.kind(), FigureError::Kind::not_found);
  EXPECT_STREQ(error.what(), "there is no such product; use one of: default");
}

TEST(Figures, OneProductNeedsNoName) {
  FakeStorage storage;
  storage.add_product("cad");
  EXPECT_EQ(ask(storage, {"overview"})["product"], "cad");
}

TEST(Figures, OfSeveralProductsOneIsToBeNamed) {
  FakeStorage storage;
  keep_reports(storage, 5, time_in(0), "1.0", "cad");
  keep_reports(storage, 7, time_in(3), "1.0", "cam");
  const FigureError error = error_of(storage, {"overview"});
  EXPECT_EQ(error.kind(), FigureError::Kind::bad_request);
  EXPECT_STREQ(error.what(), "there are several products; name one of: cad, cam");
  EXPECT_EQ(ask(storage, {"overview", "cad"})["installations"], 5);
  EXPECT_EQ(ask(storage, {"overview", "cam"})["installations"], 7);
  EXPECT_EQ(ask(storage, {"overview", "cam"})["from"], "2024-03-25");
}

TEST(Figures, TheRangeIsThatOfTheCountedReportsAndIsWidened) {
  FakeStorage storage;
  keep_reports(storage, 5, time_in(0, 27));
  keep_reports(storage, 5, time_in(3, 1));
  const auto range = [&](std::optional<std::string> from, std::optional<std::string> to) {
    const json answer = ask(storage, {.name = "overview", .from = from, .to = to});
    return answer["from"].get<std::string>() + " " + answer["to"].get<std::string>() + " " +
           std::to_string(answer["rows"].size());
  };
  EXPECT_EQ(range({}, {}), "2024-01-01 2024-04-21 4");
  EXPECT_EQ(range("2024-01-28", {}), "2024-01-01 2024-04-21 4");
  EXPECT_EQ(range("2024-01-29", {}), "2024-01-29 2024-04-21 1");
  EXPECT_EQ(range("2024-01-29", "2024-02-26"), "2024-01-29 2024-03-24 0");
  EXPECT_EQ(range({}, "2024-03-25"), "2024-01-01 2024-04-21 4");
  EXPECT_EQ(range({}, "2024-03-24"), "2024-01-01 2024-03-24 1");
  EXPECT_EQ(range("2024-04-22", {}), "2024-04-22 2024-05-19 0");
  EXPECT_EQ(range({}, "2023-12-31"), "2023-12-04 2023-12-31 0");
}

TEST(Figures, ABadRangeIsABadRequest) {
  FakeStorage storage;
  for (const char* text : {"", "2024-1-1", "2024-02-30", "tomorrow", "2024-01-01T00:00:00Z"}) {
    EXPECT_STREQ(error_of(storage, {.name = "overview", .from = text}).what(),
                 "a day has the form 2026-01-05")
        << text;
    EXPECT_EQ(error_of(storage, {.name = "overview", .to = text}).kind(),
              FigureError::Kind::bad_request)
        << text;
  }
  const FigureError error =
      error_of(storage, {.name = "overview", .from = "2024-01-02", .to = "2024-01-01"});
  EXPECT_EQ(error.kind(), FigureError::Kind::bad_request);
  EXPECT_STREQ(error.what(), "the range's first day is after its last");
}

TEST(Figures, TheThresholdIsTheStoragesUnlessItIsNamed) {
  FakeStorage storage;
  keep_reports(storage, 6, time_in(26));
  storage.set_threshold(7);
  EXPECT_EQ(ask(storage, {"commands"}).dump(),
            R"({"from":"2025-12-29","installations":null,"product":"default","rows":[],)"
            R"("threshold":7,"to":"2026-01-25","version":null,"withheld":{"rows":1}})");
  FigureQuery query{"commands"};
  query.threshold = 6;
  EXPECT_EQ(ask(storage, query)["installations"], 6);
  EXPECT_EQ(ask(storage, query)["threshold"], 6);
  query.threshold = 0;
  EXPECT_EQ(error_of(storage, query).kind(), FigureError::Kind::bad_request);
  query.threshold = -1;
  EXPECT_EQ(error_of(storage, query).kind(), FigureError::Kind::bad_request);
}

TEST(Figures, AVersionIsWithheldWhereTheOthersHaveFew) {
  FakeStorage storage;
  for (int i = 0; i < 20; ++i) {
    const Report report = report_of_version(i < 16 ? "1.0" : "2.0");
    keep_stated(storage, delivery_of(std::to_string(i), time_in(0), report));
  }
  const json answer = ask(storage, {.name = "commands", .version = "1.0"});
  EXPECT_EQ(answer["version"], "1.0");
  EXPECT_EQ(answer["installations"], nullptr);
  EXPECT_EQ(answer["rows"], json::array());
  EXPECT_EQ(answer["withheld"]["rows"], 1);
  keep_stated(storage, delivery_of("20", time_in(0), report_of_version("2.0")));
  EXPECT_EQ(ask(storage, {.name = "commands", .version = "1.0"})["rows"][0]["uses"], 32);
  EXPECT_EQ(ask(storage, {.name = "commands", .version = "3.0"})["installations"], 0);
}

TEST(Figures, IntakeCountsEverythingUnlessARangeIsNamed) {
  FakeStorage storage;
  keep_reports(storage, 1, time_in(3));
  storage.count_refusal("default", time_in(1), "no-id");
  storage.count_refusal("default", time_in(5), "bad-base64");
  storage.count_refusal("cad", time_in(3), "no-id");
  storage.count_refusal("", time_in(3), "unknown-product");
  const auto refused = [&](std::optional<std::string> from, std::optional<std::string> to) {
    return ask(storage, {.name = "intake", .from = from, .to = to})["rows"][0]["refused"].dump();
  };
  EXPECT_EQ(refused({}, {}), R"({"bad-base64":1,"no-id":1,"unknown-product":1})");
  EXPECT_EQ(refused("2024-03-25", {}), R"({"bad-base64":1,"unknown-product":1})");
  EXPECT_EQ(refused({}, "2024-03-25"), R"({"no-id":1,"unknown-product":1})");
  EXPECT_EQ(refused("2024-03-25", "2024-03-25"), R"({"unknown-product":1})");
}

TEST(Figures, IntakeHasNoThresholdButTheTotalHas) {
  FakeStorage storage;
  keep_reports(storage, 1, time_in(3));
  const json answer = ask(storage, {"intake"});
  EXPECT_EQ(answer["installations"], nullptr);
  EXPECT_EQ(answer["rows"][0]["accepted"], 1);
  EXPECT_EQ(answer["withheld"]["rows"], 0);
}

}  // namespace
}  // namespace pelto::collector
