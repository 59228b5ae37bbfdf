#include "collector/commands/ImportLine.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "collector/storage/ExportLine.h"
#include "tests/collector/support/Deliveries.h"

namespace pelto::collector {
namespace {

using nlohmann::json;

constexpr char guid[] = "f702f125-e8ff-40f3-8c7a-65a2cc9357f8";

json counted_line() {
  return json::parse(R"({
      "received":"2026-01-05T10:00:00Z","product":"cad",
      "id":"F702F125-E8FF-40F3-8C7A-65A2CC9357F8","installation":"machine-1",
      "application":"App","version":"1.0","replaced":true,
      "commands":[{"name":"Line","uses":26,"order":2},{"name":"Zoom","uses":1,"order":0}],
      "file_types":[{"name":".dwg","opened":2,"saved":3}],
      "machine":[{"category":"OS","name":"Version","value":"10"}]})");
}

json text_line(const std::string& report) {
  return {
      {"received", "2026-01-05T10:00:00Z"}, {"product", "cad"}, {"id", guid}, {"report", report}};
}

Delivery delivery_in(const json& line) {
  const auto read = read_import_line(line.dump(), {});
  EXPECT_TRUE(std::holds_alternative<Delivery>(read)) << line << std::get<BadLine>(read).code;
  return std::get<Delivery>(read);
}

std::string code_for(const std::string& line) {
  const auto read = read_import_line(line, {});
  return std::holds_alternative<BadLine>(read) ? std::get<BadLine>(read).code : "taken";
}

/// The code for the counted line with a member that has another value.
std::string code_with(const std::string& member, const json& value) {
  json line = counted_line();
  line[member] = value;
  return code_for(line.dump());
}

std::string code_without(const std::string& member) {
  json line = counted_line();
  line.erase(member);
  return code_for(line.dump());
}

TEST(ImportLine, TakesCounts) {
  const Delivery delivery = delivery_in(counted_line());
  EXPECT_EQ(delivery.product, "cad");
  EXPECT_EQ(delivery.id, guid) << "in small letters";
  EXPECT_EQ(format_time(delivery.received), "2026-01-05T10:00:00Z");
  Report report;
  report.installation = "machine-1";
  report.application = "App";
  report.version = "1.0";
  report.commands = {{"Line", 26, 2}, {"Zoom", 1, 0}};
  report.file_types = {{".dwg", 2, 3}};
  report.machine = {{"OS", "Version", "10"}};
  EXPECT_EQ(delivery.report, report);
}

TEST(ImportLine, TakesAReportsText) {
  const Delivery delivery = delivery_in(
      text_line("<PeltoRpt><cmd_stat><cmds><cmd id=\"1\" name=\"\xC3\x96"
                "ffnen\" count=\"3\"/>"
                "</cmds></cmd_stat><sys_info><prop name=\"ID\">machine-1</prop></sys_info>"
                "<cust_info><prop name=\"Email\">ann@example.com</prop></cust_info></PeltoRpt>"));
  EXPECT_EQ(delivery.product, "cad");
  EXPECT_EQ(delivery.id, guid);
  EXPECT_EQ(delivery.report.installation, "machine-1");
  EXPECT_EQ(delivery.report.email, "ann@example.com");
  const std::vector<CommandCount> commands{
      {"\xC3\x96"
       "ffnen",
       3, 1}};
  EXPECT_EQ(delivery.report.commands, commands);
}

TEST(ImportLine, WhatIsMissingIsEmptyOrZero) {
  const Delivery delivery = delivery_in({{"received", "2026-01-05T10:00:00Z"},
                                         {"product", "cad"},
                                         {"id", guid},
                                         {"installation", "i"},
                                         {"commands", {json::object()}}});
  Report report;
  report.installation = "i";
  report.commands = {{"", 0, 0}};
  EXPECT_EQ(delivery.report, report);
}

TEST(ImportLine, OtherMembersDoNotMatter) {
  EXPECT_EQ(code_with("comment", "a"), "taken");
  EXPECT_EQ(code_with("comment", {{"a", {1}}}), "taken");
}

TEST(ImportLine, ItsReportIsNormalized) {
  json line = counted_line();
  line["commands"] = {{{"name", "a"}, {"uses", -5}, {"order", 1}},
                      {{"name", "a"}, {"uses", 7}, {"order", 1}},
                      {{"name", "b"}, {"uses", 18446744073709551615U}, {"order", 2}},
                      {{"name", "c"}, {"uses", 1000000001}, {"order", 3}}};
  line["file_types"] = {{{"name", ".dwg"}, {"opened", 1}, {"saved", 1}},
                        {{"name", "/home/ann"}, {"opened", 1}, {"saved", 1}}};
  const Report report = delivery_in(line).report;
  const std::vector<CommandCount> commands{
      {"a", 0, 1}, {"b", largest_count, 2}, {"c", largest_count, 3}};
  EXPECT_EQ(report.commands, commands);
  const std::vector<FileTypeCount> file_types{{".dwg", 1, 1}, {"(other)", 1, 1}};
  EXPECT_EQ(report.file_types, file_types);
  EXPECT_TRUE(report.is_capped);
}

TEST(ImportLine, LosesAnAdaptersAddress) {
  json line = counted_line();
  line["machine"].push_back(
      {{"category", "Adapter"}, {"name", "MACAddress"}, {"value", "02:fc:00:00:00:01"}});
  const std::vector<MachineValue> machine{{"OS", "Version", "10"}};
  EXPECT_EQ(delivery_in(line).report.machine, machine);
}

TEST(ImportLine, LosesAVersionThatIsTooLong) {
  json line = counted_line();
  line["version"] = std::string(longest_name, '1');
  line["application"] = std::string(longest_name + 1, 'a');
  const Report report = delivery_in(line).report;
  EXPECT_EQ(report.version.size(), longest_name);
  EXPECT_EQ(report.application, "");
  EXPECT_TRUE(report.is_capped);
}

TEST(ImportLine, IsBadWhenItIsNoObjectOfJson) {
  for (const char* line : {"", "{", "x", "[]", "1", "null", "\"\"", "{} {}", "{\"a\":1,}", "\xFF",
                           "{\"received\":\"\xFF\"}", "{'a':1}", "{}"}) {
    EXPECT_EQ(code_for(line), "bad-line") << line;
  }
}

TEST(ImportLine, IsBadWhenItIsNestedTooDeeply) {
  EXPECT_EQ(code_with("comment", {{{1}}}), "bad-line");
  EXPECT_EQ(code_for("{\"a\":" + std::string(1'000'000, '[')), "bad-line");
  std::string deep = "{\"a\":";
  for (int i = 0; i < 100'000; ++i) deep += "{\"a\":";
  EXPECT_EQ(code_for(deep), "bad-line");
}

TEST(ImportLine, IsBadWithoutATimeThatExists) {
  EXPECT_EQ(code_without("received"), "bad-line");
  for (const char* time : {"", "2026-01-05", "2026-02-30T10:00:00Z", "2026-01-05T10:00:00"}) {
    EXPECT_EQ(code_with("received", time), "bad-line") << time;
  }
  EXPECT_EQ(code_with("received", 1), "bad-line");
}

TEST(ImportLine, IsBadWithoutAProductThatCanBeShown) {
  EXPECT_EQ(code_without("product"), "bad-line");
  EXPECT_EQ(code_with("product", ""), "bad-line");
  EXPECT_EQ(code_with("product", "a\nb"), "bad-line");
  EXPECT_EQ(code_with("product", "a\x7f"), "bad-line");
  EXPECT_EQ(code_with("product", std::string(129, 'a')), "bad-line");
  EXPECT_EQ(code_with("product", std::string(128, 'a')), "taken");
  EXPECT_EQ(code_with("product", "\xC3\xA4 b"), "taken");
}

TEST(ImportLine, IsBadWhereAValueIsOfAnotherType) {
  EXPECT_EQ(code_with("application", 1), "bad-line");
  EXPECT_EQ(code_with("version", nullptr), "bad-line");
  EXPECT_EQ(code_with("commands", "a"), "bad-line");
  EXPECT_EQ(code_with("commands", {"a"}), "bad-line");
  EXPECT_EQ(code_with("commands", {{{"name", 1}}}), "bad-line");
  EXPECT_EQ(code_with("commands", {{{"name", "a"}, {"uses", "1"}}}), "bad-line");
  EXPECT_EQ(code_with("commands", {{{"name", "a"}, {"uses", 1.5}}}), "bad-line");
  EXPECT_EQ(code_with("commands", {{{"name", "a"}, {"uses", 1e30}}}), "bad-line");
  EXPECT_EQ(code_with("file_types", {{{"name", ".a"}, {"saved", true}}}), "bad-line");
  EXPECT_EQ(code_with("machine", {{{"category", "OS"}, {"name", "a"}, {"value", 10}}}), "bad-line");
  EXPECT_EQ(code_with("report", 1), "bad-line");
}

TEST(ImportLine, NeedsAGuid) {
  EXPECT_EQ(code_without("id"), "no-id");
  EXPECT_EQ(code_with("id", ""), "no-id");
  EXPECT_EQ(code_with("id", "1"), "bad-id");
  EXPECT_EQ(code_with("id", std::string(guid) + " "), "bad-id");
}

TEST(ImportLine, NeedsAnInstallation) {
  EXPECT_EQ(code_without("installation"), "no-installation");
  EXPECT_EQ(code_with("installation", ""), "no-installation");
  EXPECT_EQ(code_with("installation", std::string(128, 'a')), "taken");
  EXPECT_EQ(code_with("installation", std::string(129, 'a')), "no-installation");
}

TEST(ImportLine, ItsReportsTextFollowsTheRulesOfIntake) {
  EXPECT_EQ(code_for(text_line("").dump()), "empty-report");
  EXPECT_EQ(code_for(text_line("report").dump()), "not-a-report");
  EXPECT_EQ(code_for(text_line("<PeltoRpt></PeltoRpt>").dump()), "no-installation");
}

TEST(ImportLine, ItsReportsTextIsNoLongerThanARequest) {
  const std::string begin =
      "<PeltoRpt><sys_info><prop name=\"ID\">machine-1</prop></sys_info></PeltoRpt>";
  const std::size_t most = 4 * 1024 * 1024;
  const auto code_of_length = [&](std::size_t length) {
    return code_for(text_line(begin + std::string(length - begin.size(), ' ')).dump());
  };
  EXPECT_EQ(code_of_length(most), "taken");
  EXPECT_EQ(code_of_length(most + 1), "too-large");
}

TEST(ImportLine, TheIdentifierComesBeforeTheReport) {
  json line = text_line("");
  line["id"] = "1";
  EXPECT_EQ(code_for(line.dump()), "bad-id");
}

TEST(ImportLine, ARefusedOneHasItsProductAndTime) {
  json line = counted_line();
  line["id"] = "1";
  const auto bad = std::get<BadLine>(read_import_line(line.dump(), {}));
  EXPECT_EQ(bad.product, "cad");
  EXPECT_EQ(format_time(bad.received), "2026-01-05T10:00:00Z");
}

TEST(ImportLine, OfAnExportGivesTheSameDelivery) {
  KeptDelivery kept;
  kept.delivery = {"cad", guid, parse_time("2026-01-05T10:00:00Z").value(), {}};
  Report& report = kept.delivery.report;
  report.installation = "machine-1";
  report.application = "App \"1\"";
  report.version = "1.0";
  report.commands = {{"\xC3\x96"
                      "ffnen\t",
                      26, 2},
                     {"Zoom", 1, 0}};
  report.file_types = {{".dwg", 2, 3}};
  report.machine = {{"OS", "Version", "10"}};
  const auto read = read_import_line(export_line(kept), {});
  ASSERT_TRUE(std::holds_alternative<Delivery>(read));
  const auto& delivery = std::get<Delivery>(read);
  EXPECT_EQ(delivery.product, kept.delivery.product);
  EXPECT_EQ(delivery.id, kept.delivery.id);
  EXPECT_EQ(delivery.received, kept.delivery.received);
  EXPECT_EQ(delivery.report, kept.delivery.report);
}

}  // namespace
}  // namespace pelto::collector
