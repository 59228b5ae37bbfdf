#include "collector/http/RateCounter.h"

#include <gtest/gtest.h>

namespace pelto::collector {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

const RateCounter::TimePoint start{std::chrono::hours(1)};

Address numbered(std::uint32_t number) {
  Address address = *parse_ip_address("10.0.0.0");
  for (int i = 0; i < 3; ++i) {
    address.bytes[15 - static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(number >> (8 * i));
  }
  return address;
}

TEST(RateCounter, LetsThroughAsManyAsTheLimitInAMinute) {
  RateCounter counter(3, RateUse::deliveries);
  const Address address = *parse_ip_address("192.0.2.1");
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(counter.admit(address, start + seconds(i))) << i;
  EXPECT_FALSE(counter.admit(address, start + seconds(4)));
  EXPECT_FALSE(counter.admit(address, start + milliseconds(59'999)));
  EXPECT_TRUE(counter.admit(address, start + seconds(60)));
}

TEST(RateCounter, AnotherMinuteBeginsWithItsFirstDelivery) {
  RateCounter counter(1, RateUse::deliveries);
  const Address address = *parse_ip_address("192.0.2.1");
  EXPECT_TRUE(counter.admit(address, start));
  EXPECT_TRUE(counter.admit(address, start + seconds(90)));
  EXPECT_FALSE(counter.admit(address, start + milliseconds(149'999)));
  EXPECT_TRUE(counter.admit(address, start + seconds(150)));
}

TEST(RateCounter, RefusedOnesDoNotCount) {
  RateCounter counter(1, RateUse::deliveries);
  const Address address = *parse_ip_address("192.0.2.1");
  EXPECT_TRUE(counter.admit(address, start));
  for (int i = 0; i < 100; ++i) EXPECT_FALSE(counter.admit(address, start + seconds(30)));
  EXPECT_TRUE(counter.admit(address, start + seconds(60)));
}

TEST(RateCounter, CountsEachAddressAndEachNetworkOfTheNewFamily) {
  RateCounter counter(1, RateUse::deliveries);
  EXPECT_TRUE(counter.admit(*parse_ip_address("192.0.2.1"), start));
  EXPECT_TRUE(counter.admit(*parse_ip_address("192.0.2.2"), start));
  EXPECT_FALSE(counter.admit(*parse_ip_address("192.0.2.2"), start));
  EXPECT_TRUE(counter.admit(*parse_ip_address("2001:db8::1"), start));
  EXPECT_FALSE(counter.admit(*parse_ip_address("2001:db8::2"), start));
  EXPECT_FALSE(counter.admit(*parse_ip_address("2001:db8:0:ff::2"), start));
  EXPECT_TRUE(counter.admit(*parse_ip_address("2001:db8:0:100::2"), start));
}

TEST(RateCounter, LoopbackIsExempt) {
  RateCounter counter(1, RateUse::deliveries);
  for (int i = 0; i < 10; ++i) {
    EXPECT_TRUE(counter.admit(*parse_ip_address("127.0.0.1"), start));
    EXPECT_TRUE(counter.admit(*parse_ip_address("::1"), start));
  }
  EXPECT_EQ(counter.size(), 0U);
}

TEST(RateCounter, ZeroIsNoLimit) {
  RateCounter counter(0, RateUse::deliveries);
  for (int i = 0; i < 10'000; ++i) EXPECT_TRUE(counter.admit(numbered(1), start));
  EXPECT_EQ(counter.size(), 0U);
}

TEST(RateCounter, ForgetsAddressesAfterTheirMinute) {
  RateCounter counter(1, RateUse::deliveries);
  for (std::uint32_t i = 0; i < 1000; ++i) counter.admit(numbered(i), start);
  EXPECT_EQ(counter.size(), 1000U);
  counter.admit(numbered(5000), start + seconds(61));
  EXPECT_EQ(counter.size(), 1U);
}

TEST(RateCounter, ManyAddressesNeitherGrowItNorLockOthersOut) {
  RateCounter counter(1, RateUse::deliveries);
  const auto most = static_cast<std::uint32_t>(RateCounter::most_addresses);
  for (std::uint32_t i = 0; i < most; ++i) EXPECT_TRUE(counter.admit(numbered(i), start));
  EXPECT_TRUE(counter.admit(numbered(most), start));
  EXPECT_TRUE(counter.admit(numbered(most), start));
  EXPECT_EQ(counter.size(), RateCounter::most_addresses);
  EXPECT_FALSE(counter.admit(numbered(0), start)) << "those that are counted still are";
}

TEST(RateCounter, WhereNoneMayGoUncountedManyAddressesAreRefused) {
  RateCounter counter(2, RateUse::secrets);
  const auto most = static_cast<std::uint32_t>(RateCounter::most_addresses);
  for (std::uint32_t i = 0; i < most; ++i) EXPECT_TRUE(counter.admit(numbered(i), start));
  EXPECT_FALSE(counter.admit(numbered(most), start));
  EXPECT_EQ(counter.size(), RateCounter::most_addresses);
  EXPECT_TRUE(counter.admit(numbered(0), start)) << "those that are counted go on";
  EXPECT_TRUE(counter.admit(numbered(most), start + seconds(60)));
}

TEST(RateCounter, CanCountThisMachineToo) {
  RateCounter counter(1, RateUse::secrets);
  for (const char* const text : {"127.0.0.1", "::1"}) {
    const Address address = parse_ip_address(text).value();
    EXPECT_TRUE(counter.admit(address, start));
    EXPECT_FALSE(counter.admit(address, start));
  }
}

}  // namespace
}  // namespace pelto::collector
