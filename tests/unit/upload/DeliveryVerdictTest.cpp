#include "upload/DeliveryVerdict.h"

#include <gtest/gtest.h>

namespace {

using enum DeliveryVerdict;

TEST(JudgeDelivery, StatusCodeDecidesWhenTheBodyBeginsWithNoDigit) {
  for (const char* body : {"", "OK", "thanks 200", " 200", " 404", "-200", "+200", "\xB2"}) {
    EXPECT_EQ(JudgeDelivery(200, body), Delivered) << body;
    for (const unsigned long code : {0UL, 100UL, 199UL, 201UL, 204UL, 302UL, 404UL, 500UL}) {
      EXPECT_EQ(JudgeDelivery(code, body), RefusedByStatus) << code << body;
    }
    EXPECT_EQ(JudgeDelivery(std::nullopt, body), RefusedByStatus) << body;
  }
}

TEST(JudgeDelivery, NumberAtTheStartOfTheBodyDecidesWhateverTheStatus) {
  for (const unsigned long code : {200UL, 302UL, 404UL, 500UL}) {
    for (const char* body : {"200", "200abc", "200 OK", "0200", "200\n", "200.5"}) {
      EXPECT_EQ(JudgeDelivery(code, body), Delivered) << code << body;
    }
    for (const char* body : {"1", "0", "404", "2000", "20", "201", "2 00", "4294967496"}) {
      EXPECT_EQ(JudgeDelivery(code, body), RefusedByBody) << code << body;
    }
  }
  EXPECT_EQ(JudgeDelivery(std::nullopt, "200"), Delivered);
}

TEST(IsJudgedByBody, OnlyWhenItBeginsWithAnAsciiDigit) {
  EXPECT_TRUE(IsJudgedByBody("0"));
  EXPECT_TRUE(IsJudgedByBody("9x"));
  EXPECT_FALSE(IsJudgedByBody(""));
  EXPECT_FALSE(IsJudgedByBody("/"));
  EXPECT_FALSE(IsJudgedByBody(":"));
  EXPECT_FALSE(IsJudgedByBody(" 2"));
}

}  // namespace
