#include "collector/access/Password.h"

#include <gtest/gtest.h>

namespace pelto::collector {
namespace {

TEST(Password, HasAtLeastTenCharacters) {
  EXPECT_TRUE(is_acceptable_password("0123456789"));
  EXPECT_FALSE(is_acceptable_password("012345678"));
  EXPECT_FALSE(is_acceptable_password(""));
}

TEST(Password, ACharacterOfSeveralBytesCountsAsOne) {
  EXPECT_FALSE(is_acceptable_password("\xC3\xA4\xC3\xA4\xC3\xA4\xC3\xA4\xC3\xA4"));
  EXPECT_TRUE(
      is_acceptable_password("\xC3\xA4\xC3\xA4\xC3\xA4\xC3\xA4\xC3\xA4\x31\x32\x33\x34\x35"));
}

TEST(Password, OnlyTheSameOneIsRight) {
  const std::string hash = hash_password("correct horse");
  EXPECT_TRUE(hash.starts_with("$argon2id$")) << hash;
  EXPECT_TRUE(is_password_right("correct horse", hash));
  EXPECT_FALSE(is_password_right("correct horsf", hash));
  EXPECT_FALSE(is_password_right("correct hors", hash));
  EXPECT_FALSE(is_password_right("", hash));
}

TEST(Password, EachHashHasASaltOfItsOwn) {
  EXPECT_NE(hash_password("correct horse"), hash_password("correct horse"));
}

TEST(Password, AZeroByteIsAPartOfIt) {
  const std::string password("correct\0horse", 13);
  const std::string hash = hash_password(password);
  EXPECT_TRUE(is_password_right(password, hash));
  EXPECT_FALSE(is_password_right("correct", hash));
}

TEST(Password, IsNotRightForWhatIsNoHash) {
  for (const char* text : {"", "correct horse", "$argon2id$v=19$"}) {
    EXPECT_FALSE(is_password_right("correct horse", text)) << text;
  }
}

}  // namespace
}  // namespace pelto::collector
