#include "collector/intake/ReportReader.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "tests/collector/unit/intake/FormText.h"

namespace pelto::collector {

namespace {

std::string code(const std::string& bytes) {
  const auto result = read_report(bytes, {});
  const Refusal* const refusal = std::get_if<Refusal>(&result);
  return refusal == nullptr ? "OK" : std::string(code_of(*refusal));
}

/// A report that must be one.
Report read(const std::string& bytes, const IntakeOptions& options = {}) {
  auto result = read_report(bytes, options);
  const Refusal* const refusal = std::get_if<Refusal>(&result);
  EXPECT_EQ(refusal, nullptr) << code_of(*refusal) << ": " << bytes.substr(0, 500);
  return refusal == nullptr ? std::get<Report>(std::move(result)) : Report();
}

/// "name order uses;" of each command.
std::string commands_of(const std::string& commands) {
  std::string out;
  for (const CommandCount& command : read(report_text(commands_text(commands))).commands) {
    out += command.name + " " + std::to_string(command.order) + " " + std::to_string(command.uses) +
           ";";
  }
  return out;
}

std::string file_types_of(const std::string& file_types) {
  std::string out;
  for (const FileTypeCount& type : read(report_text(file_types_text(file_types))).file_types) {
    out += type.name + " " + std::to_string(type.opened) + " " + std::to_string(type.saved) + ";";
  }
  return out;
}

std::string machine_of(const std::string& properties) {
  std::string out;
  for (const MachineValue& property : read(report_text("", properties)).machine) {
    out += property.category + "/" + property.name + "=" + property.value + ";";
  }
  return out;
}

std::string name_of_command(const std::string& bytes, const std::string& properties = "",
                            int code_page = 1252) {
  IntakeOptions options;
  options.code_page = code_page;
  const Report report =
      read(report_text(commands_text("<cmd id='1' name=\"" + bytes + "\" count='1'/>"), properties),
           options);
  return report.commands.size() == 1 ? report.commands.front().name : "(none)";
}

TEST(ReportReader, NeedsTheRootThatTheSenderFinds) {
  EXPECT_EQ(code("<PeltoRpt>"), "not-a-report");
  EXPECT_EQ(code("text"), "not-a-report");
  EXPECT_EQ(code(""), "not-a-report");
  EXPECT_EQ(code("  \n "), "not-a-report");
  EXPECT_EQ(code("<peltorpt />"), "not-a-report");
  EXPECT_EQ(code("<Other>" + report_text("") + "</Other>"), "not-a-report");
  EXPECT_EQ(code(std::string(1, '\0') + report_text("")), "not-a-report");
  // The sender's parser takes a text that goes on, too.
  EXPECT_EQ(code("<Other />" + report_text("")), "OK");
  EXPECT_EQ(code(report_text("") + "text"), "OK");
  EXPECT_EQ(code(report_text("") + std::string("\0<", 2)), "OK");
}

TEST(ReportReader, WhatBreaksOffIsNoReport) {
  const std::string whole = report_text(commands_text("<cmd id='1' name='A' count='1' />"));
  ASSERT_EQ(code(whole), "OK");
  for (std::size_t length = 0; length < whole.size(); ++length) {
    EXPECT_EQ(code(whole.substr(0, length)), "not-a-report") << length;
  }
}

TEST(ReportReader, NeedsAnInstallation) {
  const auto with = [](const std::string& properties) {
    return code("<PeltoRpt><sys_info>" + properties + "</sys_info></PeltoRpt>");
  };
  EXPECT_EQ(with("<prop name='ID'>x</prop>"), "OK");
  EXPECT_EQ(code("<PeltoRpt />"), "no-installation");
  for (const char* properties :
       {"", "<prop name='ID'></prop>", "<prop name='ID' />", "<prop name='ID'>  </prop>",
        "<prop name='id'>x</prop>", "<prop name='ID' cat='OS'>x</prop>",
        "<prop name='ID' cat=''>x</prop>", "<prop>x</prop>", "<other name='ID'>x</other>",
        "<prop name='ID'><b>x</b></prop>", "<prop name='ID'><![CDATA[]]></prop>"}) {
    EXPECT_EQ(with(properties), "no-installation") << properties;
  }
  EXPECT_EQ(code("<PeltoRpt><cust_info><prop name='ID'>x</prop></cust_info></PeltoRpt>"),
            "no-installation");
  EXPECT_EQ(code("<PeltoRpt><sys_info /><sys_info><prop name='ID'>x</prop></sys_info></PeltoRpt>"),
            "no-installation");
}

TEST(ReportReader, InstallationIsKeptAsItIs) {
  EXPECT_EQ(read(report_text("", "", "{AbC} \xE4")).installation, "{AbC} \u00E4");
  EXPECT_EQ(read(report_text("", "<prop name='ID'/><prop name='ID'>first</prop>")).installation,
            "first");
}

TEST(ReportReader, InstallationHas128BytesAtMost) {
  EXPECT_EQ(code(report_text("", "", std::string(128, 'x'))), "OK");
  EXPECT_EQ(code(report_text("", "", std::string(129, 'x'))), "no-installation");
  // In UTF-8 it has two bytes for each.
  EXPECT_EQ(code(report_text("", "", std::string(64, '\xE4'))), "OK");
  EXPECT_EQ(code(report_text("", "", std::string(65, '\xE4'))), "no-installation");
}

TEST(ReportReader, ACommandHasNamePlaceAndCount) {
  EXPECT_EQ(commands_of("<cmd id='7' name='Line' count='3' /><cmd count='4' name='Arc' id='2'>text"
                        "</cmd><cmd id='1' count='3' /><cmd name='A' count='3' />"
                        "<cmd id='1' name='B' /><cmd /><other id='1' name='C' count='1' />"),
            "Line 7 3;Arc 2 4;");
  EXPECT_EQ(commands_of("<cmd id='1' name='' count='2' />"), " 1 2;");
}

TEST(ReportReader, ACommandThatComesTwiceCountsAsItsFirst) {
  EXPECT_EQ(commands_of("<cmd id='1' name='A' count='2' /><cmd id='3' name='A' count='4' />"),
            "A 1 2;");
}

TEST(ReportReader, RunToolsOfTheOlderFormAreCommandsWithoutAPlace) {
  const Report report = read(report_text(
      "<cmd_stat><cmds><cmd id='4' name='Line' count='1' /></cmds><cmd_chain>Line</cmd_chain>"
      "</cmd_stat><counter><run_tools><run_tool name='Tool' count='10' id='3' />"
      "<run_tool name='None' /><run_tool count='5' /><run_tool name='Line' count='50' />"
      "</run_tools></counter>"));
  EXPECT_EQ(report.commands, (std::vector<CommandCount>{{"Line", 1, 4}, {"Tool", 10, 0}}));
}

TEST(ReportReader, OnlyTheFirstSectionAndListCount) {
  const Report report =
      read(report_text("<cmd_stat><cmds/><cmds><cmd id='1' name='A' count='1'/>"
                       "</cmds></cmd_stat>" +
                       commands_text("<cmd id='1' name='B' count='1'/>")));
  EXPECT_TRUE(report.commands.empty());
}

TEST(ReportReader, NumbersAreThoseOfTheSender) {
  EXPECT_EQ(commands_of("<cmd id='x' name='A' count='many' /><cmd id=' 12a' name='B' count='+7' />"
                        "<cmd id='' name='C' count='' /><cmd id='1.9' name='D' count='0x10' />"),
            "A 0 0;B 12 7;C 0 0;D 1 0;");
}

TEST(ReportReader, NumbersLieWithinTheLimitsOfCounts) {
  const Report negative = read(report_text(
      commands_text("<cmd id='-1' name='A' count='-5' />"
                    "<cmd id='-99999999999' name='B' count='-9223372036854775808' />")));
  EXPECT_EQ(negative.commands, (std::vector<CommandCount>{{"A", 0, 0}, {"B", 0, 0}}));
  EXPECT_FALSE(negative.is_capped);
  for (const char* count : {"1000000001", "9223372036854775807", "9223372036854775808",
                            "18446744073709551615", "99999999999999999999999"}) {
    const Report large = read(
        report_text(commands_text(std::string("<cmd id='1' name='A' count='") + count + "' />")));
    EXPECT_EQ(large.commands, (std::vector<CommandCount>{{"A", 1'000'000'000, 1}})) << count;
    EXPECT_TRUE(large.is_capped) << count;
  }
  EXPECT_FALSE(
      read(report_text(commands_text("<cmd id='1' name='A' count='1000000000' />"))).is_capped);
}

TEST(ReportReader, AFileTypeWithoutACountHasNone) {
  EXPECT_EQ(
      file_types_of("<ftype name='.a' ocnt='1' scnt='2' /><ftype name='.b' scnt='x' />"
                    "<ftype ocnt='7' scnt='7' /><ftype name='' ocnt='3' /><ftype name='.c' />"),
      ".a 1 2;.b 0 0; 3 0;.c 0 0;");
}

TEST(ReportReader, EqualFileTypesAreAddedUp) {
  EXPECT_EQ(file_types_of("<ftype name='.a' ocnt='1' scnt='2' /><ftype name='.A' ocnt='5' />"
                          "<ftype name='.a' ocnt='10' scnt='-4' />"),
            ".a 11 2;.A 5 0;");
  const Report report = read(report_text(
      file_types_text("<ftype name='.a' ocnt='9223372036854775807' scnt='600000000' />"
                      "<ftype name='.a' ocnt='9223372036854775807' scnt='600000000' />")));
  EXPECT_EQ(report.file_types, (std::vector<FileTypeCount>{{".a", 1'000'000'000, 1'000'000'000}}));
  EXPECT_TRUE(report.is_capped);
}

TEST(ReportReader, ATooLargeCountOfAFileTypeIsNoticed) {
  const auto is_capped = [](const std::string& count) {
    return read(report_text(file_types_text("<ftype name='.a' ocnt='" + count + "'/>"))).is_capped;
  };
  EXPECT_FALSE(is_capped("1000000000"));
  EXPECT_TRUE(is_capped("1000000001"));
  EXPECT_TRUE(is_capped("9223372036854775808"));
}

TEST(ReportReader, FileTypesThatMayHoldAPathCountAsOther) {
  EXPECT_EQ(file_types_of("<ftype name='.last/README' ocnt='1' scnt='2' />"
                          "<ftype name='.dwg' ocnt='3' scnt='4' />"
                          "<ftype name='.last/README' ocnt='10' scnt='20' />"
                          "<ftype name='.a b' ocnt='100' scnt='200' />"),
            ".dwg 3 4;(other) 111 222;");
}

TEST(ReportReader, APropertyOfTheMachineHasNameCategoryAndText) {
  EXPECT_EQ(
      machine_of("<prop name='Name' cat='OS'>Windows</prop><prop name='A'>no category</prop>"
                 "<prop cat='OS'>no name</prop><prop name='Empty' cat='OS'></prop>"
                 "<prop name='B' cat='OS'><b/>after</prop><prop name='' cat=''>  x \n y </prop>"),
      "OS/Name=Windows;/=x y;");
}

TEST(ReportReader, OfAPropertyThatComesTwiceTheLastCounts) {
  EXPECT_EQ(machine_of("<prop name='Name' cat='OS'>A</prop><prop name='X' cat='OS'>B</prop>"
                       "<prop name='Name' cat='OS'>C</prop>"),
            "OS/Name=C;OS/X=B;");
  EXPECT_EQ(name_of_command("\xDF",
                            "<prop name='Locale' cat='OS'>0407</prop>"
                            "<prop name='Locale' cat='OS'>0419</prop>"),
            "Я");
}

TEST(ReportReader, ApplicationAndAddressAreInTheirSections) {
  const Report report = read(report_text(
      "<app_info><prop name='app_name'>Designer</prop><prop name='app_ver'>1.2</prop></app_info>"
      "<cust_info><prop name='Email'>User@example.com</prop></cust_info>"));
  EXPECT_EQ(report.application, "Designer");
  EXPECT_EQ(report.version, "1.2");
  EXPECT_EQ(report.email, "User@example.com");
  const Report other = read(report_text(
      "<cust_info><prop name='app_name'>Designer</prop><prop name='app_ver'>1.2</prop></cust_info>"
      "<app_info><prop name='Email'>User@example.com</prop></app_info>"));
  EXPECT_EQ(other.application, "");
  EXPECT_EQ(other.version, "");
  EXPECT_EQ(other.email, "");
}

TEST(ReportReader, AnApplicationWithTooLongANameHasNone) {
  const std::string start = "<app_info><prop name='app_name'>";
  const Report report = read(report_text(start + std::string(4096, 'x') + "</prop></app_info>"));
  EXPECT_EQ(report.application.size(), 4096U);
  EXPECT_FALSE(report.is_capped);
  const Report capped = read(report_text(start + std::string(4097, 'x') + "</prop></app_info>"));
  EXPECT_EQ(capped.application, "");
  EXPECT_TRUE(capped.is_capped);
}

TEST(ReportReader, AnAddressThatIsNoneIsLeftOut) {
  const auto address = [](const std::string& email) {
    return read(report_text("<cust_info><prop name='Email'>" + email + "</prop></cust_info>"))
        .email;
  };
  EXPECT_EQ(address(std::string(320, 'x')), std::string(320, 'x'));
  EXPECT_EQ(address(std::string(321, 'x')), "");
  EXPECT_EQ(address("a@b.c&#x0A;"), "");
  EXPECT_EQ(address("a\x1B@b.c"), "");
  EXPECT_EQ(address("a\x81@b.c"), "");
  EXPECT_EQ(address("  a@\n b.c "), "a@ b.c");
  EXPECT_EQ(address("\xFC@b.c"), "\u00FC@b.c");
}

TEST(ReportReader, AdapterAddressIsNeverPartOfTheMachine) {
  EXPECT_EQ(machine_of("<prop name='MACAddress' cat='Adapter'>02:fc</prop>"
                       "<prop name='macaddress' cat='Adapter'>02:fd</prop>"
                       "<prop name='Speed' cat='Adapter'>1</prop>"),
            "Adapter/Speed=1;");
}

TEST(ReportReader, AdapterHashIsKeyed) {
  const std::string text =
      report_text("", "<prop name='MACAddress' cat='Adapter'>02:fc:00:00:00:01</prop>");
  EXPECT_EQ(read(text).adapter_hash, "");
  IntakeOptions options;
  options.adapter_key = std::string(32, 'k');
  // BLAKE2b with 32 bytes of output.
  EXPECT_EQ(read(text, options).adapter_hash,
            "92ce111b592a62556e2d10622ef09d2e7c664e87c4a0fc89061b2bfe006f288c");
  EXPECT_EQ(read(report_text(""), options).adapter_hash, "");
  IntakeOptions other = options;
  other.adapter_key.back() = 'l';
  EXPECT_NE(read(text, other).adapter_hash, read(text, options).adapter_hash);
}

TEST(ReportReader, KeptTextHasNothingThatIdentifiesSomebody) {
  const Report report = read(
      report_text(commands_text("<cmd id='1' name='a THE-ID b U@X.de c 02:FC:01' count='1'/>") +
                      file_types_text("<ftype name='C:/Users/x'/>") +
                      "<cust_info><prop name='Email'>u@x.de</prop></cust_info><!-- u@x.de -->",
                  "<prop name='MACAddress' cat='Adapter'>02:fc:01</prop>"));
  EXPECT_EQ(report.text,
            "<PeltoRpt>\n    <cmd_stat>\n        <cmds>\n"
            "            <cmd id=\"1\" name=\"a * b * c *\" count=\"1\" />\n"
            "        </cmds>\n    </cmd_stat>\n    <ftype_stat>\n        <ftypes>\n"
            "            <ftype name=\"(other)\" />\n        </ftypes>\n    </ftype_stat>\n"
            "    <cust_info>\n        <prop name=\"Email\" />\n    </cust_info>\n"
            "    <!-- * -->\n    <sys_info>\n"
            "        <prop name=\"MACAddress\" cat=\"Adapter\" />\n"
            "        <prop name=\"ID\" />\n    </sys_info>\n</PeltoRpt>\n");
  // What is counted is not cut.
  EXPECT_EQ(report.commands, (std::vector<CommandCount>{{"a THE-ID b U@X.de c 02:FC:01", 1, 1}}));
}

TEST(ReportReader, MachinesLanguageTellsTheCodePage) {
  const auto locale = [](const std::string& value) {
    return "<prop name='Locale' cat='OS'>" + value + "</prop>";
  };
  EXPECT_EQ(name_of_command("\xD6"
                            "ffnen"),
            "Öffnen");
  EXPECT_EQ(name_of_command("\xD6"
                            "ffnen",
                            locale("0407"), 1251),
            "Öffnen");
  EXPECT_EQ(name_of_command("L\xF3\x64\x9F", locale("0415")), "Lódź");
  EXPECT_EQ(name_of_command("\xCB\xE8\xED\xE8\xFF", locale("0419")), "Линия");
  EXPECT_EQ(name_of_command("\x95\x5C\x8E\xA6", locale("0411")), "表示");
  EXPECT_EQ(name_of_command("\xD6\xB1\xCF\xDF", locale("0804")), "直线");
  EXPECT_EQ(name_of_command("\xBC\xB1", locale("0412")), "선");
  EXPECT_EQ(name_of_command("\xAA\xBD\xBDu", locale("0404")), "直線");
  EXPECT_EQ(name_of_command("\xE0\xCA\xE9\xB9", locale("041e")), "เส้น");
  // The last is that of the configured code page.
  EXPECT_EQ(name_of_command("\xCB", locale("0439"), 1251), "Л");
  EXPECT_EQ(name_of_command("\xCB", locale("x"), 1251), "Л");
  EXPECT_EQ(name_of_command("\xCB", "<prop name='Locale' cat='User'>0407</prop>", 1251), "Л");
  EXPECT_EQ(name_of_command("\xCB", "", 1251), "Л");
}

TEST(ReportReader, ReferencesAreBytesOfTheCodePage) {
  EXPECT_EQ(name_of_command("&#x41;&#66;&#233;&amp;&lt;&quot;"), "AB\u00E9&<\"");
  EXPECT_EQ(name_of_command("&#xDF;", "<prop name='Locale' cat='OS'>0419</prop>"), "Я");
  // Of a number above 255 the sender's parser takes the lowest byte.
  EXPECT_EQ(name_of_command("&#x20AC;"), "\u00AC");
  EXPECT_EQ(name_of_command("&unknown;"), "unknown;");
}

TEST(ReportReader, AControlCharacterInANameIsReplaced) {
  EXPECT_EQ(name_of_command("a&#x01;b\x1B"
                            "c"),
            "a\uFFFD"
            "b\uFFFD"
            "c");
  EXPECT_EQ(name_of_command("a\tb"),
            "a\uFFFD"
            "b");
  // As in the sender's load, the reference to a NUL ends a name.
  EXPECT_EQ(name_of_command("a&#0;b"), "a");
}

TEST(ReportReader, TextIsUtf8AfterAByteOrderMarkOrADeclaration) {
  const std::string report =
      report_text(commands_text("<cmd id='1' name='\u65E5 &#x20AC;' count='1'/>"),
                  "<prop name='Locale' cat='OS'>0411</prop>");
  const auto name = [&report](const std::string& start) {
    const Report result = read(start + report);
    return result.commands.empty() ? "(none)" : result.commands.front().name;
  };
  EXPECT_EQ(name("\xEF\xBB\xBF"), "\u65E5 \u20AC");
  EXPECT_EQ(name("<?xml version='1.0'?>"), "\u65E5 \u20AC");
  EXPECT_EQ(name("<?xml version='1.0' encoding='Utf-8'?>"), "\u65E5 \u20AC");
  EXPECT_EQ(name("<!-- first --><?xml encoding='UTF8' ?>"), "\u65E5 \u20AC");
  EXPECT_NE(name("<?xml version='1.0' encoding='windows-1252'?>"), "\u65E5 \u20AC");
  EXPECT_NE(name("<?xml encoding='shift_jis'?><?xml encoding='utf-8'?>"), "\u65E5 \u20AC");
  EXPECT_NE(name(""), "\u65E5 \u20AC");
}

TEST(ReportReader, LineEndsAreThoseOfTheSendersLoad) {
  std::string text = report_text("\r\n<!-- a\r\nb\rc -->" +
                                 commands_text("<cmd id='1'\r\nname='A\r\nB' count='1'/>\r\n"));
  EXPECT_EQ(read(text).commands, (std::vector<CommandCount>{{"A\uFFFDB", 1, 1}}));
  EXPECT_EQ(read(text).text.find('\r'), std::string::npos);
}

TEST(ReportReader, NestingAndAttributesHaveLimits) {
  std::string deep;
  for (int i = 0; i < 100'000; ++i) deep += "<a>";
  EXPECT_EQ(code("<PeltoRpt>" + deep), "not-a-report");
  std::string wide = "<PeltoRpt";
  for (int i = 0; i < 100'000; ++i) wide += " a" + std::to_string(i) + "=''";
  EXPECT_EQ(code(wide + "/>"), "not-a-report");
}

// The parser knows no definitions, so that nothing can be made of them.
TEST(ReportReader, EntitiesAreNotDefined) {
  const std::string bomb =
      "<!DOCTYPE PeltoRpt [<!ENTITY a \"ha\"><!ENTITY b \"&a;&a;&a;&a;&a;&a;&a;&a;\">"
      "<!ENTITY c SYSTEM \"file:///etc/passwd\">]>";
  EXPECT_EQ(code(bomb + report_text("")), "not-a-report");
  const Report report = read("<!DOCTYPE PeltoRpt>" +
                             report_text(commands_text("<cmd id='1' name='&b;&c;' count='1'/>")));
  EXPECT_EQ(report.commands, (std::vector<CommandCount>{{"b;c;", 1, 1}}));
}

TEST(ReportReader, HundredThousandCommandsAreRead) {
  std::string commands;
  for (int i = 0; i < 100'000; ++i) {
    commands +=
        "<cmd id='" + std::to_string(i) + "' name='Command " + std::to_string(i) + "' count='1'/>";
  }
  EXPECT_EQ(read(report_text(commands_text(commands))).commands.size(), 100'000U);
}

}  // namespace

}  // namespace pelto::collector
