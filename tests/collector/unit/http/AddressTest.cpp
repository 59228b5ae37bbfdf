#include "collector/http/Address.h"

#include <gtest/gtest.h>

namespace pelto::collector {
namespace {

Address address(std::string_view text) {
  const auto parsed = parse_ip_address(text);
  EXPECT_TRUE(parsed) << text;
  return parsed.value_or(Address{});
}

TEST(Address, IsReadInBothFamilies) {
  EXPECT_EQ(address("192.0.2.1"), address("::ffff:192.0.2.1"));
  EXPECT_EQ(address("2001:db8::1"), address("2001:0DB8:0:0:0:0:0:1"));
  EXPECT_NE(address("::1"), address("127.0.0.1"));
}

TEST(Address, AnythingElseIsNone) {
  for (const std::string_view text :
       {"", " ", "192.0.2", "192.0.2.256", "192.0.2.1 ", " 192.0.2.1", "[::1]", "::1%lo",
        "192.0.2.1:80", "unknown", "1", ":", "2001:db8::1::2"}) {
    EXPECT_FALSE(parse_ip_address(text)) << text;
  }
  EXPECT_FALSE(parse_ip_address(std::string_view("::1\0", 4)));
}

TEST(Address, LoopbackIsAWholeNetworkInOneFamilyAndOneAddressInTheOther) {
  for (const std::string_view text : {"127.0.0.1", "127.255.255.254", "::1", "::ffff:127.0.0.1"}) {
    EXPECT_TRUE(is_loopback(address(text))) << text;
  }
  for (const std::string_view text : {"126.255.255.255", "128.0.0.1", "::", "::2", "::127.0.0.1",
                                      "10.0.0.1", "::ffff:10.0.0.127", "1::1"}) {
    EXPECT_FALSE(is_loopback(address(text))) << text;
  }
}

TEST(Address, APortIsTakenOff) {
  const std::pair<std::string_view, std::string_view> cases[] = {
      {"192.0.2.1", "192.0.2.1"},
      {"192.0.2.1:80", "192.0.2.1"},
      {"localhost:65535", "localhost"},
      {"2001:db8::1", "2001:db8::1"},
      {"[::1]", "::1"},
      {"[2001:db8::1]:0", "2001:db8::1"},
      {"::", "::"},
      {"", ""},
      {":80", ""},
  };
  for (const auto& [text, host] : cases) EXPECT_EQ(without_port(text), host) << text;
  for (const std::string_view text :
       {"192.0.2.1:", "192.0.2.1:x", "192.0.2.1:80x", "192.0.2.1:65536", "192.0.2.1:-1", "[::1",
        "[::1]:", "[::1]x", "[::1]80", "[::1]:8 "}) {
    EXPECT_EQ(without_port(text), std::nullopt) << text;
  }
}

TEST(Address, RatesAreCountedByNetworkInTheNewFamilyOnly) {
  EXPECT_EQ(rate_key(address("2001:db8::1")), rate_key(address("2001:db8:0:ff:ffff::1")));
  EXPECT_NE(rate_key(address("2001:db8::1")), rate_key(address("2001:db8:0:100::1")));
  EXPECT_NE(rate_key(address("192.0.2.1")), rate_key(address("192.0.2.2")));
}

struct ClientCase {
  std::string_view peer;
  std::vector<std::string_view> forwarded_for;
  std::string_view client;
};

TEST(ClientAddress, ComesFromTheFieldOfATrustedProxyOnly) {
  const std::vector<Address> trusted{address("127.0.0.1"), address("192.0.2.10")};
  const ClientCase cases[] = {
      {"198.51.100.7", {}, "198.51.100.7"},
      {"198.51.100.7", {"203.0.113.1"}, "198.51.100.7"},
      {"127.0.0.1", {}, "127.0.0.1"},
      {"127.0.0.1", {"203.0.113.1"}, "203.0.113.1"},
      {"127.0.0.1", {" 203.0.113.1\t"}, "203.0.113.1"},
      {"127.0.0.1", {"2001:db8::5"}, "2001:db8::5"},
      {"127.0.0.1", {"203.0.113.1:4711"}, "203.0.113.1"},
      {"127.0.0.1", {"[2001:db8::5]:4711"}, "2001:db8::5"},
      {"127.0.0.1", {"[2001:db8::5]"}, "2001:db8::5"},
      {"127.0.0.1", {"203.0.113.1:1, 192.0.2.10:2"}, "203.0.113.1"},
      {"127.0.0.1", {"203.0.113.1:x"}, "127.0.0.1"},
      {"127.0.0.1", {"[2001:db8::5"}, "127.0.0.1"},
      {"127.0.0.1", {"203.0.113.1, 203.0.113.2"}, "203.0.113.2"},
      {"127.0.0.1", {"203.0.113.1,203.0.113.2,192.0.2.10"}, "203.0.113.2"},
      {"127.0.0.1", {"203.0.113.1", "192.0.2.10, 127.0.0.1"}, "203.0.113.1"},
      {"127.0.0.1", {"203.0.113.1", "203.0.113.2"}, "203.0.113.2"},
      {"127.0.0.1", {"192.0.2.10, 127.0.0.1"}, "127.0.0.1"},
      {"127.0.0.1", {""}, "127.0.0.1"},
      {"127.0.0.1", {"unknown"}, "127.0.0.1"},
      {"127.0.0.1", {"203.0.113.1, unknown"}, "127.0.0.1"},
      {"127.0.0.1", {"unknown, 203.0.113.1"}, "203.0.113.1"},
      {"127.0.0.1", {"203.0.113.1,"}, "127.0.0.1"},
      {"127.0.0.1", {"203.0.113.1", ""}, "127.0.0.1"},
      {"192.0.2.10", {"127.0.0.1"}, "192.0.2.10"},
  };
  for (const ClientCase& c : cases) {
    EXPECT_EQ(client_address(address(c.peer), c.forwarded_for, trusted), address(c.client))
        << c.peer << " " << testing::PrintToString(c.forwarded_for);
  }
}

TEST(ClientAddress, WithoutTrustedProxiesIsThePeer) {
  EXPECT_EQ(client_address(address("127.0.0.1"), {"203.0.113.1"}, {}), address("127.0.0.1"));
}

}  // namespace
}  // namespace pelto::collector
