#include "collector/commands/ProductName.h"

#include <string>

#include <gtest/gtest.h>

namespace pelto::collector::testing {

namespace {

TEST(ProductName, HasOneTo128Bytes) {
  EXPECT_FALSE(is_product_name(""));
  EXPECT_TRUE(is_product_name("a"));
  EXPECT_TRUE(is_product_name(std::string(128, 'a')));
  EXPECT_FALSE(is_product_name(std::string(129, 'a')));
}

TEST(ProductName, HasNoControlCharacters) {
  for (const char c : {'\0', '\t', '\n', '\x1f', '\x7f'}) {
    EXPECT_FALSE(is_product_name(std::string("a") + c)) << static_cast<int>(c);
  }
  EXPECT_TRUE(is_product_name("Draw \xC3\xA4/2.0 \"x\"~"));
}

}  // namespace

}  // namespace pelto::collector::testing
