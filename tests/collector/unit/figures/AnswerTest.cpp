#include "collector/figures/Answer.h"

#include <gtest/gtest.h>

namespace pelto::collector {
namespace {

Day day_of(const char* text) {
  return parse_day(text).value();
}

Table one_text(const std::string& text) {
  return {{"text"}, {{text}}, 0};
}

TEST(Answer, JsonHasTheKeysInTheirOrder) {
  Answer answer{.product = "default",
                .version = "1.0",
                .from = day_of("2026-01-05"),
                .to = day_of("2026-02-01"),
                .threshold = 5,
                .installations = 12,
                .table = {{"command", "uses", "share"}, {{"Line", 26, Share{6667}}}, 2}};
  EXPECT_EQ(answer_as_json(answer),
            R"({"product":"default","version":"1.0","from":"2026-01-05","to":"2026-02-01",)"
            R"("threshold":5,"installations":12,)"
            R"("rows":[{"command":"Line","uses":26,"share":0.6667}],"withheld":{"rows":2}})");
}

TEST(Answer, JsonHasNullForWhatIsMissingOrWithheld) {
  Answer answer{.product = "a \"b\"",
                .from = day_of("2026-01-05"),
                .to = day_of("2026-02-01"),
                .threshold = 5,
                .table = {{"uses"}, {{Cell{}}}, 0}};
  EXPECT_EQ(answer_as_json(answer),
            R"({"product":"a \"b\"","version":null,"from":"2026-01-05","to":"2026-02-01",)"
            R"("threshold":5,"installations":null,"rows":[{"uses":null}],"withheld":{"rows":0}})");
}

TEST(Answer, JsonHasCountsUnderCodesAsAnObject) {
  Answer answer{
      .product = "default",
      .from = day_of("2026-01-05"),
      .to = day_of("2026-02-01"),
      .threshold = 1,
      .installations = 0,
      .table = {{"refused"}, {{CodeCounts{{"no-id", 2}, {"length", 1}}}, {CodeCounts{}}}}};
  EXPECT_EQ(answer_as_json(answer),
            R"({"product":"default","version":null,"from":"2026-01-05","to":"2026-02-01",)"
            R"("threshold":1,"installations":0,"rows":[{"refused":{"length":1,"no-id":2}},)"
            R"({"refused":{}}],"withheld":{"rows":0}})");
}

TEST(Answer, TextIsUtf8InJson) {
  Answer answer{.product = "\xD0\x9B\xD0\xB8\xD0\xBD\xD0\xB8\xD1\x8F \xFF",
                .from = day_of("2026-01-05"),
                .to = day_of("2026-02-01")};
  EXPECT_TRUE(answer_as_json(answer).starts_with(
      "{\"product\":\"\xD0\x9B\xD0\xB8\xD0\xBD\xD0\xB8\xD1\x8F \xEF\xBF\xBD\","));
}

TEST(Answer, AShareIsRoundedToFourDecimalsHalvesUp) {
  EXPECT_EQ(share_of(1, 3).ten_thousandths, 3333);
  EXPECT_EQ(share_of(2, 3).ten_thousandths, 6667);
  EXPECT_EQ(share_of(1, 20'000).ten_thousandths, 1);
  EXPECT_EQ(share_of(1, 20'001).ten_thousandths, 0);
  EXPECT_EQ(share_of(0, 7).ten_thousandths, 0);
  EXPECT_EQ(share_of(7, 7).ten_thousandths, 10'000);
}

TEST(Answer, CsvHasAHeaderAndLinesThatEndInCrLf) {
  EXPECT_EQ(table_as_csv({{"command", "uses", "share", "median_order"},
                          {{"Line", 26, Share{5000}, Cell{}}, {"Zoom", 3, Share{10'000}, 1}}}),
            "command,uses,share,median_order\r\n"
            "Line,26,0.5,\r\n"
            "Zoom,3,1.0,1\r\n");
}

TEST(Answer, CsvHasTheHeaderWithoutRows) {
  EXPECT_EQ(table_as_csv({{"command", "uses"}, {}}), "command,uses\r\n");
}

TEST(Answer, CsvQuotesFieldsWithSeparatorsQuotesAndLineEnds) {
  EXPECT_EQ(table_as_csv(one_text("a,b")), "text\r\n\"a,b\"\r\n");
  EXPECT_EQ(table_as_csv(one_text("a\"b")), "text\r\n\"a\"\"b\"\r\n");
  EXPECT_EQ(table_as_csv(one_text("a\nb")), "text\r\n\"a\nb\"\r\n");
  EXPECT_EQ(table_as_csv(one_text("a\rb")), "text\r\n\"a\rb\"\r\n");
  EXPECT_EQ(table_as_csv(one_text("a b;c'd")), "text\r\na b;c'd\r\n");
}

TEST(Answer, CsvPutsAnApostropheInFrontOfWhatLooksLikeAFormula) {
  for (const std::string sign : {"=", "+", "-", "@", "\t"}) {
    EXPECT_EQ(table_as_csv(one_text(sign + "1")), "text\r\n'" + sign + "1\r\n");
    EXPECT_EQ(table_as_csv(one_text("1" + sign)), "text\r\n1" + sign + "\r\n");
  }
  EXPECT_EQ(table_as_csv(one_text("=\"a\"")), "text\r\n\"'=\"\"a\"\"\"\r\n");
}

TEST(Answer, CsvHasCountsUnderCodesAsOneText) {
  EXPECT_EQ(table_as_csv({{"refused"}, {{CodeCounts{{"no-id", 2}, {"length", 1}}}}}),
            "refused\r\nlength=1 no-id=2\r\n");
  EXPECT_EQ(table_as_csv({{"repeated", "refused"}, {{0, CodeCounts{}}}}),
            "repeated,refused\r\n0,\r\n");
}

}  // namespace
}  // namespace pelto::collector
