#include "collector/intake/HeaderValue.h"

#include <gtest/gtest.h>

#include <string>

namespace pelto::collector {

namespace {

/// "word|name=value|..." of a value that can be read, else "none".
std::string read(const std::string& text) {
  const auto value = read_header_value(text);
  if (!value) return "none";
  std::string out = value->word;
  for (const auto& [name, parameter] : value->parameters) out += "|" + name + "=" + parameter;
  return out;
}

TEST(HeaderValue, IsAWordWithParameters) {
  EXPECT_EQ(read("form-data"), "form-data");
  EXPECT_EQ(read("form-data; name=\"Id\""), "form-data|name=Id");
  EXPECT_EQ(read("multipart/form-data; charset=utf-8; boundary=a"),
            "multipart/form-data|charset=utf-8|boundary=a");
}

TEST(HeaderValue, NamesAreInSmallLettersAndValuesAsTheyAre) {
  EXPECT_EQ(read("Form-DATA; NAME=\"Id\""), "form-data|name=Id");
}

TEST(HeaderValue, WhitespaceMakesNoDifferenceOutsideOfQuotationMarks) {
  EXPECT_EQ(read(" \tform-data ;\tname = \" a b \" ; x=y\t"), "form-data|name= a b |x=y");
  EXPECT_EQ(read("form-data;name=a;"), "form-data|name=a");
}

TEST(HeaderValue, ABackslashTakesTheNextCharacterAsItIs) {
  EXPECT_EQ(read(R"(a; name="x\"y\\z\;")"), R"(a|name=x"y\z;)");
  EXPECT_EQ(read(R"(a; name="x;y")"), "a|name=x;y");
}

TEST(HeaderValue, APlainValueMayHaveAnyOtherCharacter) {
  EXPECT_EQ(read("a; boundary=--x/y:z=?'()"), "a|boundary=--x/y:z=?'()");
  EXPECT_EQ(read("a; name="), "a|name=");
}

TEST(HeaderValue, IsNoneWhenItIsMalformed) {
  for (const char* text :
       {"", " ", ";", "; name=a", "a b", "a; b", "a; =b", "a; b c=d", "a; b=\"c", "a; b=\"c\\",
        "a; b=\"c\\\"", "a; b=\"c\" d", "a; b=c d", "a; b=c\"d\"", "a;; b=c", "a; \"b\"=c"}) {
    EXPECT_EQ(read(text), "none") << text;
  }
}

TEST(HeaderValue, AParameterMayComeOnce) {
  EXPECT_EQ(read("a; b=c; B=d"), "none");
}

TEST(HeaderValue, HasSixteenParametersAtMost) {
  std::string text = "a";
  for (int i = 0; i < 16; ++i) text += "; p" + std::to_string(i) + "=";
  EXPECT_NE(read(text), "none");
  EXPECT_EQ(read(text + "; p16="), "none");
}

TEST(HeaderValue, ParametersAreFoundByName) {
  const auto value = read_header_value("a; B=c");
  ASSERT_TRUE(value);
  EXPECT_EQ(value->parameter("b"), "c");
  EXPECT_EQ(value->parameter("c"), std::nullopt);
}

}  // namespace

}  // namespace pelto::collector
