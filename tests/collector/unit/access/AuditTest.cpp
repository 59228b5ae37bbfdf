#include "collector/access/Audit.h"

#include <gtest/gtest.h>

#include "tests/collector/support/TemporaryFolder.h"

namespace pelto::collector {
namespace {

using std::chrono::days;
using std::chrono::seconds;

constexpr Time now{days(20'000)};

class AuditTest : public testing::Test {
 protected:
  std::vector<std::string> actions() {
    std::vector<std::string> names;
    for (const AuditEntry& entry : audit_.list({}, 1000)) names.push_back(entry.action);
    return names;
  }

  test::TemporaryFolder folder_;
  Audit audit_{folder_ / "reports.sqlite"};
};

TEST_F(AuditTest, HasNoEntryAtFirst) {
  EXPECT_TRUE(audit_.list({}, 10).empty());
}

TEST_F(AuditTest, ListsTheNewestEntryFirst) {
  audit_.add(now, "ann", Action::setup);
  audit_.add(now + seconds(1), "bob", Action::erase, "one installation");
  const std::vector<AuditEntry> expected{{2, now + seconds(1), "bob", "erase", "one installation"},
                                         {1, now, "ann", "setup", ""}};
  EXPECT_EQ(audit_.list({}, 10), expected);
}

TEST_F(AuditTest, IsListedInParts) {
  for (int i = 0; i < 5; ++i) audit_.add(now, std::to_string(i), Action::erase);
  const auto numbers = [this](std::optional<std::int64_t> before) {
    std::vector<std::int64_t> found;
    for (const AuditEntry& entry : audit_.list(before, 2)) found.push_back(entry.number);
    return found;
  };
  EXPECT_EQ(numbers({}), (std::vector<std::int64_t>{5, 4}));
  EXPECT_EQ(numbers(4), (std::vector<std::int64_t>{3, 2}));
  EXPECT_EQ(numbers(2), (std::vector<std::int64_t>{1}));
  EXPECT_EQ(numbers(1), (std::vector<std::int64_t>{}));
}

TEST_F(AuditTest, IsKept) {
  audit_.add(now, "ann", Action::setup);
  EXPECT_EQ(Audit(folder_ / "reports.sqlite").list({}, 10).size(), 1);
}

TEST_F(AuditTest, NamesEveryAction) {
  const std::vector<std::string> names{"log-in",      "log-in-failed", "log-out",
                                       "erase",       "export",        "user-add",
                                       "user-change", "user-remove",   "setup"};
  for (const Action action : {Action::setup, Action::user_remove, Action::user_change,
                              Action::user_add, Action::export_data, Action::erase, Action::log_out,
                              Action::log_in_failed, Action::log_in}) {
    audit_.add(now, "ann", action);
  }
  EXPECT_EQ(actions(), names);
}

TEST_F(AuditTest, LogInsAreRemovedAfter400Days) {
  audit_.add(now, "ann", Action::erase);
  audit_.add(now, "ann", Action::log_in);
  audit_.add(now, "ann", Action::log_in_failed);
  audit_.add(now, "ann", Action::log_out);
  audit_.add(now + days(400), "ann", Action::log_in);
  EXPECT_EQ(actions().size(), 5) << "not older than that";
  audit_.add(now + days(400) + seconds(1), "ann", Action::log_in);
  EXPECT_EQ(actions(), (std::vector<std::string>{"log-in", "log-in", "erase"}));
}

TEST_F(AuditTest, FailedLogInsDoNotPushOutAnythingElse) {
  SQLite::Database database(folder_ / "reports.sqlite", SQLite::OPEN_READWRITE);
  database.exec(
      "INSERT INTO audit(at, user, action, detail) VALUES (1700000000, 'ann', 'erase', '')");
  database.exec(
      "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 10000) "
      "INSERT INTO audit(at, user, action, detail) SELECT 1700000000, '', 'log-in-failed', '' "
      "FROM n");
  audit_.add(now, "", Action::log_in_failed);
  const auto count = [&](const std::string& action) {
    return database.execAndGet("SELECT count(*) FROM audit WHERE action = '" + action + "'")
        .getInt();
  };
  EXPECT_EQ(count("log-in-failed"), Audit::most_failed_log_ins);
  EXPECT_EQ(count("erase"), 1);
  EXPECT_EQ(audit_.list({}, 1).front().at, now) << "the newest one stays";
}

}  // namespace
}  // namespace pelto::collector
