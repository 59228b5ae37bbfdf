#include "tests/collector/unit/serve/PageReplies.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "collector/serve/PageRules.h"

namespace pelto::collector {

std::string with_body(const std::string& start, const std::string& fields,
                      const std::string& body) {
  return start + " HTTP/1.1\r\n" + fields + "Content-Length: " + std::to_string(body.size()) +
         "\r\n\r\n" + body;
}

void expect_security(const Reply& reply) {
  EXPECT_THAT(reply.head, testing::HasSubstr(std::string(security_fields)));
}

void expect_problem(const Reply& reply, int status) {
  EXPECT_EQ(reply.status, status) << reply.head << reply.body;
  EXPECT_TRUE(reply.has("Content-Type: application/problem+json")) << reply.head;
  EXPECT_EQ(nlohmann::json::parse(reply.body).at("status"), status);
  expect_security(reply);
}

}  // namespace pelto::collector
