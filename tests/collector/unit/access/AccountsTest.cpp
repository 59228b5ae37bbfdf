#include "collector/access/Accounts.h"

#include <gtest/gtest.h>

#include <fstream>

#include "collector/storage/Storage.h"
#include "tests/collector/support/TemporaryFolder.h"

namespace pelto::collector {
namespace {

const Actor by{Time{std::chrono::days(20'000)}, "root"};

class AccountsTest : public testing::Test {
 protected:
  /// The account with this password, if there is one.
  std::optional<Account> log_in(const std::string& name, std::string_view password) {
    const auto found = accounts_.find(name, password);
    return found ? std::optional(found->account) : std::nullopt;
  }
  std::string stamp_of(const std::string& name) { return accounts_.find(name).value().stamp; }

  test::TemporaryFolder folder_;
  Accounts accounts_{folder_ / "reports.sqlite"};
};

TEST_F(AccountsTest, AreNoneAtFirst) {
  EXPECT_TRUE(accounts_.list().empty());
}

TEST_F(AccountsTest, AreListedByName) {
  EXPECT_TRUE(accounts_.add({"zoe", Role::viewer}, "0123456789", by));
  EXPECT_TRUE(accounts_.add({"ann", Role::admin}, "0123456789", by));
  EXPECT_TRUE(accounts_.add({"bob", Role::contacts}, "0123456789", by));
  const std::vector<Account> sorted{
      {"ann", Role::admin}, {"bob", Role::contacts}, {"zoe", Role::viewer}};
  EXPECT_EQ(accounts_.list(), sorted);
}

TEST_F(AccountsTest, AreKept) {
  accounts_.add({"ann", Role::admin}, "0123456789", by);
  Accounts again(folder_ / "reports.sqlite");
  EXPECT_EQ(again.find("ann", "0123456789")->account, (Account{"ann", Role::admin}));
}

TEST_F(AccountsTest, OneThatExistsStaysAsItIs) {
  accounts_.add({"ann", Role::viewer}, "0123456789", by);
  EXPECT_FALSE(accounts_.add({"ann", Role::admin}, "9876543210", by));
  EXPECT_EQ(log_in("ann", "0123456789"), (Account{"ann", Role::viewer}));
  EXPECT_EQ(log_in("ann", "9876543210"), std::nullopt);
}

TEST_F(AccountsTest, AreFoundWithTheirPasswordOnly) {
  accounts_.add({"ann", Role::viewer}, "0123456789", by);
  EXPECT_EQ(log_in("ann", "0123456780"), std::nullopt);
  EXPECT_EQ(log_in("Ann", "0123456789"), std::nullopt);
  EXPECT_EQ(log_in("", ""), std::nullopt) << "nobody's password";
}

TEST_F(AccountsTest, GetAnotherPassword) {
  accounts_.add({"ann", Role::viewer}, "0123456789", by);
  EXPECT_TRUE(accounts_.set_password("ann", "9876543210", by));
  EXPECT_EQ(log_in("ann", "0123456789"), std::nullopt);
  EXPECT_EQ(log_in("ann", "9876543210"), (Account{"ann", Role::viewer}));
  EXPECT_FALSE(accounts_.set_password("bob", "9876543210", by));
  EXPECT_EQ(accounts_.list().size(), 1);
}

TEST_F(AccountsTest, AreRemoved) {
  accounts_.add({"ann", Role::viewer}, "0123456789", by);
  EXPECT_TRUE(accounts_.remove("ann", by));
  EXPECT_FALSE(accounts_.remove("ann", by));
  EXPECT_TRUE(accounts_.list().empty());
  EXPECT_EQ(log_in("ann", "0123456789"), std::nullopt);
}

TEST_F(AccountsTest, AreFoundByTheirNameAlone) {
  accounts_.add({"ann", Role::contacts}, "0123456789", by);
  EXPECT_EQ(accounts_.find("ann").value().account, (Account{"ann", Role::contacts}));
  EXPECT_EQ(accounts_.find("ann"), accounts_.find("ann", "0123456789"));
  EXPECT_EQ(accounts_.find("bob"), std::nullopt);
}

TEST_F(AccountsTest, HaveAnotherStampAfterEachChange) {
  accounts_.add({"ann", Role::viewer}, "0123456789", by);
  accounts_.add({"zoe", Role::admin}, "0123456789", by);
  const std::string first = stamp_of("ann");
  EXPECT_EQ(stamp_of("ann"), first);
  accounts_.set_password("ann", "0123456789", by);
  const std::string second = stamp_of("ann");
  EXPECT_NE(second, first) << "the same password, but set anew";
  accounts_.set_role("ann", Role::admin, by);
  const std::string third = stamp_of("ann");
  EXPECT_NE(third, second);
  accounts_.remove("ann", by);
  accounts_.add({"ann", Role::admin}, "0123456789", by);
  EXPECT_NE(stamp_of("ann"), third);
}

TEST_F(AccountsTest, AFirstOneIsAddedOnce) {
  EXPECT_TRUE(accounts_.is_empty());
  EXPECT_TRUE(accounts_.add_first({"ann", Role::admin}, "0123456789", by.at));
  EXPECT_FALSE(accounts_.is_empty());
  EXPECT_FALSE(accounts_.add_first({"bob", Role::admin}, "0123456789", by.at));
  EXPECT_FALSE(accounts_.add_first({"ann", Role::admin}, "9876543210", by.at));
  EXPECT_EQ(accounts_.list().size(), 1);
  EXPECT_EQ(log_in("ann", "0123456789"), (Account{"ann", Role::admin}));
}

TEST_F(AccountsTest, GetAnotherRole) {
  accounts_.add({"ann", Role::admin}, "0123456789", by);
  accounts_.add({"bob", Role::viewer}, "0123456789", by);
  EXPECT_EQ(accounts_.set_role("bob", Role::admin, by), AccountChange::done);
  EXPECT_EQ(accounts_.set_role("ann", Role::contacts, by), AccountChange::done);
  EXPECT_EQ(accounts_.set_role("zoe", Role::viewer, by), AccountChange::unknown);
  const std::vector<Account> expected{{"ann", Role::contacts}, {"bob", Role::admin}};
  EXPECT_EQ(accounts_.list(), expected);
  EXPECT_EQ(log_in("ann", "0123456789"), (Account{"ann", Role::contacts})) << "its password stays";
}

TEST_F(AccountsTest, TheLastAdminStays) {
  accounts_.add({"ann", Role::admin}, "0123456789", by);
  accounts_.add({"bob", Role::viewer}, "0123456789", by);
  EXPECT_EQ(accounts_.set_role("ann", Role::viewer, by), AccountChange::last_admin);
  EXPECT_EQ(accounts_.remove_if_dispensable("ann", by), AccountChange::last_admin);
  EXPECT_EQ(accounts_.set_role("ann", Role::admin, by), AccountChange::done) << "no change at all";
  EXPECT_EQ(accounts_.list().front(), (Account{"ann", Role::admin}));
  EXPECT_EQ(accounts_.remove_if_dispensable("bob", by), AccountChange::done);
  EXPECT_EQ(accounts_.remove_if_dispensable("bob", by), AccountChange::unknown);
  accounts_.add({"zoe", Role::admin}, "0123456789", by);
  EXPECT_EQ(accounts_.remove_if_dispensable("ann", by), AccountChange::done);
  EXPECT_EQ(accounts_.list().size(), 1);
}

TEST_F(AccountsTest, EachChangeIsNotedAndNothingElse) {
  accounts_.add_first({"ann", Role::admin}, "0123456789", by.at);
  accounts_.add_first({"bob", Role::admin}, "0123456789", by.at);
  accounts_.add({"bob", Role::viewer}, "0123456789", by);
  accounts_.add({"bob", Role::viewer}, "0123456789", by);
  accounts_.set_password("bob", "9876543210", by);
  accounts_.set_password("zoe", "9876543210", by);
  accounts_.set_role("bob", Role::contacts, by);
  accounts_.set_role("zoe", Role::contacts, by);
  accounts_.set_role("ann", Role::contacts, by);
  accounts_.remove_if_dispensable("ann", by);
  accounts_.remove_if_dispensable("bob", by);
  accounts_.remove("bob", by);
  accounts_.remove("ann", by);
  const std::vector<AuditEntry> expected{{6, by.at, "root", "user-remove", "ann"},
                                         {5, by.at, "root", "user-remove", "bob"},
                                         {4, by.at, "root", "user-change", "bob: contacts"},
                                         {3, by.at, "root", "user-change", "bob: password"},
                                         {2, by.at, "root", "user-add", "bob: viewer"},
                                         {1, by.at, "ann", "setup", ""}};
  EXPECT_EQ(Audit(folder_ / "reports.sqlite").list({}, 100), expected);
}

TEST_F(AccountsTest, AChangeThatCannotBeNotedIsNotMade) {
  accounts_.add({"ann", Role::admin}, "0123456789", by);
  accounts_.add({"bob", Role::viewer}, "0123456789", by);
  const std::vector<Account> before = accounts_.list();
  SQLite::Database database(folder_ / "reports.sqlite", SQLite::OPEN_READWRITE);
  database.exec(
      "CREATE TRIGGER full BEFORE INSERT ON audit BEGIN SELECT RAISE(ABORT, 'full'); END");
  EXPECT_THROW(accounts_.add({"zoe", Role::viewer}, "0123456789", by), StorageError);
  EXPECT_THROW(accounts_.set_password("bob", "9876543210", by), StorageError);
  EXPECT_THROW(accounts_.set_role("bob", Role::admin, by), StorageError);
  EXPECT_THROW(accounts_.remove("bob", by), StorageError);
  EXPECT_THROW(accounts_.remove_if_dispensable("bob", by), StorageError);
  EXPECT_EQ(accounts_.list(), before);
  EXPECT_EQ(log_in("bob", "0123456789"), (Account{"bob", Role::viewer}));
  database.exec("DELETE FROM account");
  EXPECT_THROW(accounts_.add_first({"zoe", Role::admin}, "0123456789", by.at), StorageError);
  EXPECT_TRUE(accounts_.is_empty());
}

TEST(Accounts, AFileThatIsNoDatabaseIsAnError) {
  const test::TemporaryFolder folder;
  std::ofstream(folder / "reports.sqlite") << std::string(5000, 'x');
  EXPECT_THROW(Accounts accounts(folder / "reports.sqlite"), StorageError);
}

}  // namespace
}  // namespace pelto::collector
