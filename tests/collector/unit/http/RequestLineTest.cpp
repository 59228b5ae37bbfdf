#include "collector/http/RequestLine.h"

#include <gtest/gtest.h>

namespace pelto::collector {
namespace {

RequestRecord delivery() {
  RequestRecord record;
  record.time = parse_time("2026-01-05T10:00:00Z").value();
  record.listener = "intake";
  record.method = "POST";
  record.path = "/collect";
  record.product = "default";
  record.status = 200;
  record.code = "accepted";
  record.bytes = 1877;
  record.duration = std::chrono::microseconds(3'249);
  return record;
}

TEST(RequestLine, NamesWhatBecameOfTheRequest) {
  EXPECT_EQ(format_record(delivery()),
            "time=2026-01-05T10:00:00Z listener=intake method=POST path=/collect product=default "
            "status=200 code=accepted bytes=1877 ms=3.2");
}

TEST(RequestLine, WhatIsUnknownIsAHyphen) {
  RequestRecord record = delivery();
  record.method = {};
  record.path = {};
  record.product = {};
  EXPECT_NE(format_record(record).find("method=- path=- product=- "), std::string::npos);
}

TEST(RequestLine, AProductCannotForgeALine) {
  RequestRecord record = delivery();
  record.product = "a b\"c\\d\ne\x7f";
  EXPECT_NE(format_record(record).find(R"(product="a b\"c\\d\x0ae\x7f" status=)"),
            std::string::npos)
      << format_record(record);
}

TEST(LogPair, IsQuotedUnlessItIsPlain) {
  EXPECT_EQ(format_pair("k", "aZ09._~/:+-"), " k=aZ09._~/:+-");
  EXPECT_EQ(format_pair("k", ""), " k=\"\"");
  EXPECT_EQ(format_pair("k", "a=b"), " k=\"a=b\"");
  EXPECT_EQ(format_pair("k", "Öl"), " k=\"Öl\"");
}

}  // namespace
}  // namespace pelto::collector
