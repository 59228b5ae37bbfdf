#include "store/ReportDocument.h"

#include <gtest/gtest.h>
#include <tinyxml.h>

#include "tests/support/StatsText.h"

namespace {

/// All that a report is made of and loaded into.
struct Report {
  CommandStats commands;
  FileTypeStats fileTypes;
  SystemProperties properties;
  ReportFacts facts;
  std::wstring commandChain;

  /// The document as the parser's printer lays it out, four spaces a level.
  std::string Text() const {
    TiXmlDocument document;
    BuildReport(document, commands, fileTypes, properties, facts);
    TiXmlPrinter printer;
    document.Accept(&printer);
    return printer.CStr();
  }

  bool Load(const std::string& text) {
    TiXmlDocument document;
    document.Parse(text.c_str());
    return !document.Error() &&
           MergeReport(document, commands, fileTypes, properties, commandChain);
  }

  std::wstring Commands() const { return FormatCommands(commands); }
  std::wstring FileTypes() const { return FormatFileTypes(fileTypes); }

  void Use(const wchar_t* command) { commands.Count({UsageEventKind::Command, command, {}}); }
};

TEST(ReportDocument, OfNothingHasItsSectionsAndTheIdentifier) {
  Report report;
  report.facts.installationIdentifier = L"the-id";
  EXPECT_EQ(report.Text(),
            "<PeltoRpt>\n"
            "    <cmd_stat>\n"
            "        <cmds />\n"
            "    </cmd_stat>\n"
            "    <ftype_stat>\n"
            "        <ftypes />\n"
            "    </ftype_stat>\n"
            "    <sys_info>\n"
            "        <prop name=\"ID\">the-id</prop>\n"
            "    </sys_info>\n"
            "    <app_info />\n"
            "</PeltoRpt>\n");
}

TEST(ReportDocument, HoldsEverythingInItsOrder) {
  Report report;
  report.Use(L"Line");
  report.Use(L"Arc");
  report.Use(L"Line");
  report.fileTypes.Merge({3, 4, L".dwg"});
  report.fileTypes.Merge({1, 0, L""});
  report.properties[{L"Name", L"Processor"}] = L"A 1";
  report.properties[{L"Caption", L"OS"}] = L"Windows";
  report.facts = {L"Designer", L"1.2.3.4", L"the-id", L"me@example.com"};
  EXPECT_EQ(report.Text(),
            "<PeltoRpt>\n"
            "    <cmd_stat>\n"
            "        <cmds>\n"
            "            <cmd id=\"2\" name=\"Arc\" count=\"1\" />\n"
            "            <cmd id=\"1\" name=\"Line\" count=\"2\" />\n"
            "        </cmds>\n"
            "    </cmd_stat>\n"
            "    <ftype_stat>\n"
            "        <ftypes>\n"
            "            <ftype name=\"\" ocnt=\"1\" scnt=\"0\" />\n"
            "            <ftype name=\".dwg\" ocnt=\"3\" scnt=\"4\" />\n"
            "        </ftypes>\n"
            "    </ftype_stat>\n"
            "    <sys_info>\n"
            "        <prop name=\"Caption\" cat=\"OS\">Windows</prop>\n"
            "        <prop name=\"Name\" cat=\"Processor\">A 1</prop>\n"
            "        <prop name=\"ID\">the-id</prop>\n"
            "    </sys_info>\n"
            "    <app_info>\n"
            "        <prop name=\"app_name\">Designer</prop>\n"
            "        <prop name=\"app_ver\">1.2.3.4</prop>\n"
            "    </app_info>\n"
            "    <cust_info>\n"
            "        <prop name=\"Email\">me@example.com</prop>\n"
            "    </cust_info>\n"
            "</PeltoRpt>\n");
}

TEST(ReportDocument, AnApplicationMayHaveOnlyANameOrAVersion) {
  Report named;
  named.facts.applicationName = L"Designer";
  EXPECT_NE(named.Text().find("    <app_info>\n"
                              "        <prop name=\"app_name\">Designer</prop>\n"
                              "    </app_info>\n"),
            std::string::npos);
  Report versioned;
  versioned.facts.applicationVersion = L"1.0.0.0";
  EXPECT_NE(versioned.Text().find("    <app_info>\n"
                                  "        <prop name=\"app_ver\">1.0.0.0</prop>\n"
                                  "    </app_info>\n"),
            std::string::npos);
}

// A value that holds a quotation mark is quoted by apostrophes.
TEST(ReportDocument, EscapesMarkupAndControlCharacters) {
  Report report;
  report.Use(L"<a & \"b\" 'c'>");
  report.Use(L"\x01\t\r\n\x1F");
  report.Use(L"&#x41;");
  report.facts.email = L"a\nb&c@d.e";
  const std::string text = report.Text();
  EXPECT_NE(text.find("name='&lt;a &amp; &quot;b&quot; &apos;c&apos;&gt;'"), std::string::npos)
      << text;
  EXPECT_NE(text.find("name=\"&#x01;&#x09;&#x0D;&#x0A;&#x1F;\""), std::string::npos) << text;
  EXPECT_NE(text.find("name=\"&amp;#x41;\""), std::string::npos) << text;
  EXPECT_NE(text.find(">a&#x0A;b&amp;c@d.e</prop>"), std::string::npos) << text;
}

TEST(ReportDocument, IsInTheCodePage) {
  Report report;
  report.Use(L"\u00C4nderung \u20AC \u0081");
  report.Use(L"\u65E5");
  const std::string text = report.Text();
  EXPECT_NE(text.find("name=\"\xC4nderung \x80 \x81\""), std::string::npos) << text;
  EXPECT_NE(text.find("name=\"?\""), std::string::npos) << text;
}

TEST(ReportDocument, EveryNameComesBackAsItWas) {
  Report written;
  std::wstring all;
  for (wchar_t c = 1; c < 0x80; ++c) all += c;
  all += L"\u00E4\u20AC\u0178\u0081";
  for (const wchar_t* name : {L" ", L"  two  spaces ", L"&#x41;", L"&#65;", L"&amp;", L"a\r\nb",
                              L"]]>", L"<!-- -->", L"'", L"\""}) {
    written.Use(name);
  }
  written.Use(all.c_str());
  Report loaded;
  ASSERT_TRUE(loaded.Load(written.Text()));
  EXPECT_EQ(loaded.Commands(), written.Commands());
}

TEST(ReportDocument, NumbersAreUnsigned) {
  Report report;
  report.commands.Merge(
      {18446744073709551615U, {UsageEventKind::Command, L"Line", {}}, 4294967295U});
  report.fileTypes.Merge({18446744073709551615U, 9223372036854775808U, L".x"});
  const std::string text = report.Text();
  for (const char* part : {"<cmd id=\"4294967295\" name=\"Line\" count=\"18446744073709551615\" />",
                           "ocnt=\"18446744073709551615\" scnt=\"9223372036854775808\""}) {
    EXPECT_NE(text.find(part), std::string::npos) << text;
  }
}

std::string WithCommands(const std::string& content) {
  return "<PeltoRpt><cmd_stat><cmds>" + content + "</cmds></cmd_stat></PeltoRpt>";
}

TEST(ReportDocument, LoadsCommandsThatHaveNameIdAndCount) {
  Report report;
  ASSERT_TRUE(report.Load(WithCommands(
      "<cmd id='7' name='Line' count='3' /><cmd count='4' name='Arc' id='2'>text</cmd>"
      "<cmd id='1' count='3' /><cmd name='A' count='3' /><cmd id='1' name='B' /><cmd />"
      "<other id='1' name='C' count='1' /><cmd id='9' name='D' count='1' />"
      "<cmd id='20' name='D' count='10' />")));
  EXPECT_EQ(report.Commands(), L"Arc 2 4;D 9 1;Line 7 3;");
  EXPECT_EQ(report.commands.GetLastOrder(), 9U);
}

TEST(ReportDocument, ReadsNumbersAsTheCRunTimeDoes) {
  Report report;
  ASSERT_TRUE(
      report.Load(WithCommands("<cmd id='x' name='A' count='many' />"
                               "<cmd id='3000000000' name='B' count='' />"
                               "<cmd id='-1' name='C' count='-5' />"
                               "<cmd id=' 12a' name='D' count='99999999999999999999' />")));
  EXPECT_EQ(report.Commands(),
            L"A 0 0;B 2147483647 0;C 4294967295 18446744073709551611;D 12 9223372036854775807;");
}

TEST(ReportDocument, LoadsTheOlderFormsRunToolsAsCommandsWithoutAPlace) {
  Report report;
  ASSERT_TRUE(
      report.Load("<PeltoRpt><cmd_stat><cmds><cmd id='4' name='Line' count='1' /></cmds>"
                  "<cmd_chain>Line;Arc</cmd_chain></cmd_stat><counter><run_tools>"
                  "<run_tool name='Tool' count='10' id='3' /><run_tool name='None' />"
                  "<run_tool count='5' /><run_tool name='Line' count='50' />"
                  "</run_tools></counter></PeltoRpt>"));
  EXPECT_EQ(report.commandChain, L"Line;Arc");
  EXPECT_EQ(report.Commands(), L"Line 4 1;Tool 0 10;");

  report.Use(L"Tool");
  EXPECT_EQ(report.Commands(), L"Line 4 1;Tool 5 11;");
  const std::string text = report.Text();
  EXPECT_EQ(text.find("run_tool"), std::string::npos);
  EXPECT_EQ(text.find("cmd_chain"), std::string::npos);
}

TEST(ReportDocument, AReportWithoutACommandChainLeavesTheTextAlone) {
  Report report;
  report.commandChain = L"before";
  ASSERT_TRUE(report.Load("<PeltoRpt><cmd_stat><cmd_chain></cmd_chain></cmd_stat></PeltoRpt>"));
  EXPECT_EQ(report.commandChain, L"before");
}

TEST(ReportDocument, LoadsFileTypesWithMissingCountsAsZeroAndAddsThemUp) {
  Report report;
  ASSERT_TRUE(report.Load(
      "<PeltoRpt><ftype_stat><ftypes>"
      "<ftype name='.a' ocnt='1' scnt='2' /><ftype name='.a' ocnt='10' />"
      "<ftype name='.b' scnt='x' /><ftype ocnt='7' scnt='7' /><ftype name='' ocnt='3' />"
      "<ftype name='.s' scnt='4' /><ftype name='.n' />"
      "</ftypes></ftype_stat></PeltoRpt>"));
  EXPECT_EQ(report.FileTypes(), L" 3 0;.a 11 2;.b 0 0;.n 0 0;.s 0 4;");
}

TEST(ReportDocument, LoadingTwiceDoublesFileTypesAndLeavesCommands) {
  Report report;
  report.Use(L"Line");
  report.fileTypes.Merge({1, 2, L".a"});
  Report twice;
  ASSERT_TRUE(twice.Load(report.Text()));
  ASSERT_TRUE(twice.Load(report.Text()));
  EXPECT_EQ(twice.Commands(), L"Line 1 1;");
  EXPECT_EQ(twice.FileTypes(), L".a 2 4;");
}

TEST(ReportDocument, LoadsPropertiesThatHaveNameCategoryAndText) {
  Report report;
  report.properties[{L"Name", L"OS"}] = L"replaced";
  report.properties[{L"Kept", L"OS"}] = L"kept";
  ASSERT_TRUE(
      report.Load("<PeltoRpt><sys_info><prop name='Name' cat='OS'>Windows</prop>"
                  "<prop name='ID'>no category</prop><prop cat='OS'>no name</prop>"
                  "<prop name='Empty' cat='OS'></prop></sys_info></PeltoRpt>"));
  ASSERT_EQ(report.properties.size(), 2U);
  EXPECT_EQ((report.properties.at({L"Name", L"OS"})), L"Windows");
  EXPECT_EQ((report.properties.at({L"Kept", L"OS"})), L"kept");
}

TEST(ReportDocument, NeedsItsRootButNoSection) {
  Report report;
  EXPECT_FALSE(
      report.Load("<Other><cmd_stat><cmds><cmd id='1' name='A' count='1' /></cmds>"
                  "</cmd_stat></Other>"));
  EXPECT_FALSE(report.Load("<peltorpt />"));
  EXPECT_TRUE(report.Load("<PeltoRpt />"));
  EXPECT_TRUE(
      report.Load("<PeltoRpt><cmd_stat /><ftype_stat /><counter /><sys_info /></PeltoRpt>"));
  EXPECT_EQ(report.Commands(), L"");
}

}  // namespace
