#include "collector/fleet/SenderRequest.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace pelto::collector {
namespace {

TEST(SenderRequest, IsWhatASenderSendsToTheByte) {
  const CollectorAddress address =
      parse_collector_address("http://127.0.0.1:32957/collect?product=7");
  EXPECT_EQ(format_request(address, "f702f125-e8ff-40f3-8c7a-65a2cc9357f8", "<a/>\n"),
            "POST /collect?product=7 HTTP/1.1\r\n"
            "Accept: */*\r\n"
            "Host: 127.0.0.1:32957\r\n"
            "Content-Length: 209\r\n"
            "User-Agent: CrashRpt\r\n"
            "Cache-Control: no-cache\r\n"
            "Content-type: multipart/form-data; boundary=AaB03x5fs1045fcc7\r\n"
            "\r\n"
            "--AaB03x5fs1045fcc7\r\n"
            "Content-disposition: form-data; name=\"Id\"\r\n"
            "\r\n"
            "f702f125-e8ff-40f3-8c7a-65a2cc9357f8\r\n"
            "--AaB03x5fs1045fcc7\r\n"
            "Content-disposition: form-data; name=\"peltorpt\"\r\n"
            "\r\n"
            // The last byte is there twice.
            "PGEvPgoK\r\n"
            "--AaB03x5fs1045fcc7--\r\n");
}

TEST(CollectorAddress, HasPort80AndTheRootWithoutOthers) {
  const CollectorAddress address = parse_collector_address("http://localhost");
  EXPECT_EQ(address.host, "localhost");
  EXPECT_EQ(address.port, "80");
  EXPECT_EQ(address.path, "/");
}

TEST(CollectorAddress, MustHaveTheFormOfAnHttpAddress) {
  for (const char* const text : {"", "localhost:80/", "https://localhost/", "http://",
                                 "http://:80/", "http://a:/", "http://a:b/"}) {
    EXPECT_THROW(parse_collector_address(text), std::invalid_argument) << text;
  }
}

}  // namespace
}  // namespace pelto::collector
