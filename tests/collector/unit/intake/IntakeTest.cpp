#include "collector/intake/Intake.h"

#include <gtest/gtest.h>

#include <string>
#include <variant>

#include "tests/collector/unit/intake/FormText.h"

namespace pelto::collector {

namespace {

const std::string sound_report = report_text("");

std::string code_of_form(const std::string& body, const std::string& type = form_type) {
  const auto result = read_request(type, body, {});
  const Refusal* const refusal = std::get_if<Refusal>(&result);
  return refusal == nullptr ? "OK" : std::string(code_of(*refusal));
}

TEST(Intake, TakesTheFormThatASenderSends) {
  const std::string body =
      "--AaB03x5fs1045fcc7\r\n"
      "Content-disposition: form-data; name=\"Id\"\r\n\r\n"
      "f702f125-e8ff-40f3-8c7a-65a2cc9357f8\r\n"
      "--AaB03x5fs1045fcc7\r\n"
      "Content-disposition: form-data; name=\"peltorpt\"\r\n\r\n" +
      payload(
          "<PeltoRpt>\n    <cmd_stat>\n        <cmds>\n"
          "            <cmd id=\"2\" name=\"\xD6"
          "ffnen\" count=\"26\" />\n"
          "        </cmds>\n    </cmd_stat>\n    <ftype_stat>\n        <ftypes>\n"
          "            <ftype name=\".dwg\" ocnt=\"2\" scnt=\"3\" />\n"
          "        </ftypes>\n    </ftype_stat>\n    <sys_info>\n"
          "        <prop name=\"Caption\" cat=\"OS\">Windows 7</prop>\n"
          "        <prop name=\"ID\">the-id</prop>\n    </sys_info>\n    <app_info>\n"
          "        <prop name=\"app_name\">Designer</prop>\n"
          "        <prop name=\"app_ver\">1.0.0.0</prop>\n    </app_info>\n"
          "    <cust_info>\n        <prop name=\"Email\">user@example.com</prop>\n"
          "    </cust_info>\n</PeltoRpt>\n") +
      "\r\n--AaB03x5fs1045fcc7--\r\n";
  const auto result = read_request(form_type, body, {});
  ASSERT_TRUE(std::holds_alternative<Received>(result));
  const Received& received = std::get<Received>(result);
  EXPECT_EQ(received.id, delivery_id);
  EXPECT_EQ(received.report.installation, "the-id");
  EXPECT_EQ(received.report.application, "Designer");
  EXPECT_EQ(received.report.version, "1.0.0.0");
  EXPECT_EQ(received.report.email, "user@example.com");
  EXPECT_EQ(received.report.commands, (std::vector<CommandCount>{{"\u00D6ffnen", 26, 2}}));
  EXPECT_EQ(received.report.file_types, (std::vector<FileTypeCount>{{".dwg", 2, 3}}));
  EXPECT_EQ(received.report.machine, (std::vector<MachineValue>{{"OS", "Caption", "Windows 7"}}));
  EXPECT_EQ(received.report.text,
            "<PeltoRpt>\n    <cmd_stat>\n        <cmds>\n"
            "            <cmd id=\"2\" name=\"\u00D6ffnen\" count=\"26\" />\n"
            "        </cmds>\n    </cmd_stat>\n    <ftype_stat>\n        <ftypes>\n"
            "            <ftype name=\".dwg\" ocnt=\"2\" scnt=\"3\" />\n"
            "        </ftypes>\n    </ftype_stat>\n    <sys_info>\n"
            "        <prop name=\"Caption\" cat=\"OS\">Windows 7</prop>\n"
            "        <prop name=\"ID\" />\n    </sys_info>\n    <app_info>\n"
            "        <prop name=\"app_name\">Designer</prop>\n"
            "        <prop name=\"app_ver\">1.0.0.0</prop>\n    </app_info>\n"
            "    <cust_info>\n        <prop name=\"Email\" />\n"
            "    </cust_info>\n</PeltoRpt>\n");
  EXPECT_FALSE(received.report.is_capped);
}

// Each form has the fault of its line and all those of the lines below it.
TEST(Intake, FirstFaultInTheOrderOfTheChecksGivesTheCode) {
  const std::string large(std::size_t{64} * 1024 + 1, 'x');
  const std::string no_text = Base64Encode("ab", 0, '\0');
  const std::string no_report = payload("<Other />");
  const std::string no_installation = payload("<PeltoRpt />");
  EXPECT_EQ(code_of_form(part("other", large) + part("Id", "x"), form_type), "not-multipart");
  EXPECT_EQ(code_of_form(part("other", large) + part("Id", "x") + form_end), "too-large");
  EXPECT_EQ(code_of_form(part("peltorpt", "") + form_end), "no-id");
  EXPECT_EQ(code_of_form(part("Id", "x") + form_end), "bad-id");
  EXPECT_EQ(code_of_form(part("Id", delivery_id) + form_end), "no-report");
  const auto with_report = [](const std::string& field) {
    return code_of_form(part("Id", delivery_id) + part("peltorpt", field) + form_end);
  };
  EXPECT_EQ(with_report(""), "empty-report");
  EXPECT_EQ(with_report("*"), "bad-base64");
  EXPECT_EQ(with_report("AA=="), "empty-report");
  EXPECT_EQ(with_report(no_text), "truncated");
  EXPECT_EQ(with_report(no_report), "not-a-report");
  EXPECT_EQ(with_report(no_installation), "no-installation");
  EXPECT_EQ(with_report(payload(sound_report)), "OK");
}

TEST(Intake, TakesPartsInAnyOrderAndIgnoresUnknownOnes) {
  EXPECT_EQ(code_of_form(part("other", "") + part("peltorpt", payload(sound_report)) +
                         part("other", "again") + part("Id", delivery_id) + form_end),
            "OK");
}

TEST(Intake, AFieldThatComesTwiceMakesNoForm) {
  EXPECT_EQ(code_of_form(part("Id", delivery_id) + form(sound_report)), "not-multipart");
  EXPECT_EQ(code_of_form(part("peltorpt", payload(sound_report)) + form(sound_report)),
            "not-multipart");
}

TEST(Intake, FieldsAreKnownByTheirExactNames) {
  EXPECT_EQ(code_of_form(part("id", delivery_id) + form_end), "no-id");
  EXPECT_EQ(code_of_form(part("Id", delivery_id) + part("Peltorpt", "") + form_end), "no-report");
}

TEST(Intake, IdIsKeptInSmallLetters) {
  const auto result = read_request(form_type,
                                   part("Id", "F702F125-E8FF-40F3-8C7A-65A2CC9357F8") +
                                       part("peltorpt", payload(sound_report)) + form_end,
                                   {});
  ASSERT_TRUE(std::holds_alternative<Received>(result));
  EXPECT_EQ(std::get<Received>(result).id, delivery_id);
}

TEST(Intake, AnEmptyIdIsNoGuid) {
  EXPECT_EQ(code_of_form(part("Id", "") + form_end), "bad-id");
}

TEST(Intake, OnlyTheReportMayBeLargerThanOtherParts) {
  IntakeOptions options;
  options.largest_part = 40;
  const auto read = [&options](const std::string& body) {
    return read_request(form_type, body, options);
  };
  EXPECT_TRUE(std::holds_alternative<Received>(
      read(part("other", std::string(40, 'x')) + form(sound_report))));
  const auto result = read(part("other", std::string(41, 'x')) + form(sound_report));
  ASSERT_TRUE(std::holds_alternative<Refusal>(result));
  EXPECT_EQ(std::get<Refusal>(result), Refusal::too_large);
}

TEST(Intake, ReadsATextInUtf8AsAnImportHasIt) {
  const auto result = read_report_text(
      report_text(commands_text("<cmd id='1' name='\u65E5\u672C &#x20AC;' count='2'/>"),
                  "<prop name='Locale' cat='OS'>0407</prop>"),
      {});
  ASSERT_TRUE(std::holds_alternative<Report>(result));
  EXPECT_EQ(std::get<Report>(result).commands,
            (std::vector<CommandCount>{{"\u65E5\u672C \u20AC", 2, 1}}));
}

TEST(Intake, ATextThatNamesAnotherEncodingIsUtf8AllTheSame) {
  const auto result =
      read_report_text("<?xml version='1.0' encoding='windows-1252'?>" +
                           report_text(commands_text("<cmd id='1' name='\u00E4' count='2'/>")),
                       {});
  ASSERT_TRUE(std::holds_alternative<Report>(result));
  EXPECT_EQ(std::get<Report>(result).commands, (std::vector<CommandCount>{{"\u00E4", 2, 1}}));
}

TEST(Intake, RefusesATextAsItRefusesARequest) {
  EXPECT_EQ(std::get<Refusal>(read_report_text("", {})), Refusal::not_a_report);
  EXPECT_EQ(std::get<Refusal>(read_report_text("<PeltoRpt>\xC3", {})), Refusal::not_a_report);
  EXPECT_EQ(std::get<Refusal>(read_report_text("<PeltoRpt />", {})), Refusal::no_installation);
}

// What is kept cannot be taken for a report again.
TEST(Intake, KeptTextHasNoInstallation) {
  const auto first = read_report_text(sound_report, {});
  ASSERT_TRUE(std::holds_alternative<Report>(first));
  EXPECT_EQ(std::get<Refusal>(read_report_text(std::get<Report>(first).text, {})),
            Refusal::no_installation);
}

TEST(Refusal, EachHasItsCode) {
  EXPECT_EQ(code_of(Refusal::unknown_product), "unknown-product");
  EXPECT_EQ(code_of(Refusal::method), "method");
  EXPECT_EQ(code_of(Refusal::timeout), "timeout");
  EXPECT_EQ(code_of(Refusal::length), "length");
  EXPECT_EQ(code_of(Refusal::busy), "busy");
}

}  // namespace

}  // namespace pelto::collector
