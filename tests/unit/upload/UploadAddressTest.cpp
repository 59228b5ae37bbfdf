#include "upload/UploadAddress.h"

#include <gtest/gtest.h>

namespace {

TEST(SplitAddress, SplitsIntoProtocolHostPortAndPath) {
  const struct {
    const wchar_t* address;
    UploadAddress parts;
  } cases[] = {
      // No scheme.
      {L"host.example/in.php?a=b", {L"http", L"host.example", 80, L"/in.php?a=b"}},
      {L"host:8080/in", {L"http", L"host", 8080, L"/in"}},
      {L"host:8080", {L"http", L"host", 8080, L""}},
      {L"h?a=b", {L"http", L"h?a=b", 80, L""}},
      {L"user:pw@h/a", {L"http", L"user", 0, L"/a"}},
      // The scheme decides on the port, case-sensitively.
      {L"http://host/in", {L"http", L"host", 80, L"/in"}},
      {L"https://host/in", {L"https", L"host", 443, L"/in"}},
      {L"HTTPS://host/in", {L"HTTPS", L"host", 80, L"/in"}},
      {L"ftp://host/in", {L"ftp", L"host", 80, L"/in"}},
      // Unless there is one.
      {L"https://host:8443/in", {L"https", L"host", 8443, L"/in"}},
      {L"http://host:443/in", {L"http", L"host", 443, L"/in"}},
      {L"h:/x", {L"h", L"", 80, L""}},
      {L"http://h:/x", {L"http", L"h", 0, L"/x"}},
      {L"http://h:80x/", {L"http", L"h", 80, L"/"}},
      {L"http://h:-1/", {L"http", L"h", -1, L"/"}},
      {L"http://h: 81/", {L"http", L"h", 81, L"/"}},
      {L"http://h:1:2/", {L"http", L"h", 1, L"/"}},
      {L"http://h:4294967739/", {L"http", L"h", 2147483647, L"/"}},
      {L"http://h:-4294967739/", {L"http", L"h", -2147483647 - 1, L"/"}},
      // The path.
      {L"http://h/a/b?c=http://d:1/e#f", {L"http", L"h", 80, L"/a/b?c=http://d:1/e#f"}},
      {L"http://h", {L"http", L"h", 80, L""}},
      {L"http://h/", {L"http", L"h", 80, L"/"}},
      // The first colon decides on the scheme; the host begins three characters after it.
      {L"h/a:/b", {L"h/a", L"", 80, L""}},
      // Fragments.
      {L"", {L"http", L"", 80, L""}},
      {L":", {L"http", L"", 0, L""}},
      {L":/", {L"", L"", 80, L""}},
      {L"http:/", {L"http", L"", 80, L""}},
      {L"http://", {L"http", L"", 80, L""}},
      {L"/", {L"http", L"", 80, L"/"}},
  };
  for (const auto& [address, parts] : cases) {
    EXPECT_EQ(SplitAddress(address), parts) << testing::PrintToString(address);
  }
}

TEST(SplitAddress, PortIsReadFrom256Characters) {
  EXPECT_EQ(SplitAddress(L"http://h:" + std::wstring(255, L'0') + L"12/")->port, 1);
}

TEST(SplitAddress, TooLongPartsAreRefused) {
  const std::wstring longest(511, L'x');
  EXPECT_TRUE(SplitAddress(longest + L"://h/"));
  EXPECT_FALSE(SplitAddress(longest + L"x://h/"));
  EXPECT_TRUE(SplitAddress(L"http://" + longest + L"/"));
  EXPECT_FALSE(SplitAddress(L"http://" + longest + L"x/"));
  EXPECT_TRUE(SplitAddress(L"http://h/" + std::wstring(1022, L'x')));
  EXPECT_FALSE(SplitAddress(L"http://h/" + std::wstring(1023, L'x')));
}

}  // namespace
