#include "upload/UploadAddress.h"

#include <gtest/gtest.h>

namespace {

using Address = std::optional<UploadAddress>;

TEST(SplitAddress, WithoutASchemeIsHttp) {
  EXPECT_EQ(SplitAddress(L"host.example/in.php?a=b"),
            (Address{{L"http", L"host.example", 80, L"/in.php?a=b"}}));
}

TEST(SplitAddress, TakesThePortFromTheScheme) {
  EXPECT_EQ(SplitAddress(L"http://host/in"), (Address{{L"http", L"host", 80, L"/in"}}));
  EXPECT_EQ(SplitAddress(L"https://host/in"), (Address{{L"https", L"host", 443, L"/in"}}));
  EXPECT_EQ(SplitAddress(L"HTTPS://host/in"), (Address{{L"HTTPS", L"host", 80, L"/in"}}));
  EXPECT_EQ(SplitAddress(L"ftp://host/in"), (Address{{L"ftp", L"host", 80, L"/in"}}));
}

TEST(SplitAddress, TakesThePortThatStandsThere) {
  EXPECT_EQ(SplitAddress(L"https://host:8443/in"), (Address{{L"https", L"host", 8443, L"/in"}}));
  EXPECT_EQ(SplitAddress(L"http://host:443/in"), (Address{{L"http", L"host", 443, L"/in"}}));
  EXPECT_EQ(SplitAddress(L"host:8080/in"), (Address{{L"http", L"host", 8080, L"/in"}}));
  EXPECT_EQ(SplitAddress(L"host:8080"), (Address{{L"http", L"host", 8080, L""}}));
}

TEST(SplitAddress, ReadsThePortAsANumberAtItsStart) {
  EXPECT_EQ(SplitAddress(L"h:/x")->port, 80) << "that is a scheme";
  EXPECT_EQ(SplitAddress(L"http://h:/x")->port, 0);
  EXPECT_EQ(SplitAddress(L"http://h:80x/")->port, 80);
  EXPECT_EQ(SplitAddress(L"http://h:-1/")->port, -1);
  EXPECT_EQ(SplitAddress(L"http://h: 81/")->port, 81);
  EXPECT_EQ(SplitAddress(L"http://h:1:2/")->port, 1);
  EXPECT_EQ(SplitAddress(L"http://h:4294967739/")->port, 2147483647) << "443 beyond 32 bits";
  EXPECT_EQ(SplitAddress(L"http://h:" + std::wstring(255, L'0') + L"12/")->port, 1)
      << "256 characters are read";
}

TEST(SplitAddress, ThePathEndsWithTheAddress) {
  EXPECT_EQ(SplitAddress(L"http://h/a/b?c=http://d:1/e#f")->path, L"/a/b?c=http://d:1/e#f");
  EXPECT_EQ(SplitAddress(L"http://h")->path, L"");
  EXPECT_EQ(SplitAddress(L"http://h/")->path, L"/");
  EXPECT_EQ(SplitAddress(L"h?a=b"), (Address{{L"http", L"h?a=b", 80, L""}}));
}

TEST(SplitAddress, TheFirstColonDecidesOnTheScheme) {
  EXPECT_EQ(SplitAddress(L"h/a:/b"), (Address{{L"h/a", L"", 80, L""}}))
      << "the host begins three characters behind it";
  EXPECT_EQ(SplitAddress(L"user:pw@h/a"), (Address{{L"http", L"user", 0, L"/a"}}));
}

TEST(SplitAddress, OfFragmentsGivesEmptyParts) {
  EXPECT_EQ(SplitAddress(L""), (Address{{L"http", L"", 80, L""}}));
  EXPECT_EQ(SplitAddress(L":"), (Address{{L"http", L"", 0, L""}}));
  EXPECT_EQ(SplitAddress(L":/"), (Address{{L"", L"", 80, L""}}));
  EXPECT_EQ(SplitAddress(L"http:/"), (Address{{L"http", L"", 80, L""}}));
  EXPECT_EQ(SplitAddress(L"http://"), (Address{{L"http", L"", 80, L""}}));
  EXPECT_EQ(SplitAddress(L"/"), (Address{{L"http", L"", 80, L"/"}}));
}

TEST(SplitAddress, RefusesPartsThatAreTooLong) {
  const std::wstring longest(511, L'x');
  EXPECT_TRUE(SplitAddress(longest + L"://h/"));
  EXPECT_FALSE(SplitAddress(longest + L"x://h/"));
  EXPECT_TRUE(SplitAddress(L"http://" + longest + L"/"));
  EXPECT_FALSE(SplitAddress(L"http://" + longest + L"x/"));
  EXPECT_TRUE(SplitAddress(L"http://h/" + std::wstring(1022, L'x')));
  EXPECT_FALSE(SplitAddress(L"http://h/" + std::wstring(1023, L'x')));
}

}  // namespace
