#include "collector/serve/PageRules.h"

#include <gtest/gtest.h>

namespace pelto::collector {
namespace {

TEST(PageRules, ARequestOfAPageOfThisServerIsOfTheSameOrigin) {
  EXPECT_TRUE(is_same_origin({"same-origin"}, {}, {"a:1"}));
  EXPECT_TRUE(is_same_origin({"same-origin"}, {"http://a:1"}, {"a:1"}));
  EXPECT_TRUE(is_same_origin({}, {"http://a:1"}, {"a:1"}));
  EXPECT_TRUE(is_same_origin({}, {"https://example.org"}, {"EXAMPLE.org"}));
  EXPECT_TRUE(is_same_origin({}, {"http://[::1]:8481"}, {"[::1]:8481"}));
}

TEST(PageRules, ARequestOfAnotherPageIsNot) {
  for (const std::string_view site : {"cross-site", "same-site", "none", "", "Same-Origin"}) {
    EXPECT_FALSE(is_same_origin({site}, {"http://a:1"}, {"a:1"})) << site;
  }
  EXPECT_FALSE(is_same_origin({"same-origin", "cross-site"}, {}, {"a:1"}));
  for (const std::string_view origin :
       {"http://b:1", "http://a:2", "http://a", "http://a:1.evil.example", "http://a:1/", "null",
        "a:1", "ftp://a:1", "", "http://"}) {
    EXPECT_FALSE(is_same_origin({}, {origin}, {"a:1"})) << origin;
  }
}

TEST(PageRules, ARequestThatDoesNotTellItsOriginIsOfNone) {
  EXPECT_FALSE(is_same_origin({}, {}, {"a:1"}));
  EXPECT_FALSE(is_same_origin({}, {"http://a:1"}, {}));
  EXPECT_FALSE(is_same_origin({}, {"http://"}, {""}));
  EXPECT_FALSE(is_same_origin({}, {"http://a:1", "http://a:1"}, {"a:1"}));
  EXPECT_FALSE(is_same_origin({}, {"http://a:1"}, {"a:1", "b:1"}));
}

Request request_with(std::vector<Field> fields, std::string_view peer = "127.0.0.1") {
  Request request;
  request.fields = std::move(fields);
  request.peer = parse_ip_address(peer).value();
  return request;
}

TEST(PageRules, AProgramHasNoOrigin) {
  EXPECT_TRUE(is_no_other_origin(request_with({})));
  EXPECT_TRUE(is_no_other_origin(request_with({{"Host", "a:1"}, {"Origin", "http://a:1"}})));
  EXPECT_TRUE(is_no_other_origin(request_with({{"Sec-Fetch-Site", "same-origin"}})));
  EXPECT_FALSE(is_no_other_origin(request_with({{"Host", "a:1"}, {"Origin", "http://b:1"}})));
  EXPECT_FALSE(is_no_other_origin(request_with({{"Sec-Fetch-Site", "cross-site"}})));
}

TEST(PageRules, ARequestOfThisMachineAsksForALoopbackHost) {
  for (const char* const host : {"localhost", "LOCALHOST:8481", "127.0.0.1", "127.0.0.1:8481",
                                 "127.1.2.3:1", "[::1]", "[::1]:8481"}) {
    EXPECT_TRUE(is_local(request_with({{"Host", host}}))) << host;
    EXPECT_TRUE(is_local(request_with({{"Host", host}}, "::1"))) << host;
    EXPECT_FALSE(is_local(request_with({{"Host", host}}, "192.0.2.1"))) << host;
  }
  for (const char* const host : {"", "pages.example", "localhost.example", "127.0.0.1.example",
                                 "192.0.2.1", "[2001:db8::1]:80", "localhost:x", ":80", "[::1"}) {
    EXPECT_FALSE(is_local(request_with({{"Host", host}}))) << host;
  }
  EXPECT_FALSE(is_local(request_with({})));
  EXPECT_FALSE(is_local(request_with({{"Host", "localhost"}, {"Host", "localhost"}})));
}

TEST(PageRules, ARequestThatAProxyPassesOnIsNotOfThisMachine) {
  for (const char* const name :
       {"X-Forwarded-For", "x-forwarded-for", "Forwarded", "X-Real-IP", "Via"}) {
    EXPECT_FALSE(is_local(request_with({{"Host", "localhost"}, {name, ""}}))) << name;
  }
  EXPECT_TRUE(is_local(request_with({{"Host", "localhost"}, {"X-Forwarded", "x"}})));
}

TEST(PageRules, GzipIsTakenWhereItIsAllowed) {
  EXPECT_TRUE(accepts_gzip({"gzip"}));
  EXPECT_TRUE(accepts_gzip({"gzip, deflate, br"}));
  EXPECT_TRUE(accepts_gzip({"br", "GZIP;q=0.1"}));
  EXPECT_TRUE(accepts_gzip({"*"}));
  EXPECT_TRUE(accepts_gzip({"deflate, *;q=0.5"}));
  EXPECT_FALSE(accepts_gzip({}));
  EXPECT_FALSE(accepts_gzip({""}));
  EXPECT_FALSE(accepts_gzip({"br, identity"}));
  EXPECT_FALSE(accepts_gzip({"xgzip"}));
  EXPECT_FALSE(accepts_gzip({"gzip;q=0"}));
  EXPECT_FALSE(accepts_gzip({"gzip ; Q = 0.000, *"}));
  EXPECT_FALSE(accepts_gzip({"*;q=0"}));
}

TEST(PageRules, ABrowserAsksForHtml) {
  EXPECT_TRUE(asks_for_html({"text/html,application/xhtml+xml;q=0.9,*/*;q=0.8"}));
  EXPECT_FALSE(asks_for_html({"application/json"}));
  EXPECT_FALSE(asks_for_html({"*/*"}));
  EXPECT_FALSE(asks_for_html({}));
}

TEST(PageRules, NoScriptInAPageRunsAndNothingIsLoadedFromElsewhere) {
  EXPECT_TRUE(security_fields.find("default-src 'none'") != std::string_view::npos);
  EXPECT_TRUE(security_fields.find("unsafe") == std::string_view::npos);
  EXPECT_TRUE(security_fields.find("frame-ancestors 'none'") != std::string_view::npos);
  EXPECT_TRUE(security_fields.ends_with("\r\n"));
}

}  // namespace
}  // namespace pelto::collector
