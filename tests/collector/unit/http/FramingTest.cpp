#include "collector/http/Framing.h"

#include <gtest/gtest.h>

namespace pelto::collector {
namespace {

constexpr bool http_1_1 = true;
constexpr bool http_1_0 = false;

TEST(Framing, OneLengthInDigitsIsTaken) {
  for (const auto& [text, length] : {std::pair<std::string_view, std::uint64_t>{"0", 0},
                                     {"1877", 1877},
                                     {"0010", 10},
                                     {"18446744073709551615", 18446744073709551615U}}) {
    for (const bool version : {http_1_0, http_1_1}) {
      const Framing framing = find_framing({text}, {}, version);
      EXPECT_FALSE(framing.is_broken) << text;
      EXPECT_EQ(framing.length, length) << text;
      EXPECT_FALSE(framing.is_chunked) << text;
    }
  }
}

TEST(Framing, AnyOtherLengthIsBroken) {
  for (const std::string_view text :
       {"", " ", "-1", "+1", "0x10", "1.0", "1e3", "5,5", "5, 5", "5 5", "5;", "abc", "1 ", " 1",
        "18446744073709551616", "99999999999999999999999"}) {
    EXPECT_TRUE(find_framing({text}, {}, http_1_1).is_broken) << text;
  }
}

TEST(Framing, TwoLengthsAreBrokenEvenIfEqual) {
  EXPECT_TRUE(find_framing({"5", "6"}, {}, http_1_1).is_broken);
  EXPECT_TRUE(find_framing({"5", "5"}, {}, http_1_1).is_broken);
}

TEST(Framing, ChunkedIsTakenInAnyCase) {
  for (const std::string_view text : {"chunked", "Chunked", "CHUNKED"}) {
    const Framing framing = find_framing({}, {text}, http_1_1);
    EXPECT_TRUE(framing.is_chunked) << text;
    EXPECT_FALSE(framing.is_broken) << text;
    EXPECT_FALSE(framing.length) << text;
  }
}

TEST(Framing, AnyOtherEncodingIsBroken) {
  for (const std::string_view text :
       {"", "gzip", "identity", "gzip, chunked", "chunked, gzip", "chunked, chunked", "chunked,",
        "chunked;q=1", "xchunked", "chunkedx", "\"chunked\"", "chunked "}) {
    EXPECT_TRUE(find_framing({}, {text}, http_1_1).is_broken) << text;
  }
  EXPECT_TRUE(find_framing({}, {"chunked", "chunked"}, http_1_1).is_broken);
  EXPECT_TRUE(find_framing({}, {"gzip", "chunked"}, http_1_1).is_broken);
}

TEST(Framing, ChunksAreBrokenInTheOldVersion) {
  EXPECT_TRUE(find_framing({}, {"chunked"}, http_1_0).is_broken);
}

TEST(Framing, LengthAndEncodingTogetherAreBroken) {
  EXPECT_TRUE(find_framing({"5"}, {"chunked"}, http_1_1).is_broken);
  EXPECT_TRUE(find_framing({"0"}, {"chunked"}, http_1_1).is_broken);
  EXPECT_TRUE(find_framing({"5"}, {"identity"}, http_1_1).is_broken);
}

TEST(Framing, NeitherIsNoBody) {
  const Framing framing = find_framing({}, {}, http_1_1);
  EXPECT_EQ(framing, Framing{});
  EXPECT_FALSE(framing.has_body());
  EXPECT_FALSE(find_framing({"0"}, {}, http_1_1).has_body());
  EXPECT_TRUE(find_framing({"1"}, {}, http_1_1).has_body());
  EXPECT_TRUE(find_framing({}, {"chunked"}, http_1_1).has_body());
}

TEST(Framing, AFoldedLineBeginsWithWhitespace) {
  EXPECT_TRUE(has_folded_line("A: b\r\n c\r\n"));
  EXPECT_TRUE(has_folded_line("A: b\r\n\tc\r\n"));
  EXPECT_TRUE(has_folded_line("A:\r\n b\r\n"));
  EXPECT_FALSE(has_folded_line("A: b\r\nC: d \t\r\n\r\n"));
  EXPECT_FALSE(has_folded_line(""));
}

}  // namespace
}  // namespace pelto::collector
