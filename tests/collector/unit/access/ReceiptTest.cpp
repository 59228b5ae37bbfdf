#include "collector/access/Receipt.h"

#include <gtest/gtest.h>

#include "tests/collector/support/FakeStorage.h"

namespace pelto::collector {
namespace {

class ReceiptTest : public testing::Test {
 protected:
  void SetUp() override { keys_ = receipt_keys(storage_); }

  std::string receipt() const {
    return make_receipt({1, 3, 2}, parse_time("2026-01-05T10:00:00Z").value(),
                        subject_of_installation("machine-1", keys_), keys_);
  }
  /// The receipt with `from` replaced by `to`.
  std::string changed(const std::string& from, const std::string& to) const {
    std::string text = receipt();
    const std::size_t place = text.find(from);
    EXPECT_NE(place, std::string::npos) << from;
    return text.replace(place, from.size(), to);
  }

  test::FakeStorage storage_;
  ReceiptKeys keys_;
};

TEST_F(ReceiptTest, IsALineOfJson) {
  const std::string text = receipt();
  const std::string head =
      R"({"erased":{"installations":1,"deliveries":3,"contacts":2},"at":"2026-01-05T10:00:00Z",)"
      R"("subject":")";
  ASSERT_TRUE(text.starts_with(head)) << text;
  EXPECT_EQ(text.substr(head.size() + 64, 15), R"(","signature":")") << text;
  EXPECT_EQ(text.size(), head.size() + 64 + 15 + 128 + 2) << text;
  EXPECT_EQ(text.find('\n'), std::string::npos);
}

TEST_F(ReceiptTest, DoesNotNameItsSubject) {
  EXPECT_EQ(receipt().find("machine-1"), std::string::npos);
}

TEST_F(ReceiptTest, IsValidAsItIs) {
  EXPECT_TRUE(is_receipt_valid(receipt(), keys_));
  EXPECT_TRUE(is_receipt_valid("  " + receipt() + "\r\n", keys_));
}

TEST_F(ReceiptTest, IsNotValidWithAnyChange) {
  EXPECT_FALSE(is_receipt_valid(changed("\"installations\":1", "\"installations\":2"), keys_));
  EXPECT_FALSE(is_receipt_valid(changed("\"deliveries\":3", "\"deliveries\":4"), keys_));
  EXPECT_FALSE(is_receipt_valid(changed("\"contacts\":2", "\"contacts\":1"), keys_));
  EXPECT_FALSE(is_receipt_valid(changed("\"contacts\":2", "\"contacts\":2.0"), keys_));
  EXPECT_FALSE(is_receipt_valid(changed("2026-01-05", "2026-01-06"), keys_));
  EXPECT_FALSE(is_receipt_valid(changed("\"subject\":\"", "\"subject\":\"0"), keys_));
  EXPECT_FALSE(is_receipt_valid(changed("{\"erased\"", "{\"for\":\"Ann\",\"erased\""), keys_));
  EXPECT_FALSE(is_receipt_valid(changed("\"contacts\"", "\"more\":0,\"contacts\""), keys_));
}

TEST_F(ReceiptTest, IsNotValidWithoutAWholeSignature) {
  const std::string text = receipt();
  EXPECT_FALSE(is_receipt_valid(text.substr(0, text.size() - 4) + "\"}", keys_));
  EXPECT_FALSE(is_receipt_valid(text.substr(0, text.size() - 2) + "00\"}", keys_));
  EXPECT_FALSE(is_receipt_valid(text.substr(0, text.size() - 4) + "zz\"}", keys_));
}

TEST_F(ReceiptTest, IsNotValidUnderOtherKeys) {
  ReceiptKeys others = keys_;
  others.signature[0] = static_cast<char>(others.signature[0] + 1);
  EXPECT_FALSE(is_receipt_valid(receipt(), others));
}

TEST_F(ReceiptTest, OtherTextIsNoReceipt) {
  for (const char* text : {"", "{}", "[]", "null", "{\"erased\":1}", "receipt", "\xFF",
                           "{\"erased\":{},\"at\":1,\"subject\":2,\"signature\":3}"}) {
    EXPECT_FALSE(is_receipt_valid(text, keys_)) << text;
  }
}

TEST_F(ReceiptTest, LetterCaseCountsInAnIdentifierOnly) {
  EXPECT_NE(subject_of_installation("a", keys_), subject_of_installation("A", keys_));
  EXPECT_EQ(subject_of_email("ann@example.com", keys_), subject_of_email("Ann@EXAMPLE.com", keys_));
  EXPECT_EQ(subject_of_email("stra\u00DFe@\u00E9.example", keys_),
            subject_of_email("STRASSE@\u00C9.Example", keys_));
  EXPECT_NE(subject_of_email("ann@example.com", keys_), subject_of_email("bob@example.com", keys_));
  EXPECT_NE(subject_of_email("\u00E9@example.com", keys_),
            subject_of_email("e@example.com", keys_));
}

TEST_F(ReceiptTest, ASubjectIsKnownToTheKeysOwnerOnly) {
  ReceiptKeys others = keys_;
  others.subject[0] = static_cast<char>(others.subject[0] + 1);
  EXPECT_NE(subject_of_installation("a", keys_), subject_of_installation("a", others));
}

}  // namespace
}  // namespace pelto::collector
