#include "app/CommandLine.h"

#include <gtest/gtest.h>

#include <optional>
#include <ostream>
#include <string>
#include <tuple>
#include <vector>

bool operator==(const CommandLine& a, const CommandLine& b) {
  const auto all = [](const CommandLine& line) {
    return std::tie(line.mode, line.uploadAddress, line.dataFolder, line.logFolder,
                    line.applicationName, line.applicationPath);
  };
  return all(a) == all(b);
}

void PrintTo(const CommandLine& line, std::ostream* stream) {
  const auto narrow = [](const std::wstring& text) {
    std::string result;
    for (const wchar_t c : text) result += static_cast<char>(c);
    return '"' + result + '"';
  };
  *stream << "mode " << static_cast<int>(line.mode) << ", address " << narrow(line.uploadAddress)
          << ", data " << narrow(line.dataFolder) << ", logs " << narrow(line.logFolder)
          << ", name " << narrow(line.applicationName) << ", path " << narrow(line.applicationPath);
}

namespace {

using Arguments = std::vector<std::wstring>;

constexpr wchar_t Program[] = L"C:\\pelto\\PELTOSender.exe";
constexpr wchar_t Address[] = L"https://collect.example/in?a=b";

const CommandLine LogHandle = {RunMode::LogHandle, L"", L"C:\\data", L"C:\\logs", L"", L""};
const CommandLine Duty = {RunMode::Duty, Address, L"C:\\data", L"", L"Draw It", L"C:\\draw.exe"};
const CommandLine Dialog = {RunMode::Dialog, L"", L"C:\\data", L"", L"", L""};

TEST(CommandLine, ModesTakeTheirArgumentsAndIgnoreFurtherOnes) {
  const struct {
    Arguments arguments;
    CommandLine result;
  } cases[] = {{{L"log_handle", L"C:\\data", L"C:\\logs"}, LogHandle},
               {{L"duty", Address, L"C:\\data", L"Draw It", L"C:\\draw.exe"}, Duty},
               {{L"dlg", L"C:\\data"}, Dialog}};
  for (const auto& [arguments, result] : cases) {
    for (const wchar_t* const program : {Program, L""}) {
      Arguments all = {program};
      all.insert(all.end(), arguments.begin(), arguments.end());
      EXPECT_EQ(ParseCommandLine(all), result);
      for (const wchar_t* const further : {L"x", L"", L"duty"}) {
        all.emplace_back(further);
        EXPECT_EQ(ParseCommandLine(all), result);
      }
    }
  }
}

TEST(CommandLine, ModesHaveTheirNumbers) {
  EXPECT_EQ(static_cast<int>(RunMode::LogHandle), 1);
  EXPECT_EQ(static_cast<int>(RunMode::Duty), 2);
  EXPECT_EQ(static_cast<int>(RunMode::Dialog), 3);
}

TEST(CommandLine, NameAndExecutableMayBeEmpty) {
  for (const wchar_t* const name : {L"", L"Draw It"}) {
    for (const wchar_t* const path : {L"", L"C:\\draw.exe"}) {
      EXPECT_EQ(ParseCommandLine({Program, L"duty", Address, L"C:\\data", name, path}),
                (CommandLine{RunMode::Duty, Address, L"C:\\data", L"", name, path}));
    }
  }
}

TEST(CommandLine, MissingOrEmptyArgumentIsRefused) {
  const Arguments refused[] = {
      {},
      {Program},
      {L"dlg", L"C:\\data", L"C:\\data"},
      {Program, L"log_handle"},
      {Program, L"log_handle", L"C:\\data"},
      {Program, L"log_handle", L"", L"C:\\logs"},
      {Program, L"log_handle", L"C:\\data", L""},
      {Program, L"log_handle", L"", L"", L"C:\\data", L"C:\\logs"},
      {Program, L"duty"},
      {Program, L"duty", Address, L"C:\\data"},
      {Program, L"duty", Address, L"C:\\data", L"Draw It"},
      {Program, L"duty", L"", L"C:\\data", L"Draw It", L"C:\\draw.exe"},
      {Program, L"duty", Address, L"", L"Draw It", L"C:\\draw.exe"},
      {Program, L"dlg"},
      {Program, L"dlg", L""},
  };
  for (const Arguments& arguments : refused) {
    EXPECT_EQ(ParseCommandLine(arguments), std::nullopt) << testing::PrintToString(arguments);
  }
}

TEST(CommandLine, ModeWordIsComparedExactly) {
  for (const std::wstring word : {L"LOG_HANDLE",  L"Log_handle",  L"log_Handle",  L"DUTY",
                                  L"Duty",        L"dutY",        L"DLG",         L"Dlg",
                                  L"dlG",         L" log_handle", L"log_handle ", L"log handle",
                                  L" duty",       L"duty ",       L" dlg",        L"dlg ",
                                  L"dlg\t",       L"\"dlg\"",     L"log_handl",   L"log_",
                                  L"log",         L"dut",         L"d",           L"dl",
                                  L"log_handles", L"duty1",       L"dlgs",        L"dlg=C:\\data",
                                  L"/log_handle", L"-duty",       L"--dlg",       L"",
                                  L" ",           L"1",           L"2",           L"3",
                                  L"upload",      L"help"}) {
    EXPECT_EQ(ParseCommandLine({Program, word, L"a", L"b", L"c", L"d"}), std::nullopt)
        << testing::PrintToString(word);
  }
  EXPECT_EQ(ParseCommandLine({Program, std::wstring(L"dlg\0", 4), L"a"}), std::nullopt);
}

}  // namespace
