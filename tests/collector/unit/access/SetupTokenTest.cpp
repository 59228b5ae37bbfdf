#include "collector/access/SetupToken.h"

#include <gtest/gtest.h>

namespace pelto::collector {
namespace {

TEST(SetupToken, IsClosedAtFirst) {
  const SetupToken setup;
  EXPECT_FALSE(setup.is_open());
  EXPECT_FALSE(setup.is_right(""));
}

TEST(SetupToken, IsRightUntilItIsClosed) {
  SetupToken setup;
  const std::string token = setup.open();
  EXPECT_TRUE(setup.is_open());
  EXPECT_TRUE(setup.is_right(token));
  EXPECT_TRUE(setup.is_right(token)) << "asking does not use it up";
  setup.close();
  EXPECT_FALSE(setup.is_open());
  EXPECT_FALSE(setup.is_right(token));
}

TEST(SetupToken, NoOtherTextIsRight) {
  SetupToken setup;
  const std::string token = setup.open();
  for (const std::string& text : {std::string(), token.substr(1), token + "A", "A" + token}) {
    EXPECT_FALSE(setup.is_right(text)) << text;
  }
}

TEST(SetupToken, ANewOneReplacesTheEarlierOne) {
  SetupToken setup;
  const std::string first = setup.open();
  const std::string second = setup.open();
  EXPECT_FALSE(setup.is_right(first));
  EXPECT_TRUE(setup.is_right(second));
}

}  // namespace
}  // namespace pelto::collector
