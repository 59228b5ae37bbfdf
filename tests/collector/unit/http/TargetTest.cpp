#include "collector/http/Target.h"

#include <gtest/gtest.h>

namespace pelto::collector {
namespace {

TEST(Target, IsPathAndQuery) {
  const auto split = [](std::string_view text) {
    const Target target = split_target(text);
    return std::string(target.path) + " " + std::string(target.query);
  };
  EXPECT_EQ(split("/a/b?c=d"), "/a/b c=d");
  EXPECT_EQ(split("/a/b"), "/a/b ");
  EXPECT_EQ(split("/?"), "/ ");
  EXPECT_EQ(split("/a?b?c"), "/a b?c");
  EXPECT_EQ(split("http://example.org/a?b"), "/a b");
  EXPECT_EQ(split("http://example.org"), " ");
  EXPECT_EQ(split("*"), " ");
  EXPECT_EQ(split(""), " ");
}

TEST(Target, AQueryIsReadByName) {
  const QueryValues expected{{"product", "a b"}, {"version", "1.0 \xC3\xB6&="}};
  EXPECT_EQ(parse_query("product=a+b&version=1.0%20%C3%B6%26%3d"), expected);
  EXPECT_EQ(parse_query(""), QueryValues{});
  EXPECT_EQ(parse_query("&&a=b&"), (QueryValues{{"a", "b"}}));
  EXPECT_EQ(parse_query("a=b=c"), (QueryValues{{"a", "b=c"}}));
}

TEST(Target, EmptyValuesAreAsIfAbsent) {
  EXPECT_EQ(parse_query("a=&b&c=1"), (QueryValues{{"c", "1"}}));
}

TEST(Target, AQueryWithANameTwiceOrABrokenCodeIsNone) {
  EXPECT_EQ(parse_query("a=1&a=2"), std::nullopt);
  EXPECT_EQ(parse_query("a=1&%61=1"), std::nullopt);
  EXPECT_EQ(parse_query("a=&a="), std::nullopt);
  EXPECT_EQ(parse_query("a=%4"), std::nullopt);
  EXPECT_EQ(parse_query("%zz=1"), std::nullopt);
}

}  // namespace
}  // namespace pelto::collector
