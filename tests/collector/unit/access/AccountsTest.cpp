#include "collector/access/Accounts.h"

#include <gtest/gtest.h>

#include <fstream>

#include "collector/storage/Storage.h"
#include "tests/collector/support/TemporaryFolder.h"

namespace pelto::collector {
namespace {

class AccountsTest : public testing::Test {
 protected:
  test::TemporaryFolder folder_;
  Accounts accounts_{folder_ / "reports.sqlite"};
};

TEST_F(AccountsTest, AreNoneAtFirst) {
  EXPECT_TRUE(accounts_.list().empty());
}

TEST_F(AccountsTest, AreListedByName) {
  EXPECT_TRUE(accounts_.add({"zoe", Role::viewer}, "0123456789"));
  EXPECT_TRUE(accounts_.add({"ann", Role::admin}, "0123456789"));
  EXPECT_TRUE(accounts_.add({"bob", Role::contacts}, "0123456789"));
  const std::vector<Account> sorted{
      {"ann", Role::admin}, {"bob", Role::contacts}, {"zoe", Role::viewer}};
  EXPECT_EQ(accounts_.list(), sorted);
}

TEST_F(AccountsTest, AreKept) {
  accounts_.add({"ann", Role::admin}, "0123456789");
  Accounts again(folder_ / "reports.sqlite");
  EXPECT_EQ(again.find("ann", "0123456789"), (Account{"ann", Role::admin}));
}

TEST_F(AccountsTest, OneThatExistsStaysAsItIs) {
  accounts_.add({"ann", Role::viewer}, "0123456789");
  EXPECT_FALSE(accounts_.add({"ann", Role::admin}, "9876543210"));
  EXPECT_EQ(accounts_.find("ann", "0123456789"), (Account{"ann", Role::viewer}));
  EXPECT_EQ(accounts_.find("ann", "9876543210"), std::nullopt);
}

TEST_F(AccountsTest, AreFoundWithTheirPasswordOnly) {
  accounts_.add({"ann", Role::viewer}, "0123456789");
  EXPECT_EQ(accounts_.find("ann", "0123456780"), std::nullopt);
  EXPECT_EQ(accounts_.find("Ann", "0123456789"), std::nullopt);
  EXPECT_EQ(accounts_.find("", ""), std::nullopt) << "nobody's password";
}

TEST_F(AccountsTest, GetAnotherPassword) {
  accounts_.add({"ann", Role::viewer}, "0123456789");
  EXPECT_TRUE(accounts_.set_password("ann", "9876543210"));
  EXPECT_EQ(accounts_.find("ann", "0123456789"), std::nullopt);
  EXPECT_EQ(accounts_.find("ann", "9876543210"), (Account{"ann", Role::viewer}));
  EXPECT_FALSE(accounts_.set_password("bob", "9876543210"));
  EXPECT_EQ(accounts_.list().size(), 1);
}

TEST_F(AccountsTest, AreRemoved) {
  accounts_.add({"ann", Role::viewer}, "0123456789");
  EXPECT_TRUE(accounts_.remove("ann"));
  EXPECT_FALSE(accounts_.remove("ann"));
  EXPECT_TRUE(accounts_.list().empty());
  EXPECT_EQ(accounts_.find("ann", "0123456789"), std::nullopt);
}

TEST(Accounts, AFileThatIsNoDatabaseIsAnError) {
  const test::TemporaryFolder folder;
  std::ofstream(folder / "reports.sqlite") << std::string(5000, 'x');
  EXPECT_THROW(Accounts accounts(folder / "reports.sqlite"), StorageError);
}

}  // namespace
}  // namespace pelto::collector
