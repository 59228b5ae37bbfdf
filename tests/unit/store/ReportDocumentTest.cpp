#include "store/ReportDocument.h"

#include <gtest/gtest.h>
#include <tinyxml.h>

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

TEST(ReportDocument, NameAndVersionOfTheApplicationStandAlone) {
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
  for (const wchar_t* name : {L" ", L"  two  blanks ", L"&#x41;", L"&#65;", L"&amp;", L"a\r\nb",
                              L"]]>", L"<!-- -->", L"'", L"\""}) {
    written.Use(name);
  }
  written.Use(all.c_str());
  Report loaded;
  ASSERT_TRUE(loaded.Load(written.Text()));
  ASSERT_EQ(loaded.commands.GetEntries().size(), written.commands.GetEntries().size());
  for (const auto& [name, stat] : written.commands.GetEntries()) {
    ASSERT_TRUE(loaded.commands.GetEntries().contains(name)) << testing::PrintToString(name);
    EXPECT_EQ(loaded.commands.GetEntries().at(name).order, stat.order);
  }
  EXPECT_EQ(loaded.Text(), written.Text());
}

TEST(ReportDocument, NumbersAreUnsigned) {
  Report report;
  CommandStat stat{18446744073709551615U, {UsageEventKind::Command, L"Line", {}}, 4294967295U};
  report.commands.Merge(stat);
  report.fileTypes.Merge({18446744073709551615U, 9223372036854775808U, L".x"});
  const std::string text = report.Text();
  EXPECT_NE(text.find("<cmd id=\"4294967295\" name=\"Line\" count=\"18446744073709551615\" />"),
            std::string::npos)
      << text;
  EXPECT_NE(text.find("ocnt=\"18446744073709551615\" scnt=\"9223372036854775808\""),
            std::string::npos)
      << text;
}

std::string WithCommands(const std::string& content) {
  return "<PeltoRpt><cmd_stat><cmds>" + content + "</cmds></cmd_stat></PeltoRpt>";
}

TEST(ReportDocument, LoadsCommandsWithNameIdAndCount) {
  Report report;
  ASSERT_TRUE(
      report.Load(WithCommands("<cmd id='7' name='Line' count='3' />"
                               "<cmd count='4' name='Arc' id='2'>text</cmd>")));
  EXPECT_EQ(report.commands.GetEntries().at(L"Line").order, 7U);
  EXPECT_EQ(report.commands.GetEntries().at(L"Line").count, 3U);
  EXPECT_EQ(report.commands.GetEntries().at(L"Line").event.kind, UsageEventKind::Command);
  EXPECT_EQ(report.commands.GetEntries().at(L"Arc").order, 2U);
  EXPECT_EQ(report.commands.GetLastOrder(), 7U);
}

TEST(ReportDocument, SkipsCommandsThatLackAnAttribute) {
  Report report;
  ASSERT_TRUE(
      report.Load(WithCommands("<cmd id='1' count='3' /><cmd name='A' count='3' />"
                               "<cmd id='1' name='B' /><cmd /><other id='1' name='C' "
                               "count='1' /><cmd id='9' name='D' count='1' />")));
  ASSERT_EQ(report.commands.GetEntries().size(), 1U);
  EXPECT_TRUE(report.commands.GetEntries().contains(L"D"));
}

TEST(ReportDocument, OfTwoCommandsOfOneNameTheFirstIsKept) {
  Report report;
  ASSERT_TRUE(
      report.Load(WithCommands("<cmd id='1' name='A' count='3' />"
                               "<cmd id='5' name='A' count='10' />")));
  EXPECT_EQ(report.commands.GetEntries().at(L"A").count, 3U);
  EXPECT_EQ(report.commands.GetLastOrder(), 1U);
}

TEST(ReportDocument, ReadsNumbersAsTheCRunTimeDoes) {
  Report report;
  ASSERT_TRUE(
      report.Load(WithCommands("<cmd id='x' name='A' count='many' />"
                               "<cmd id='3000000000' name='B' count='' />"
                               "<cmd id='-1' name='C' count='-5' />"
                               "<cmd id=' 12a' name='D' count='99999999999999999999' />")));
  EXPECT_EQ(report.commands.GetEntries().at(L"A").order, 0U);
  EXPECT_EQ(report.commands.GetEntries().at(L"A").count, 0U);
  EXPECT_EQ(report.commands.GetEntries().at(L"B").order, 2147483647U);
  EXPECT_EQ(report.commands.GetEntries().at(L"C").order, 4294967295U);
  EXPECT_EQ(report.commands.GetEntries().at(L"C").count, 18446744073709551611U);
  EXPECT_EQ(report.commands.GetEntries().at(L"D").order, 12U);
  EXPECT_EQ(report.commands.GetEntries().at(L"D").count, 9223372036854775807U);
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
  ASSERT_EQ(report.commands.GetEntries().size(), 2U);
  EXPECT_EQ(report.commands.GetEntries().at(L"Tool").count, 10U);
  EXPECT_EQ(report.commands.GetEntries().at(L"Tool").order, 0U);
  EXPECT_EQ(report.commands.GetEntries().at(L"Line").count, 1U);

  report.Use(L"Tool");
  const std::string text = report.Text();
  EXPECT_NE(text.find("<cmd id=\"5\" name=\"Tool\" count=\"11\" />"), std::string::npos) << text;
  EXPECT_EQ(text.find("run_tool"), std::string::npos);
  EXPECT_EQ(text.find("cmd_chain"), std::string::npos);
}

