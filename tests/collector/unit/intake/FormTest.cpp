#include "collector/intake/Form.h"

#include <gtest/gtest.h>

#include <string>
#include <variant>
#include <vector>

namespace pelto::collector {

namespace {

constexpr char type[] = "multipart/form-data; boundary=b";

/// "[name=value]" of each part, or the refusal's code.
std::string read(const std::string& body, const std::string& content_type = type) {
  const auto result = read_form(content_type, body);
  if (const Refusal* const refusal = std::get_if<Refusal>(&result)) {
    return std::string(code_of(*refusal));
  }
  std::string out;
  for (const FormField& field : std::get<std::vector<FormField>>(result)) {
    out += "[" + field.name + "=" + std::string(field.value) + "]";
  }
  return out;
}

std::string part(const std::string& name, const std::string& value) {
  return "--b\r\nContent-Disposition: form-data; name=\"" + name + "\"\r\n\r\n" + value + "\r\n";
}

/// The form with one part that has these header lines.
std::string read_part(const std::string& headers) {
  return read("--b\r\n" + headers + "\r\nvalue\r\n--b--\r\n");
}

TEST(Form, HasItsPartsInTheirOrder) {
  EXPECT_EQ(read(part("a", "1") + part("b", "") + part("a", "x\r\ny") + "--b--\r\n"),
            "[a=1][b=][a=x\r\ny]");
}

TEST(Form, MayHaveNoPart) {
  EXPECT_EQ(read("--b--\r\n"), "");
  EXPECT_EQ(read("--b--"), "");
}

TEST(Form, BoundaryMayBeQuotedAndNamesMayHaveAnyCase) {
  const std::string body = part("a", "1") + "--b--";
  EXPECT_EQ(read(body, "multipart/form-data; boundary=\"b\""), "[a=1]");
  EXPECT_EQ(read(body, "Multipart/Form-Data; charset=x; BOUNDARY=b"), "[a=1]");
}

TEST(Form, IsOfItsMediaTypeWithABoundary) {
  const std::string body = part("a", "1") + "--b--";
  for (const char* other :
       {"", "multipart/form-data", "multipart/mixed; boundary=b", "multipart/form-data; boundary=",
        "multipart/form-data; boundary=\"\"", "multipart/form-data boundary=b",
        "application/x-www-form-urlencoded", "multipart/form-data; boundary=b; boundary=b",
        "multipart/form-data; boundary=B", "multipart/form-data; boundary=\"b"}) {
    EXPECT_EQ(read(body, other), "not-multipart") << other;
  }
}

// RFC 2046, 5.1.1.
TEST(Form, BoundaryHasUpTo70OfTheAllowedCharacters) {
  const auto read_with = [](const std::string& boundary) {
    return read("--" + boundary + "--", "multipart/form-data; boundary=\"" + boundary + "\"");
  };
  EXPECT_EQ(read_with(std::string(70, 'x')), "");
  EXPECT_EQ(read_with(std::string(71, 'x')), "not-multipart");
  EXPECT_EQ(read_with("AZaz09'()+_,-./:=? x"), "");
  EXPECT_EQ(read_with("x "), "not-multipart");
  for (const char* other : {"x*", "x@", "\xC3\xA4", "x\r\nx", "x;", "x#"}) {
    EXPECT_EQ(read_with(other), "not-multipart") << other;
  }
}

TEST(Form, WhatIsBeforeTheFirstDelimiterAndAfterTheLastIsIgnored) {
  EXPECT_EQ(read("before\r\n" + part("a", "1") + "--b--\r\nafter\r\n--b\r\n"), "[a=1]");
  EXPECT_EQ(read("\r\n" + part("a", "1") + "--b--"), "[a=1]");
  EXPECT_EQ(read("x" + part("a", "1") + part("c", "2") + "--b--"), "[c=2]");
}

TEST(Form, DelimiterMayBeFollowedByWhitespace) {
  EXPECT_EQ(read("--b \t\r\nContent-Disposition: form-data; name=a\r\n\r\n1\r\n--b-- \t\r\nx"),
            "[a=1]");
  EXPECT_EQ(read(part("a", "1") + "--b-- \t"), "[a=1]");
}

TEST(Form, ALineThatOnlyBeginsAsADelimiterIsData) {
  EXPECT_EQ(read(part("a", "1\r\n--bc\r\n--b -\r\n--b--c\r\n --b") + "--b--"),
            "[a=1\r\n--bc\r\n--b -\r\n--b--c\r\n --b]");
}

TEST(Form, LinesEndWithBoth) {
  EXPECT_EQ(read("--b\nContent-Disposition: form-data; name=a\n\n1\n--b--\n"), "not-multipart");
  EXPECT_EQ(read(part("a", "1\n--b--") + "--b--"), "[a=1\n--b--]");
}

TEST(Form, NeedsItsLastDelimiter) {
  const std::string body = part("a", "1") + "--b--";
  EXPECT_EQ(read(body), "[a=1]");
  for (std::size_t length = 0; length < body.size(); ++length) {
    EXPECT_EQ(read(body.substr(0, length)), "not-multipart") << length;
  }
}

TEST(Form, TheEmptyLineOfAPartMayBelongToTheNextDelimiter) {
  EXPECT_EQ(read("--b\r\nContent-Disposition: form-data; name=a\r\n\r\n--b--\r\n"), "[a=]");
}

TEST(Form, HeaderNamesMayHaveAnyCaseAndOtherHeadersAreIgnored) {
  EXPECT_EQ(read_part("Content-disposition: form-data; name=\"a\"\r\n"), "[a=value]");
  EXPECT_EQ(read_part("X: y\r\nCONTENT-DISPOSITION:form-data;name=a\r\n"
                      "Content-Transfer-Encoding: base64\r\n"),
            "[a=value]");
}

TEST(Form, NameMayBeQuotedOrNot) {
  EXPECT_EQ(read_part("Content-Disposition: form-data; name=a\r\n"), "[a=value]");
  EXPECT_EQ(read_part("Content-Disposition: form-data; name=\"a\\\"b\"\r\n"), "[a\"b=value]");
  EXPECT_EQ(read_part("Content-Disposition: form-data; filename=\"x;y\"; name=\"\"\r\n"),
            "[=value]");
}

TEST(Form, AHeaderMayGoOnInTheNextLine) {
  EXPECT_EQ(read_part("Content-Disposition: form-data;\r\n name=a\r\n"), "[a=value]");
  EXPECT_EQ(read_part("X: y\r\n\tContent-Disposition: z\r\n"
                      "Content-Disposition: form-data;\r\n\tx=y;\r\n name=a\r\n"),
            "[a=value]");
}

TEST(Form, EachPartIsAFieldWithAName) {
  for (const char* headers :
       {"", "X: y\r\n", "Content-Disposition: form-data\r\n",
        "Content-Disposition: file; name=a\r\n", "Content-Disposition: form-data; filename=a\r\n",
        "Content-Disposition\r\n", "Content-Disposition: form-data; name=\"a\r\n", "no header\r\n",
        "Content-Disposition : form-data; name=a\r\n",
        "Content-Disposition: form-data; name=a\r\nContent-Disposition: form-data; name=b\r\n",
        " Content-Disposition: form-data; name=a\r\n"}) {
    EXPECT_EQ(read_part(headers), "not-multipart") << headers;
  }
}

TEST(Form, APartsHeadersHaveEightKibibytesAtMost) {
  const std::string disposition = "Content-Disposition: form-data; name=a\r\n";
  const auto read_with = [&disposition](std::size_t length) {
    const std::string start = "X: ";
    // The empty line's line end is none of the headers'.
    return read_part(disposition + start +
                     std::string(length - disposition.size() - start.size(), 'x') + "\r\n");
  };
  EXPECT_EQ(read_with(8192), "[a=value]");
  EXPECT_EQ(read_with(8193), "not-multipart");
}

TEST(Form, HasHundredPartsAtMost) {
  std::string body;
  std::string expected;
  for (int i = 0; i < 100; ++i) {
    body += part("a", "1");
    expected += "[a=1]";
  }
  EXPECT_EQ(read(body + "--b--"), expected);
  EXPECT_EQ(read(body + part("a", "1") + "--b--"), "not-multipart");
}

}  // namespace

}  // namespace pelto::collector
