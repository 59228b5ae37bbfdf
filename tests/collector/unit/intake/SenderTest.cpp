// What the sender's own rules write is read back as it was.
#include <gtest/gtest.h>
#include <tinyxml.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <random>
#include <string>
#include <variant>
#include <vector>

#include "collector/intake/Intake.h"
#include "store/ReportDocument.h"
#include "upload/Base64.h"
#include "upload/MultipartForm.h"
#include "upload/ReportPayload.h"

namespace pelto::collector {

namespace {

/// The UTF-8 of a text in the characters of code page 1252.
std::string to_utf8(const std::wstring& text) {
  std::string bytes;
  for (const wchar_t character : text) {
    const auto c = static_cast<unsigned>(character);
    if (c < 0x80) {
      bytes += static_cast<char>(c);
    } else if (c < 0x800) {
      bytes += static_cast<char>(0xC0U | c >> 6U);
      bytes += static_cast<char>(0x80U | (c & 0x3FU));
    } else {
      bytes += static_cast<char>(0xE0U | c >> 12U);
      bytes += static_cast<char>(0x80U | (c >> 6U & 0x3FU));
      bytes += static_cast<char>(0x80U | (c & 0x3FU));
    }
  }
  return bytes;
}

/// What a run of the sender knows.
struct SenderState {
  CommandStats commands;
  FileTypeStats file_types;
  SystemProperties properties;
  ReportFacts facts;
};

/// The report's file as the sender's upload reads it.
std::string read_saved(const TiXmlDocument& document) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::tmpfile(), std::fclose);
  EXPECT_TRUE(document.SaveFile(file.get()));
  return ReadReportPayload(file.get());
}

std::string body_of(const CUploadRequest& request) {
  std::wstring body;
  for (const auto& [name, value] : request.textFields) {
    body += FormatTextPartHeader(request, name).value();
    body += std::wstring(value.begin(), value.end());
    body += FormatPartFooter();
  }
  body += FormatClosingBoundary();
  return to_utf8(body);
}

std::variant<Received, Refusal> send(const SenderState& sender) {
  TiXmlDocument document;
  BuildReport(document, sender.commands, sender.file_types, sender.properties, sender.facts);
  CUploadRequest request;
  request.textFields[L"Id"] = "f702f125-e8ff-40f3-8c7a-65a2cc9357f8";
  request.textFields[L"peltorpt"] = Base64Encode(read_saved(document), 0, '\0');
  const std::string header = to_utf8(FormatRequestHeader());
  return read_request(header.substr(header.find(':') + 1), body_of(request), {});
}

/// Compares what was received with what was sent.
void expect_same(const SenderState& sender, const std::variant<Received, Refusal>& result) {
  ASSERT_TRUE(std::holds_alternative<Received>(result)) << code_of(std::get<Refusal>(result));
  const Report& report = std::get<Received>(result).report;

  std::vector<CommandCount> commands;
  for (const auto& [name, stat] : sender.commands.GetEntries()) {
    commands.push_back({to_utf8(name), static_cast<std::int64_t>(stat.count),
                        static_cast<std::int64_t>(stat.order)});
  }
  EXPECT_EQ(report.commands, commands);
  std::vector<FileTypeCount> file_types;
  for (const auto& [name, stat] : sender.file_types.GetEntries()) {
    file_types.push_back({to_utf8(name), static_cast<std::int64_t>(stat.ocnt),
                          static_cast<std::int64_t>(stat.scnt)});
  }
  EXPECT_EQ(report.file_types, file_types);
  std::vector<MachineValue> machine;
  for (const auto& [key, value] : sender.properties) {
    machine.push_back({to_utf8(key.category), to_utf8(key.name), to_utf8(value)});
  }
  EXPECT_EQ(report.machine, machine);
  EXPECT_EQ(report.installation, to_utf8(sender.facts.installationIdentifier));
  EXPECT_EQ(report.application, to_utf8(sender.facts.applicationName));
  EXPECT_EQ(report.version, to_utf8(sender.facts.applicationVersion));
  EXPECT_EQ(report.email, to_utf8(sender.facts.email));
  EXPECT_FALSE(report.is_capped);
}

TEST(Sender, AReportOfNothingIsReadBack) {
  SenderState sender;
  sender.facts.installationIdentifier = L"the-id";
  expect_same(sender, send(sender));
}

TEST(Sender, AReportWithoutAnIdentifierIsRefused) {
  const auto result = send({});
  ASSERT_TRUE(std::holds_alternative<Refusal>(result));
  EXPECT_EQ(std::get<Refusal>(result), Refusal::no_installation);
}

