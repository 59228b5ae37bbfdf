#include "collector/http/Endpoint.h"

#include <gtest/gtest.h>

namespace pelto::collector {
namespace {

TEST(Endpoint, IsReadAndWrittenInTheSameForm) {
  const std::pair<std::string, Endpoint> cases[] = {
      {"127.0.0.1:8480", {"127.0.0.1", 8480}},
      {"localhost:0", {"localhost", 0}},
      {"collect.example:65535", {"collect.example", 65535}},
      {"[::1]:8480", {"::1", 8480}},
      {"[::]:1", {"::", 1}},
  };
  for (const auto& [text, endpoint] : cases) {
    EXPECT_EQ(parse_endpoint(text), endpoint) << text;
    EXPECT_EQ(format_endpoint(endpoint), text);
  }
}

TEST(Endpoint, AnythingElseIsNone) {
  for (const std::string_view text :
       {"",        ":",       ":80",     "host",    "host:",          "host:65536",   "host:-1",
        "host:+1", "host: 1", "host:1 ", "host:1x", "host:0x1",       "::1:80",       "[::1]",
        "[::1]80", "[::1:80", "::1]:80", "[]:80",   "http://host:80", "host/path:80", "a b:80"}) {
    EXPECT_FALSE(parse_endpoint(text)) << text;
  }
}

}  // namespace
}  // namespace pelto::collector