TEST(ReportDocument, AReportWithoutACommandChainLeavesTheTextAlone) {
  Report report;
  report.commandChain = L"before";
  ASSERT_TRUE(report.Load("<PeltoRpt><cmd_stat><cmd_chain></cmd_chain></cmd_stat></PeltoRpt>"));
  EXPECT_EQ(report.commandChain, L"before");
}

TEST(ReportDocument, LoadsFileTypesAndAddsThemUp) {
  Report report;
  ASSERT_TRUE(
      report.Load("<PeltoRpt><ftype_stat><ftypes>"
                  "<ftype name='.a' ocnt='1' scnt='2' /><ftype name='.a' ocnt='10' />"
                  "<ftype name='.b' scnt='x' /><ftype ocnt='7' scnt='7' />"
                  "<ftype name='' ocnt='3' /></ftypes></ftype_stat></PeltoRpt>"));
  ASSERT_EQ(report.fileTypes.GetEntries().size(), 3U);
  EXPECT_EQ(report.fileTypes.GetEntries().at(L".a").ocnt, 11U);
  EXPECT_EQ(report.fileTypes.GetEntries().at(L".a").scnt, 2U);
  EXPECT_EQ(report.fileTypes.GetEntries().at(L".b").scnt, 0U);
  EXPECT_EQ(report.fileTypes.GetEntries().at(L"").ocnt, 3U);
}

TEST(ReportDocument, AMissingCountOfAFileTypeIsZero) {
  Report report;
  ASSERT_TRUE(
      report.Load("<PeltoRpt><ftype_stat><ftypes><ftype name='.o' ocnt='3' /><ftype name='.s' "
                  "scnt='4' /><ftype name='.n' /></ftypes></ftype_stat></PeltoRpt>"));
  const auto& types = report.fileTypes.GetEntries();
  EXPECT_EQ(types.at(L".o").ocnt, 3U);
  EXPECT_EQ(types.at(L".o").scnt, 0U);
  EXPECT_EQ(types.at(L".s").ocnt, 0U);
  EXPECT_EQ(types.at(L".s").scnt, 4U);
  EXPECT_EQ(types.at(L".n").ocnt, 0U);
  EXPECT_EQ(types.at(L".n").scnt, 0U);
}

TEST(ReportDocument, LoadingTwiceDoublesFileTypesAndLeavesCommands) {
  Report report;
  report.Use(L"Line");
  report.fileTypes.Merge({1, 2, L".a"});
  const std::string text = report.Text();
  Report twice;
  ASSERT_TRUE(twice.Load(text));
  ASSERT_TRUE(twice.Load(text));
  EXPECT_EQ(twice.commands.GetEntries().at(L"Line").count, 1U);
  EXPECT_EQ(twice.fileTypes.GetEntries().at(L".a").ocnt, 2U);
  EXPECT_EQ(twice.fileTypes.GetEntries().at(L".a").scnt, 4U);
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

TEST(ReportDocument, AnotherRootIsNoReport) {
  Report report;
  EXPECT_FALSE(
      report.Load("<Other><cmd_stat><cmds><cmd id='1' name='A' count='1' /></cmds>"
                  "</cmd_stat></Other>"));
  EXPECT_FALSE(report.Load("<peltorpt />"));
  EXPECT_TRUE(report.commands.GetEntries().empty());
}

TEST(ReportDocument, AReportWithoutSectionsIsLoaded) {
  Report report;
  EXPECT_TRUE(report.Load("<PeltoRpt />"));
  EXPECT_TRUE(
      report.Load("<PeltoRpt><cmd_stat /><ftype_stat /><counter /><sys_info /></PeltoRpt>"));
  EXPECT_TRUE(report.commands.GetEntries().empty());
}

}  // namespace
