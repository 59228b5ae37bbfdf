#include "store/ReportShape.h"

#include <gtest/gtest.h>

#include <string>

namespace {

constexpr char ByteOrderMark[] = "\xEF\xBB\xBF";

std::string Repeat(const std::string& text, int count) {
  std::string result;
  for (int i = 0; i < count; ++i) result += text;
  return result;
}

TEST(ReportShape, TakesWhatIsNotXml) {
  for (const char* text :
       {"",     "PeltoRpt", "<",        "<<<<>>>>", "</a>",          "<a",
        "<a x", "<a x=",    "<a x='",   "<a x=y",   "<a /",          "&",
        "<a>&", "<a>&#",    "<a>&#x",   "<?xml",    "<?xml version", "<?xml version='",
        "<!",   "<!--",     "<![CDATA["}) {
    EXPECT_TRUE(IsSafeToParse(text)) << text;
  }
}

TEST(ReportShape, RefusesElementsNestedDeeperThanTheLimit) {
  for (const char* level :
       {"<a>", "<_>", "<\xE4>", "<a x='/'>", "<a x='/>'>", "<a x=\">\">", "<a x=y>", "<a x = '1'>b",
        "<a><b/>", "<a><b x=y />",
        // Markup and references that hide an end tag from the parser.
        "<a><!-- </a> -->", "<a><!--></a>-->", "<a><![CDATA[</a>]]>", "<a><![CDATA[></a>]]>",
        "<a><!x></a><a>", "<a><?x></a><a>", "<a><?xml version='</a>'?>", "<a><?xml x='></a><a>",
        "<a x='</a>'>", "<a>&#x</a>x41;", "<a>&#x</a> and so on x41;", "<a x='&#x\'></a>x41;'>"}) {
    EXPECT_TRUE(IsSafeToParse(Repeat(level, DepthLimit))) << level;
    EXPECT_FALSE(IsSafeToParse(Repeat(level, DepthLimit + 1))) << level;
  }
  const std::string deepest = Repeat("<a>", DepthLimit);
  EXPECT_TRUE(IsSafeToParse(deepest + Repeat("</a>", DepthLimit) + deepest));
  EXPECT_FALSE(IsSafeToParse(Repeat("</a>", 100) + deepest + "<a>")) << "there is no level to end";
}

// The parser skips whitespace after "<", and in UTF-8 these bytes are whitespace.
TEST(ReportShape, FollowsATagThatBeginsWithAMark) {
  const std::string start = ByteOrderMark;
  for (const std::string mark : {"\xEF\xBB\xBF", "\xEF\xBF\xBE", "\xEF\xBF\xBF", "\xEF\xBB\xBF "}) {
    const std::string level = "<" + mark + "a>";
    EXPECT_TRUE(IsSafeToParse(start + Repeat(level, DepthLimit))) << mark;
    EXPECT_FALSE(IsSafeToParse(start + Repeat(level, DepthLimit + 1))) << mark;
    EXPECT_TRUE(IsSafeToParse(start + "<" + mark + "a" + Repeat(" x=''", AttributeLimit) + ">"));
    EXPECT_FALSE(
        IsSafeToParse(start + "<" + mark + "a" + Repeat(" x=''", AttributeLimit + 1) + ">"));
    EXPECT_FALSE(IsSafeToParse(start + level + "text\xE4")) << mark;
    EXPECT_TRUE(IsSafeToParse(start + level + "<b/></a>")) << mark;
    EXPECT_TRUE(IsSafeToParse(start + "<" + mark)) << mark;
    EXPECT_TRUE(IsSafeToParse(start + "<" + mark + "1>" + Repeat("<a>", DepthLimit + 1))) << mark;
  }
}

TEST(ReportShape, TakesAnyNumberOfElementsSideBySide) {
  for (const char* text : {"<c id=\"1\" name='x' />", "<c>text</c>", "<c>&#60;c></c>",
                           "<!-- <a> -->", "<![CDATA[<a>]]]>", "<!a><?a><3a><>", "</a>"}) {
    EXPECT_TRUE(IsSafeToParse(Repeat(text, 10'000))) << text;
    EXPECT_TRUE(IsSafeToParse("<r>" + Repeat(text, text[1] == '/' ? 1 : 10'000))) << text;
  }
}

TEST(ReportShape, TakesWhatFollowsATextOutsideOfAllElements) {
  EXPECT_TRUE(IsSafeToParse("<r/>text" + Repeat("<a>", 100)));
  EXPECT_TRUE(IsSafeToParse(std::string("<a>\0", 4) + Repeat("<a>", 100)));
}

TEST(ReportShape, RefusesAnElementOfMoreAttributesThanTheLimit) {
  for (const char* attribute : {" x=1", " x='1'", "x=\"=\"", " x = '>' "}) {
    const std::string most = "<a " + Repeat(attribute, AttributeLimit);
    EXPECT_TRUE(IsSafeToParse(Repeat(most + " />", 3))) << attribute;
    EXPECT_FALSE(IsSafeToParse(most + attribute + " />")) << attribute;
  }
  EXPECT_TRUE(IsSafeToParse("<a x='" + Repeat("=", 1000) + "'/><a>" + Repeat(" x='1'", 1000)));
}

/// What the text begins with, and whether the parser takes it for UTF-8 then.
const struct {
  std::string start;
  bool isUtf8;
} Starts[] = {
    {"", false},
    {ByteOrderMark, true},
    {"\xEF\xBB", false},
    {"<?xml?>", true},
    {"<?xml>", true},
    {"<?xml version=\"1.0\"?>", true},
    {"\r\n<!-- first --><?XmL Version='1.0' ENCODING='Utf8x' ?>", true},
    {"<?xml version = \"1.0\" encoding\n=\t'utf-8' ?>", true},
    {"<?xml encoding=utf-8?>", true},
    {"<?xml encoding=''?>", true},
    {"<?xml encoding='&#0;x'?>", true},
    {"<?xml encoding='&#85;t&#x046;&#x2D;&#56;'?>", true},
    {"<?xml encoding='&#x7x55;TF-8'?>", true},
    {"<?xml encoding='&#x9x0;x'?>", true},
    {"<?xml encoding='&#1#0;x'?>", true},
    {"<?xml encoding='&UTF-8'?>", true},
    {"<?xml encoding='x' encoding='UTF-8'?>", true},
    {"<?xml version='>' junk a-b='x' encoding='UTF-8'?>", true},
    {"<?xml version='encoding=\"x\"'?>", true},
    {"<?xml encoding='windows-1252'?>", false},
    {"<?xml version = '1.0' encoding = 'ISO-8859-1' standalone = 'yes' ?>", false},
    {"<?xml encodingOfThis='us-ascii'?>", false},
    {"<?xml encoding='utf-16'?>", false},
    {"<?xml encoding='UTF'?>", false},
    {"<?xml encoding='&#38;UTF-8'?>", false},
    {"<?xml version='1.0'encoding='x'?>", false},
    {"<?xml encoding='x'?><?xml encoding='UTF-8'?>", false},
    {"<?xml encoding='x' version='encoding=UTF-8'?>", false},
    {"<!-- <?xml?> -->", false},
    {"<a><?xml?></a>", false},
    {"<?xml-stylesheet encoding='x'?>", false},
    {std::string(ByteOrderMark) + "<?xml encoding='windows-1252'?>", true},
};

TEST(ReportShape, RefusesAUtf8CharacterThatTheEndCuts) {
  for (const auto& [start, isUtf8] : Starts) {
    SCOPED_TRACE(start);
    for (const char* cut :
         {"\xC3", "\xE0\xA0", "\xE2", "\xEF\xBB", "\xF0\x9F\x98", "\xF4\x8F", "\xF4"}) {
      for (const char* before : {"<a>", "<a>text", "<a x='", "<a><b x=\"1\" y=\""}) {
        EXPECT_EQ(IsSafeToParse(start + before + cut), !isUtf8) << before << cut;
        EXPECT_EQ(IsSafeToParse(start + before + cut + std::string("\0more", 5)), !isUtf8)
            << before << cut;
      }
      for (const char* before : {"<a", "<", "<!--", "<![CDATA[", "<!", "<a x=", "</a"}) {
        EXPECT_TRUE(IsSafeToParse(start + before + cut)) << before << cut;
      }
    }
  }
}

TEST(ReportShape, TakesUtf8CharactersThatAreWholeOrBrokenBeforeTheEnd) {
  for (const auto& [start, isUtf8] : Starts) {
    for (const char* text : {"\xC3\xA4", "\xE2\x82\xAC", "\xF0\x9F\x98\x80", "\x80", "\xC0", "\xC1",
                             "\xF5", "\xFF", "\xE4</a>", "\xC3(", "\xE2\x82("}) {
      EXPECT_TRUE(IsSafeToParse(start + "<a>" + text)) << start << text;
      EXPECT_TRUE(IsSafeToParse(start + "<a x='" + text)) << start << text;
    }
  }
}

TEST(ReportShape, CountsLevelsAsTheParserSeesThemInUtf8) {
  for (const auto& [start, isUtf8] : Starts) {
    // The character takes the bytes that follow it, markup or not, and CR LF is one byte.
    for (const char* level :
         {"<a>\xC3</a>", "<a>\xE2\r\n</a>", "<a>\xE2\r</a>", "<a>\xF0-\r\n</a>"}) {
      EXPECT_EQ(IsSafeToParse(start + Repeat(level, DepthLimit + 1)), !isUtf8) << start << level;
    }
    // These are whitespace to the parser.
    for (const char* space : {ByteOrderMark, "\xEF\xBF\xBE", "\xEF\xBF\xBF"}) {
      const std::string level =
          std::string("<a x ") + space + "=" + space + "'</a>' " + space + ">";
      EXPECT_EQ(IsSafeToParse(start + Repeat(level, DepthLimit + 1)), !isUtf8) << start << level;
    }
  }
}

}  // namespace
