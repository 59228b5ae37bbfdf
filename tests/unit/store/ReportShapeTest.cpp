#include "store/ReportShape.h"

#include <gtest/gtest.h>

#include <string>

namespace {

bool IsSound(const std::string& text) {
  CReportShape shape;
  shape.Feed(text);
  CReportShape inPieces;
  for (const char c : text) inPieces.Feed(std::string_view(&c, 1));
  EXPECT_EQ(shape.IsSound(), inPieces.IsSound()) << text;
  return shape.IsSound();
}

std::string Repeat(const std::string& text, int count) {
  std::string result;
  for (int i = 0; i < count; ++i) result += text;
  return result;
}

TEST(ReportShape, TakesWhatIsNoXmlAtAll) {
  EXPECT_TRUE(IsSound(""));
  EXPECT_TRUE(IsSound("PeltoRpt"));
  EXPECT_TRUE(IsSound("<"));
  EXPECT_TRUE(IsSound("<<<<>>>>"));
}

TEST(ReportShape, TakesAnyNumberOfElementsSideBySide) {
  EXPECT_TRUE(IsSound("<r>" + Repeat("<c id=\"1\" name='x' />", 10'000) + "</r>"));
  EXPECT_TRUE(IsSound("<r>" + Repeat("<c>text</c>", 10'000) + "</r>"));
}

TEST(ReportShape, RefusesElementsNestedTooDeep) {
  EXPECT_TRUE(IsSound(Repeat("<a>", 64)));
  EXPECT_FALSE(IsSound(Repeat("<a>", 65)));
  EXPECT_TRUE(IsSound(Repeat("<a>", 64) + Repeat("</a>", 64) + Repeat("<a>", 64)));
  EXPECT_FALSE(IsSound(Repeat("<a x='/'>", 65)));
  EXPECT_FALSE(IsSound(Repeat("<a x='/>'>", 65)));
  EXPECT_FALSE(IsSound(Repeat("<a x=\">\">", 65)));
  EXPECT_FALSE(IsSound(Repeat("<\xE4>", 65)));
  EXPECT_FALSE(IsSound(Repeat("<_>", 65)));
}

TEST(ReportShape, IsNotDeceivedByMarkupThatNestsNothing) {
  EXPECT_FALSE(IsSound(Repeat("<a><!-- </a> -->", 65)));
  EXPECT_FALSE(IsSound(Repeat("<a><!--></a>-->", 65)));
  EXPECT_FALSE(IsSound(Repeat("<a><![CDATA[</a>]]>", 65)));
  EXPECT_FALSE(IsSound(Repeat("<a><![x></a><a>", 65)));
  EXPECT_FALSE(IsSound(Repeat("<a x='</a>'>", 65)));
  EXPECT_TRUE(IsSound(Repeat("<!-- <a> -->", 100)));
  EXPECT_TRUE(IsSound(Repeat("<![CDATA[<a>]]]>", 100)));
  EXPECT_TRUE(IsSound(Repeat("<!a><?a><3a><>", 100)));
  EXPECT_TRUE(IsSound(Repeat("</a>", 100) + Repeat("<a>", 64)));
  EXPECT_FALSE(IsSound(Repeat("</a>", 100) + Repeat("<a>", 65)));
}

TEST(ReportShape, RefusesAnElementOfTooManyAttributes) {
  EXPECT_TRUE(IsSound("<a " + Repeat("x=1 ", 256) + ">"));
  EXPECT_FALSE(IsSound("<a " + Repeat("x=1 ", 257) + ">"));
  EXPECT_TRUE(IsSound(Repeat("<a " + Repeat("x=1 ", 256) + "/>", 3)));
  EXPECT_TRUE(IsSound("<a x='" + Repeat("=", 1000) + "'/>" + Repeat("=", 1000)));
}

TEST(ReportShape, BytesOfAnyKindAreSoundWithoutASignOfUtf8) {
  EXPECT_TRUE(IsSound("<a x='\xE4\xFF\x81'/>"));
  EXPECT_TRUE(IsSound("<a>\xE2</a>"));
}

TEST(ReportShape, WhatMayBeUtf8MustBeUtf8) {
  const std::string declaration = "<?xml version=\"1.0\"?>";
  const std::string mark = "\xEF\xBB\xBF";
  for (const std::string& sign :
       {declaration, mark, std::string("<?XmL ?>"), std::string("<?xml encoding='UTF-8'?>"),
        std::string("<?xml ENCODING=\"utf8x\"?>"), std::string("<?xml encoding=''?>"),
        std::string("<?xml encoding='x' encoding='Utf-8'?>")}) {
    for (const char* good : {"plain", "\xC3\xA4", "\xE2\x82\xAC", "\xE0\xA0\x80", "\xED\x9F\xBF",
                             "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF"}) {
      EXPECT_TRUE(IsSound(sign + "<a>" + good + "</a>")) << sign << good;
    }
    for (const char* bad :
         {"\xE4", "\x80", "\xC0\x80", "\xC1\xBF", "\xC3", "\xC3(", "\xE0\x9F\xBF", "\xED\xA0\x80",
          "\xF0\x8F\xBF\xBF", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xFF"}) {
      EXPECT_FALSE(IsSound(sign + "<a>" + bad + "</a>")) << sign << bad;
    }
  }
  EXPECT_FALSE(IsSound(mark + "<a>\xC3")) << "ends within a character";
  EXPECT_FALSE(IsSound("\xC3" + declaration)) << "broken before the sign";
  EXPECT_FALSE(IsSound("\xEF"));
}

TEST(ReportShape, WhatIsDeclaredToBeOfAnotherEncodingNeedNotBeUtf8) {
  for (const char* encoding : {"windows-1252", "ISO-8859-1", "us-ascii", "utf-16", "UTF"}) {
    EXPECT_TRUE(IsSound("<?xml version=\"1.0\" encoding=\"" + std::string(encoding) +
                        "\"?><a x='\xE9'>\xE4</a>"))
        << encoding;
  }
  EXPECT_FALSE(IsSound("\xEF\xBB\xBF<?xml encoding='windows-1252'?><a>\xE4</a>"));
}

TEST(ReportShape, TakesDeclarationsOfThePlainForm) {
  EXPECT_TRUE(IsSound("<?xml version=\"1.0\" encoding='windows-1252' standalone=\"yes\" ?><a/>"));
  EXPECT_TRUE(IsSound("<?xml\tversion='1.0'\r\n?><a/>"));
  EXPECT_TRUE(IsSound("<?xml?><a/>"));
  EXPECT_TRUE(IsSound("<?xml><a/>"));
}

TEST(ReportShape, RefusesDeclarationsOfAnyOtherForm) {
  for (const char* text :
       {" version=\">\"?", " version=\"a b\"?", " a\" version=\" ?", " version= \"1.0\"?",
        " version =\"1.0\"?", " version=1.0?", " version=\"<\"?", " a='x'encoding='y'?",
        "encoding='y'?", " a==\"x\"?", " a='x\"?", " a='&#85;'?", " a='x", " =\"x\"?", " junk?",
        " a-b='x'?", " a='x' ? ?"}) {
    EXPECT_FALSE(IsSound("<?xml" + std::string(text) + "><a/>")) << text;
  }
  EXPECT_FALSE(IsSound("<?xml a='" + std::string(300, 'x') + "'?>"));
}

TEST(ReportShape, TakesCharacterReferencesThatAreWhole) {
  EXPECT_TRUE(IsSound("<a x='&#65;&#x4aF;&#;&#x;&amp;&unknown;& &&#65;' y=\"&\">&#1;&</a>"));
  EXPECT_TRUE(IsSound("<!-- &#x --><![CDATA[&#]]><a x=&#>&</a>"));
}

TEST(ReportShape, RefusesCharacterReferencesThatAreBroken) {
  for (const char* text : {"&#X41;", "&#6a;", "&#x4g;", "&#65 ;", "&#x", "&&#y"}) {
    EXPECT_FALSE(IsSound("<a x='" + std::string(text) + "'/>")) << text;
    EXPECT_FALSE(IsSound("<a>" + std::string(text) + "</a>")) << text;
  }
  EXPECT_FALSE(IsSound(Repeat("<a x='&#x'><!-- ;x1;' -->", 2)));
}

TEST(ReportShape, LooksNoFurtherThanANulByte) {
  EXPECT_TRUE(IsSound(std::string("<a>\0", 4) + Repeat("<a>", 100)));
}

}  // namespace
