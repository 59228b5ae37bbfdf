#include "collector/api/Participants.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "collector/access/Receipt.h"
#include "tests/collector/support/FakeStorage.h"
#include "tests/collector/support/TemporaryFolder.h"

namespace pelto::collector {
namespace {

using nlohmann::json;

constexpr Time now = Time(std::chrono::days(20'000));

class BrokenStorage : public test::FakeStorage {
 public:
  InstallationKeeping keeping_of(const std::string&) override {
    throw StorageError("/secret/path is broken");
  }
};

class ParticipantsTest : public testing::Test {
 protected:
  ParticipantsTest() {
    Delivery delivery{"default", "id", now, {}};
    delivery.report.installation = "machine-1";
    delivery.report.version = "1.0";
    delivery.report.email = "ann@example.org";
    delivery.report.commands = {{"Line", 3, 1}, {"Zoom", 1, 2}};
    delivery.report.file_types = {{".dwg", 1, 1}};
    delivery.report.text = "<PeltoRpt/>";
    storage_.keep(delivery, TimeKind::stated, [](Outcome) {});
  }

  test::TemporaryFolder folder_;
  test::FakeStorage storage_;
  Audit audit_{folder_ / "reports.sqlite"};
  std::vector<std::string> failures_;
  ParticipantsContext context_{storage_, audit_,
                               [this](std::string_view text) { failures_.emplace_back(text); }};
};

constexpr char known[] = R"({"installation":"machine-1"})";
constexpr char unknown[] = R"({"installation":"machine-2"})";

TEST_F(ParticipantsTest, SeeWhatIsKept) {
  const Response response = show_kept(context_, known);
  EXPECT_EQ(response.status, 200);
  EXPECT_EQ(response.content_type, "application/json");
  EXPECT_EQ(response.body,
            "{\"deliveries\":[{\"received\":\"2024-10-04T00:00:00Z\",\"product\":\"default\","
            "\"version\":\"1.0\",\"commands\":2,\"file_types\":1,\"has_raw_report\":true}],"
            "\"total\":1,\"has_email\":true}\n");
}

TEST_F(ParticipantsTest, SeeTheBeginningOfALongVersion) {
  for (const int ahead : {0, 1}) {
    Delivery delivery{"default", "long " + std::to_string(ahead), now, {}};
    delivery.report.installation = "machine-" + std::to_string(3 + ahead);
    delivery.report.version = std::string(static_cast<std::size_t>(ahead), 'x');
    for (int i = 0; i < 1000; ++i) delivery.report.version += "\u00E4";
    storage_.keep(delivery, TimeKind::stated, [](Outcome) {});
    const Response response =
        show_kept(context_, R"({"installation":")" + delivery.report.installation + "\"}");
    const std::string shown = json::parse(response.body).at("deliveries").at(0).at("version");
    EXPECT_EQ(shown, delivery.report.version.substr(0, ahead == 0 ? 64 : 63) + "\u2026");
  }
}

TEST_F(ParticipantsTest, GetNoReceiptForAnErasureThatIsCutShort) {
  int asked = 0;
  context_.goes_on = [&] { return ++asked == 1; };
  const Response response = erase_kept(context_, known, now);
  EXPECT_EQ(response.status, 503);
  EXPECT_EQ(response.code, "ending");
  EXPECT_EQ(storage_.keeping_of("machine-1").total, 1);
  EXPECT_EQ(show_kept(context_, known).status, 503) << "nothing is begun any more";
}

TEST_F(ParticipantsTest, SeeTheSameOfAnUnknownAndAnErasedInstallation) {
  const Response of_unknown = show_kept(context_, unknown);
  EXPECT_EQ(of_unknown.status, 200);
  EXPECT_EQ(of_unknown.body, "{\"deliveries\":[],\"total\":0,\"has_email\":false}\n");
  storage_.erase_installation("machine-1", to_the_end);
  const Response of_erased = show_kept(context_, known);
  EXPECT_EQ(of_erased.status, of_unknown.status);
  EXPECT_EQ(of_erased.body, of_unknown.body);
  EXPECT_EQ(of_erased.fields, of_unknown.fields);
}

TEST_F(ParticipantsTest, GetAReceiptAlsoWhenTracesAreLeftInTheFiles) {
  storage_.set_traces_left("another process reads");
  const Response response = erase_kept(context_, known, now);
  EXPECT_EQ(response.status, 200);
  EXPECT_TRUE(is_receipt_valid(response.body, receipt_keys(storage_)));
  EXPECT_EQ(json::parse(response.body)["erased"]["deliveries"], 1);
  ASSERT_EQ(audit_.list({}, 10).size(), 1U);
  EXPECT_EQ(failures_, std::vector<std::string>{"another process reads"});
}

TEST_F(ParticipantsTest, GetAReceiptForAnErasure) {
  const Response response = erase_kept(context_, known, now);
  EXPECT_EQ(response.status, 200);
  EXPECT_TRUE(is_receipt_valid(response.body, receipt_keys(storage_)));
  EXPECT_EQ(json::parse(response.body).at("erased").at("deliveries"), 1);
  EXPECT_EQ(storage_.keeping().front().deliveries, 0);
  const auto entries = audit_.list({}, 10);
  ASSERT_EQ(entries.size(), 1);
  EXPECT_EQ(entries[0].user, "a participant");
  EXPECT_EQ(entries[0].detail.find("machine"), std::string::npos);
}

TEST_F(ParticipantsTest, GetAReceiptWithZerosForAnUnknownInstallation) {
  const Response response = erase_kept(context_, unknown, now);
  EXPECT_EQ(response.status, 200);
  EXPECT_TRUE(is_receipt_valid(response.body, receipt_keys(storage_)));
  EXPECT_EQ(json::parse(response.body).at("erased"),
            json({{"installations", 0}, {"deliveries", 0}, {"contacts", 0}}));
  EXPECT_TRUE(audit_.list({}, 10).empty()) << "anybody can ask for that";
}

TEST_F(ParticipantsTest, SendAnIdentifierAndNothingElse) {
  for (const char* const body : {"", "machine-1", "{}", "[]", R"({"installation":1})"}) {
    EXPECT_EQ(show_kept(context_, body).status, 400) << body;
    EXPECT_EQ(erase_kept(context_, body, now).status, 400) << body;
  }
  EXPECT_EQ(storage_.keeping().front().deliveries, 1);
}

TEST_F(ParticipantsTest, DoNotSeeWhyTheStorageFails) {
  BrokenStorage broken;
  const Response response = show_kept({broken, audit_, context_.report_failure}, known);
  EXPECT_EQ(response.status, 503);
  EXPECT_EQ(response.body.find("secret"), std::string::npos);
  EXPECT_THAT(failures_, testing::ElementsAre("/secret/path is broken"));
}

}  // namespace
}  // namespace pelto::collector
