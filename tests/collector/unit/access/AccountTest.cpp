#include "collector/access/Account.h"

#include <gtest/gtest.h>

#include <string>

namespace pelto::collector {
namespace {

TEST(Account, RolesHaveNames) {
  EXPECT_EQ(name_of(Role::viewer), "viewer");
  EXPECT_EQ(name_of(Role::contacts), "contacts");
  EXPECT_EQ(name_of(Role::admin), "admin");
  for (const Role role : {Role::viewer, Role::contacts, Role::admin}) {
    EXPECT_EQ(find_role(name_of(role)), role);
  }
}

TEST(Account, OtherTextIsNoRole) {
  for (const char* text : {"", "Admin", "admin ", "root", "view"}) {
    EXPECT_EQ(find_role(text), std::nullopt) << text;
  }
}

TEST(Account, ANameHasOneTo64VisibleCharactersOfAscii) {
  EXPECT_TRUE(is_account_name("a"));
  EXPECT_TRUE(is_account_name("!~user@example.com"));
  EXPECT_TRUE(is_account_name(std::string(64, 'a')));
  EXPECT_FALSE(is_account_name(""));
  EXPECT_FALSE(is_account_name(std::string(65, 'a')));
  EXPECT_FALSE(is_account_name("a b"));
  EXPECT_FALSE(is_account_name("a\n"));
  EXPECT_FALSE(is_account_name("\x7F"));
  EXPECT_FALSE(is_account_name("\xC3\xA4"));
  EXPECT_FALSE(is_account_name(std::string("a\0b", 3)));
}

}  // namespace
}  // namespace pelto::collector
