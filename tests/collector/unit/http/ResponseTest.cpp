#include "collector/http/Response.h"

#include <gtest/gtest.h>

namespace pelto::collector {
namespace {

ResponseForm form_at(std::string_view time) {
  ResponseForm form;
  form.now = parse_time(time).value();
  return form;
}

TEST(Response, IsWrittenByteForByte) {
  EXPECT_EQ(format_response({}, form_at("1994-11-06T08:49:37Z")),
            "HTTP/1.1 200 OK\r\n"
            "Date: Sun, 06 Nov 1994 08:49:37 GMT\r\n"
            "Content-Type: text/plain\r\n"
            "Content-Length: 2\r\n"
            "Connection: keep-alive\r\n"
            "\r\n"
            "OK");
}

TEST(Response, OfAHeadRequestHasTheLengthButNoBody) {
  Response response = refusal_response(Refusal::method);
  response.fields = "Allow: POST\r\n";
  ResponseForm form = form_at("2024-02-29T23:59:59Z");
  form.keeps_alive = false;
  form.has_body = false;
  EXPECT_EQ(format_response(response, form),
            "HTTP/1.1 405 Method Not Allowed\r\n"
            "Date: Thu, 29 Feb 2024 23:59:59 GMT\r\n"
            "Content-Type: text/plain\r\n"
            "Content-Length: 15\r\n"
            "Connection: close\r\n"
            "Allow: POST\r\n"
            "\r\n");
}

TEST(Response, OfARefusalNamesTheCodeInOneLine) {
  struct Case {
    Refusal refusal;
    int status;
    std::string body;
  };
  const Case cases[] = {
      {Refusal::not_multipart, 400, "refused: not-multipart"},
      {Refusal::no_id, 400, "refused: no-id"},
      {Refusal::bad_id, 400, "refused: bad-id"},
      {Refusal::no_report, 400, "refused: no-report"},
      {Refusal::empty_report, 400, "refused: empty-report"},
      {Refusal::bad_base64, 400, "refused: bad-base64"},
      {Refusal::truncated, 400, "refused: truncated"},
      {Refusal::not_a_report, 400, "refused: not-a-report"},
      {Refusal::no_installation, 400, "refused: no-installation"},
      {Refusal::unknown_product, 404, "refused: unknown-product"},
      {Refusal::method, 405, "refused: method"},
      {Refusal::timeout, 408, "refused: timeout"},
      {Refusal::length, 411, "refused: length"},
      {Refusal::too_large, 413, "refused: too-large"},
      {Refusal::busy, 503, "refused: busy"},
  };
  for (const Case& c : cases) {
    const Response response = refusal_response(c.refusal);
    EXPECT_EQ(response.status, c.status) << c.body;
    EXPECT_EQ(response.body, c.body);
    EXPECT_EQ("refused: " + std::string(response.code), c.body);
    EXPECT_EQ(response.refusal, c.refusal);
    // Each status has a reason phrase.
    const std::string bytes = format_response(response, form_at("2024-01-01T00:00:00Z"));
    EXPECT_NE(bytes.substr(0, bytes.find('\r')), "HTTP/1.1 " + std::to_string(c.status) + " ");
  }
}

TEST(Response, OfTooManyDeliveriesIsBusyWithAStatusOfItsOwn) {
  const Response response = rate_response();
  EXPECT_EQ(response.status, 429);
  EXPECT_EQ(response.body, "refused: busy");
  EXPECT_EQ(response.refusal, Refusal::busy);
  EXPECT_TRUE(format_response(response, {}).starts_with("HTTP/1.1 429 Too Many Requests\r\n"));
}

/// Gives nothing.
class NoSource : public BodySource {
 public:
  std::optional<std::string> next() override { return std::nullopt; }
};

TEST(Response, WithoutContentHasNoLengthAndNoType) {
  Response response;
  response.status = 204;
  response.fields = "X: y\r\n";
  EXPECT_EQ(format_response(response, form_at("2024-01-01T00:00:00Z")),
            "HTTP/1.1 204 No Content\r\nDate: Mon, 01 Jan 2024 00:00:00 GMT\r\n"
            "Connection: keep-alive\r\nX: y\r\n\r\n");
}

TEST(Response, OfASourceHasChunksInPlaceOfALength) {
  Response response;
  response.source = std::make_shared<NoSource>();
  ResponseForm form = form_at("2024-01-01T00:00:00Z");
  EXPECT_EQ(format_response(response, form),
            "HTTP/1.1 200 OK\r\nDate: Mon, 01 Jan 2024 00:00:00 GMT\r\n"
            "Content-Type: text/plain\r\nTransfer-Encoding: chunked\r\n"
            "Connection: keep-alive\r\n\r\n");
  form.knows_chunks = false;
  form.keeps_alive = false;
  EXPECT_EQ(format_response(response, form),
            "HTTP/1.1 200 OK\r\nDate: Mon, 01 Jan 2024 00:00:00 GMT\r\n"
            "Content-Type: text/plain\r\nConnection: close\r\n\r\n");
}

TEST(Response, AChunkHasItsSizeInHexadecimal) {
  EXPECT_EQ(format_chunk("abc"), "3\r\nabc\r\n");
  EXPECT_EQ(format_chunk(std::string(65536, 'x')), "10000\r\n" + std::string(65536, 'x') + "\r\n");
}

TEST(Response, EachStatusHasAReason) {
  for (const int status :
       {200, 201, 204, 400, 401, 403, 404, 405, 408, 409, 411, 413, 422, 429, 503}) {
    EXPECT_NE(reason_of(status), "") << status;
  }
}

}  // namespace
}  // namespace pelto::collector
