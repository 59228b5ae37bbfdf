#include "collector/access/Token.h"

#include <gtest/gtest.h>

#include <set>

namespace pelto::collector {
namespace {

TEST(Token, Has43CharactersThatAnAddressTakesAsTheyAre) {
  for (int i = 0; i < 100; ++i) {
    const std::string token = make_token();
    EXPECT_EQ(token.size(), 43);
    EXPECT_EQ(token.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz"
                                      "0123456789-_"),
              std::string::npos)
        << token;
  }
}

TEST(Token, IsAnotherOneEachTime) {
  std::set<std::string> tokens;
  for (int i = 0; i < 1000; ++i) tokens.insert(make_token());
  EXPECT_EQ(tokens.size(), 1000);
}

TEST(Token, HashesAreEqualForTheSameTextOnly) {
  const std::string token = make_token();
  EXPECT_TRUE(are_equal(hash_token(token), hash_token(token)));
  EXPECT_FALSE(are_equal(hash_token(token), hash_token(token.substr(1))));
  EXPECT_FALSE(are_equal(hash_token(token), hash_token("")));
}

TEST(Token, IsNotInItsHash) {
  const std::string token(32, 'a');
  const TokenHash hash = hash_token(token);
  EXPECT_NE(std::string(hash.begin(), hash.end()), token);
}

}  // namespace
}  // namespace pelto::collector
