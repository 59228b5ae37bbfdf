#include "collector/intake/Payload.h"

#include <gtest/gtest.h>

#include <string>
#include <variant>

#include "upload/Base64.h"

namespace pelto::collector {

namespace {

/// The payload of these bytes, or the refusal's code in brackets.
std::string read(const std::string& field) {
  const auto result = read_payload(field);
  const Refusal* const refusal = std::get_if<Refusal>(&result);
  return refusal == nullptr ? std::get<std::string>(result)
                            : "(" + std::string(code_of(*refusal)) + ")";
}

std::string read_bytes(const std::string& bytes) {
  return read(Base64Encode(bytes, 0, '\0'));
}

TEST(Payload, LosesItsDoubledLastByte) {
  EXPECT_EQ(read_bytes("reportt"), "report");
  EXPECT_EQ(read_bytes("aa"), "a");
  EXPECT_EQ(read_bytes("aaa"), "aa");
  EXPECT_EQ(read_bytes(std::string("a\0\0", 3)), std::string("a\0", 2));
}

TEST(Payload, OfAtMostOneByteIsEmpty) {
  EXPECT_EQ(read(""), "(empty-report)");
  EXPECT_EQ(read_bytes("a"), "(empty-report)");
  EXPECT_EQ(read_bytes(std::string(1, '\0')), "(empty-report)");
}

TEST(Payload, WhoseLastTwoBytesDifferIsTruncated) {
  EXPECT_EQ(read_bytes("report"), "(truncated)");
  EXPECT_EQ(read_bytes("ab"), "(truncated)");
}

TEST(Payload, MustBeBase64) {
  EXPECT_EQ(read(" "), "(bad-base64)");
  EXPECT_EQ(read("cmVwb3J0dA"), "(bad-base64)");
  EXPECT_EQ(read("=="), "(bad-base64)");
}

}  // namespace

}  // namespace pelto::collector