/// A name of characters that are no control characters and do not end in whitespace, which the
/// parser condenses in a text.
std::wstring make_name(std::mt19937& random, std::size_t longest) {
  const std::wstring characters =
      L"ABCxyz019<>&\"'-_.#;=/\\:\u00E4\u00D6\u00DF\u20AC\u0153\u2122\u00FF\u00A0";
  std::wstring name;
  const std::size_t length = 1 + random() % longest;
  for (std::size_t i = 0; i < length; ++i) name += characters[random() % characters.size()];
  return name;
}

SenderState make_state(std::mt19937& random) {
  SenderState sender;
  const std::size_t commands = random() % 80;
  for (std::size_t i = 0; i < commands; ++i) {
    CommandStat stat;
    stat.event = {UsageEventKind::Command, make_name(random, 40), {}};
    stat.order = static_cast<std::uint32_t>(random() % 1000);
    stat.count = random() % 1'000'000'001;
    sender.commands.Merge(stat);
  }
  for (std::size_t i = 0; i < random() % 10; ++i) {
    sender.file_types.Merge({random() % 1000, random() % 1000, L".x" + std::to_wstring(i)});
  }
  for (std::size_t i = 0; i < random() % 10; ++i) {
    sender.properties[{make_name(random, 20), make_name(random, 10)}] = make_name(random, 60);
  }
  sender.facts = {make_name(random, 30), L"1.2.3.4", make_name(random, 30), make_name(random, 30)};
  return sender;
}

TEST(Sender, AnyReportIsReadBack) {
  std::mt19937 random(20240101);
  for (int i = 0; i < 200; ++i) {
    SCOPED_TRACE(i);
    const SenderState sender = make_state(random);
    const auto result = send(sender);
    expect_same(sender, result);
    if (HasFatalFailure()) return;
  }
}

// The counts that the sender's load takes from the bytes and those that are received.
TEST(Sender, LoadsTheSameCountsFromTheSameBytes) {
  for (const char* content :
       {"<cmd_stat><cmds><cmd id='3' name='A' count='2'/><cmd id='4' name='A' count='9'/>"
        "<cmd id=' 7x' name='B' count='1e3'/><cmd name='C' count='1'/></cmds></cmd_stat>",
        "<cmd_stat><other/><cmds><x/><cmd id='1' name='&#x41;&#233;\xE9' count='1'/></cmds>"
        "<cmds><cmd id='1' name='Z' count='1'/></cmds></cmd_stat><cmd_stat/>",
        "<counter><run_tools><run_tool name='T' count='5'/><run_tool name='T' count='6'/>"
        "<run_tool name='A' count='7'/></run_tools></counter>"
        "<cmd_stat><cmds><cmd id='2' name='A' count='8'/></cmds></cmd_stat>",
        "<ftype_stat><ftypes><ftype name='.a' ocnt='1'/><ftype name='.a' scnt='2' ocnt='x'/>"
        "<ftype ocnt='3'/><ftype name='' scnt='4'/></ftypes></ftype_stat>",
        "text<!-- comment --><![CDATA[<cmd_stat/>]]><?xml version='1.0'?>"
        "<cmd_stat><cmds>text<cmd id='1' name='A' count='1'><cmd id='2' name='B' count='1'/></cmd>"
        "</cmds></cmd_stat>"}) {
    const std::string bytes = std::string("<PeltoRpt>") + content +
                              "<sys_info><prop name='ID'>the-id</prop></sys_info></PeltoRpt>";
    TiXmlDocument document;
    document.Parse(bytes.c_str());
    ASSERT_FALSE(document.Error()) << bytes;
    SenderState loaded;
    std::wstring chain;
    ASSERT_TRUE(
        MergeReport(document, loaded.commands, loaded.file_types, loaded.properties, chain));
    loaded.facts.installationIdentifier = L"the-id";

    CUploadRequest request;
    request.textFields[L"Id"] = "f702f125-e8ff-40f3-8c7a-65a2cc9357f8";
    request.textFields[L"peltorpt"] = Base64Encode(bytes + bytes.back(), 0, '\0');
    auto result = read_request(to_utf8(FormatRequestHeader()).substr(14), body_of(request), {});
    ASSERT_TRUE(std::holds_alternative<Received>(result)) << bytes;
    // The sender keeps its entries by name.
    Report& report = std::get<Received>(result).report;
    std::ranges::sort(report.commands, {}, &CommandCount::name);
    std::ranges::sort(report.file_types, {}, &FileTypeCount::name);
    expect_same(loaded, result);
  }
}

}  // namespace

}  // namespace pelto::collector
