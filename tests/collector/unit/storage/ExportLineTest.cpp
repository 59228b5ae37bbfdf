#include "collector/storage/ExportLine.h"

#include <gtest/gtest.h>

namespace pelto::collector {
namespace {

KeptDelivery example() {
  KeptDelivery kept;
  kept.delivery.product = "cad";
  kept.delivery.id = "f702f125-e8ff-40f3-8c7a-65a2cc9357f8";
  kept.delivery.received = parse_time("2026-01-05T10:00:00Z").value();
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
  return kept;
}

TEST(ExportLine, HasTheMembersInTheirOrder) {
  EXPECT_EQ(export_line(example()),
            R"({"received":"2026-01-05T10:00:00Z","product":"cad",)"
            R"("id":"f702f125-e8ff-40f3-8c7a-65a2cc9357f8","installation":"machine-1",)"
            R"("application":"App \"1\"","version":"1.0","replaced":false,)"
            "\"commands\":[{\"name\":\"\xC3\x96"
            "ffnen\\t\",\"uses\":26,\"order\":2},"
            R"({"name":"Zoom","uses":1,"order":0}],)"
            R"("file_types":[{"name":".dwg","opened":2,"saved":3}],)"
            R"("machine":[{"category":"OS","name":"Version","value":"10"}]})");
}

TEST(ExportLine, HasEmptyTextsAndLists) {
  KeptDelivery kept;
  kept.delivery.received = parse_time("2026-01-05T10:00:00Z").value();
  kept.is_replaced = true;
  EXPECT_EQ(export_line(kept),
            R"({"received":"2026-01-05T10:00:00Z","product":"","id":"","installation":"",)"
            R"("application":"","version":"","replaced":true,"commands":[],"file_types":[],)"
            R"("machine":[]})");
}

}  // namespace
}  // namespace pelto::collector
