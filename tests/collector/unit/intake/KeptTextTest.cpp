#include "collector/intake/KeptText.h"

#include <gtest/gtest.h>
#include <tinyxml.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace pelto::collector {

namespace {

/// What is kept of the document `text`, without its lines and their indents.
std::string keep(const std::string& text, const std::vector<std::string_view>& secrets = {},
                 int code_page = 1252) {
  TiXmlDocument document;
  document.Parse(text.c_str());
  EXPECT_FALSE(document.Error()) << text;
  std::istringstream kept(text_to_keep(document, TextDecoder(code_page), secrets));
  std::string all;
  for (std::string line; std::getline(kept, line);) {
    all += line.substr(std::min(line.find_first_not_of(' '), line.size()));
  }
  return all;
}

TEST(KeptText, IsLaidOutAsTheSenderDoesItAndInUtf8) {
  TiXmlDocument document;
  document.Parse("<a><b c='\xE4'/><!-- d --><e>f</e></a>");
  EXPECT_EQ(text_to_keep(document, TextDecoder(1252), {}),
            "<a>\n    <b c=\"\u00E4\" />\n    <!-- d -->\n    <e>f</e>\n</a>\n");
}

TEST(KeptText, HasNoValueOfAPropertyThatIdentifiesSomebody) {
  EXPECT_EQ(keep("<r><prop name='ID'>a</prop><x><prop cat='y' name='Email'>b<c>d</c></prop></x>"
                 "<prop name='MACAddress' cat='Adapter'><![CDATA[e]]></prop></r>"),
            "<r><prop name=\"ID\" /><x><prop cat=\"y\" name=\"Email\" /></x>"
            "<prop name=\"MACAddress\" cat=\"Adapter\" /></r>");
  EXPECT_EQ(keep("<prop name='id'>a</prop><r><prop name='EMAIL'>a</prop></r>"),
            "<prop name=\"id\" /><r><prop name=\"EMAIL\" /></r>");
  EXPECT_EQ(keep("<r><prop name='Name'>a</prop><other name='ID'>b</other><prop>c</prop></r>"),
            "<r><prop name=\"Name\">a</prop><other name=\"ID\">b</other><prop>c</prop></r>");
}

TEST(KeptText, HasNoFileTypeThatMayHoldAPath) {
  EXPECT_EQ(keep("<r><ftype name='.dwg'/><ftype name='.last/README' ocnt='1'/>"
                 "<x><ftype name='a\\b'/></x><ftype/></r>"),
            "<r><ftype name=\".dwg\" /><ftype name=\"(other)\" ocnt=\"1\" />"
            "<x><ftype name=\"(other)\" /></x><ftype /></r>");
}

// The second byte of this character is that of a backslash.
TEST(KeptText, AFileTypeIsJudgedAsText) {
  const std::string text = "<ftype name='.\x95\x5C'/>";
  EXPECT_EQ(keep(text, {}, 932), "<ftype name=\".表\" />");
  EXPECT_EQ(keep(text, {}, 1252), "<ftype name=\"(other)\" />");
}

TEST(KeptText, HasNoSecretAnywhere) {
  EXPECT_EQ(keep("<r a='x the-id y' the-id='1'><!-- THE-ID --><the-id/>the-idthe-id"
                 "<![CDATA[<The-Id>]]><!the-id></r>",
                 {"the-id"}),
            "<r a=\"x * y\" *=\"1\"><!-- * --><* />**<![CDATA[<*>]]><!*></r>");
  EXPECT_EQ(keep("<r>me@x.de 02:FC:00 id</r>", {"id", "ME@x.de", "02:fc:00"}), "<r>* * *</r>");
}

TEST(KeptText, ASecretIsFoundAsItIsAndWithReferences) {
  EXPECT_EQ(keep("<r a='x&lt;&amp;&apos;y'>X&lt;&amp;'Y<!--x<&'y--></r>", {"x<&'y"}),
            "<r a=\"*\">*<!--*--></r>");
  EXPECT_EQ(keep("<r a='x&#x01;y'/>", {"x\x01y"}), "<r a=\"*\" />");
}

TEST(KeptText, ASecretIsFoundInItsCodePage) {
  EXPECT_EQ(keep("<r a='\xFC@x \xDC@X \xFA@x'/>", {"\xFC@x"}), "<r a=\"* * \u00FA@x\" />");
  EXPECT_EQ(keep("<r a='\x95\x5C@x'/>", {"\x95\x5C@x"}, 932), "<r a=\"*\" />");
}

TEST(KeptText, AnEmptySecretIsNone) {
  EXPECT_EQ(keep("<r>a</r>", {"", ""}), "<r>a</r>");
}

TEST(KeptText, ASecretThatIsAPartOfTheMarkupGoesAllTheSame) {
  EXPECT_EQ(keep("<r><cmd id='1'/></r>", {"cmd"}), "<r><* id=\"1\" /></r>");
}

// The secrets are usually the texts of elements that are taken out.
TEST(KeptText, ASecretMayBeATextOfTheDocument) {
  TiXmlDocument document;
  document.Parse("<r><prop name='ID'>some-identifier</prop><x>some-identifier</x></r>");
  const char* const secret = document.FirstChildElement()->FirstChildElement()->GetText();
  ASSERT_NE(secret, nullptr);
  EXPECT_EQ(text_to_keep(document, TextDecoder(1252), {secret}).find("some"), std::string::npos);
}

TEST(KeptText, HasNoDeclaration) {
  EXPECT_EQ(keep("<?xml version='1.0' encoding='windows-1252'?><r>\xE4</r>"), "<r>\u00E4</r>");
}

TEST(KeptText, AnAdaptersAddressIsKnownInAnyLetterCase) {
  EXPECT_TRUE(is_adapter_address("MACAddress"));
  EXPECT_TRUE(is_adapter_address("macaddress"));
  EXPECT_FALSE(is_adapter_address("MAC"));
}

}  // namespace

}  // namespace pelto::collector
