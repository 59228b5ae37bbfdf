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

TEST(CommandLine, LogHandleTakesDataAndLogFolder) {
  EXPECT_EQ(ParseCommandLine({Program, L"log_handle", L"C:\\data", L"C:\\logs"}),
            (CommandLine{RunMode::LogHandle, L"", L"C:\\data", L"C:\\logs", L"", L""}));
}

TEST(CommandLine, DutyTakesAddressDataFolderNameAndExecutable) {
  EXPECT_EQ(ParseCommandLine({Program, L"duty", Address, L"C:\\data", L"Draw It", L"C:\\draw.exe"}),
            (CommandLine{RunMode::Duty, Address, L"C:\\data", L"", L"Draw It", L"C:\\draw.exe"}));
}

TEST(CommandLine, DlgTakesDataFolder) {
  EXPECT_EQ(ParseCommandLine({Program, L"dlg", L"C:\\data"}),
            (CommandLine{RunMode::Dialog, L"", L"C:\\data", L"", L"", L""}));
}

TEST(CommandLine, ModesHaveTheirNumbers) {
  EXPECT_EQ(static_cast<int>(RunMode::LogHandle), 1);
  EXPECT_EQ(static_cast<int>(RunMode::Duty), 2);
  EXPECT_EQ(static_cast<int>(RunMode::Dialog), 3);
}

TEST(CommandLine, NoArgumentsAtAllAreRefused) {
  EXPECT_EQ(ParseCommandLine({}), std::nullopt);
}

TEST(CommandLine, ProgramPathAloneIsRefused) {
  EXPECT_EQ(ParseCommandLine({Program}), std::nullopt);
}

TEST(CommandLine, ProgramPathIsNotLookedAt) {
  EXPECT_EQ(ParseCommandLine({L"", L"dlg", L"C:\\data"}),
            (CommandLine{RunMode::Dialog, L"", L"C:\\data", L"", L"", L""}));
}

TEST(CommandLine, ModeWordInThePlaceOfTheProgramPathIsRefused) {
  EXPECT_EQ(ParseCommandLine({L"dlg", L"C:\\data", L"C:\\data"}), std::nullopt);
}

TEST(CommandLine, ModeWordsAloneAreRefused) {
  EXPECT_EQ(ParseCommandLine({Program, L"log_handle"}), std::nullopt);
  EXPECT_EQ(ParseCommandLine({Program, L"duty"}), std::nullopt);
  EXPECT_EQ(ParseCommandLine({Program, L"dlg"}), std::nullopt);
}

TEST(CommandLine, LogHandleWithThreeArgumentsIsRefused) {
  EXPECT_EQ(ParseCommandLine({Program, L"log_handle", L"C:\\data"}), std::nullopt);
}

TEST(CommandLine, DutyWithFiveArgumentsIsRefused) {
  EXPECT_EQ(ParseCommandLine({Program, L"duty", Address, L"C:\\data", L"Draw It"}), std::nullopt);
}

TEST(CommandLine, DlgWithTwoArgumentsIsRefused) {
  EXPECT_EQ(ParseCommandLine({Program, L"dlg"}), std::nullopt);
}

TEST(CommandLine, FurtherArgumentsOfLogHandleAreIgnored) {
  EXPECT_EQ(
      ParseCommandLine({Program, L"log_handle", L"C:\\data", L"C:\\logs", L"name", L"", L"x"}),
      (CommandLine{RunMode::LogHandle, L"", L"C:\\data", L"C:\\logs", L"", L""}));
}

TEST(CommandLine, FurtherArgumentsOfDutyAreIgnored) {
  EXPECT_EQ(ParseCommandLine(
                {Program, L"duty", Address, L"C:\\data", L"Draw It", L"C:\\draw.exe", L"x", L""}),
            (CommandLine{RunMode::Duty, Address, L"C:\\data", L"", L"Draw It", L"C:\\draw.exe"}));
}

TEST(CommandLine, FurtherArgumentsOfDlgAreIgnored) {
  EXPECT_EQ(ParseCommandLine({Program, L"dlg", L"C:\\data", L"C:\\logs", L"duty"}),
            (CommandLine{RunMode::Dialog, L"", L"C:\\data", L"", L"", L""}));
}

/// The program's path, the word and as many texts as any mode takes.
Arguments WithModeWord(const std::wstring& word) {
  return {Program, word, L"a", L"b", L"c", L"d"};
}

class UnknownModeWord : public testing::TestWithParam<const wchar_t*> {};

TEST_P(UnknownModeWord, IsRefused) {
  EXPECT_EQ(ParseCommandLine(WithModeWord(GetParam())), std::nullopt);
}

INSTANTIATE_TEST_SUITE_P(InOtherCase, UnknownModeWord,
                         testing::Values(L"LOG_HANDLE", L"Log_handle", L"log_Handle", L"DUTY",
                                         L"Duty", L"dutY", L"DLG", L"Dlg", L"dlG"));
INSTANTIATE_TEST_SUITE_P(WithBlanks, UnknownModeWord,
                         testing::Values(L" log_handle", L"log_handle ", L"log handle", L" duty",
                                         L"duty ", L" dlg", L"dlg ", L"dlg\t", L"\"dlg\""));
INSTANTIATE_TEST_SUITE_P(CutShort, UnknownModeWord,
                         testing::Values(L"log_handl", L"log_", L"log", L"dut", L"d", L"dl"));
INSTANTIATE_TEST_SUITE_P(WithMoreBehind, UnknownModeWord,
                         testing::Values(L"log_handles", L"duty1", L"dlgs", L"dlg=C:\\data"));
INSTANTIATE_TEST_SUITE_P(WithMoreBefore, UnknownModeWord,
                         testing::Values(L"/log_handle", L"-duty", L"--dlg"));
INSTANTIATE_TEST_SUITE_P(OfAnotherKind, UnknownModeWord,
                         testing::Values(L"", L" ", L"1", L"2", L"3", L"upload", L"help"));

TEST(CommandLine, TextBehindANulIsPartOfTheModeWord) {
  EXPECT_EQ(ParseCommandLine(WithModeWord(std::wstring(L"dlg\0", 4))), std::nullopt);
}

TEST(CommandLine, EmptyDataFolderOfLogHandleIsRefused) {
  EXPECT_EQ(ParseCommandLine({Program, L"log_handle", L"", L"C:\\logs"}), std::nullopt);
}

TEST(CommandLine, EmptyLogFolderOfLogHandleIsRefused) {
  EXPECT_EQ(ParseCommandLine({Program, L"log_handle", L"C:\\data", L""}), std::nullopt);
}

TEST(CommandLine, EmptyAddressOfDutyIsRefused) {
  EXPECT_EQ(ParseCommandLine({Program, L"duty", L"", L"C:\\data", L"Draw It", L"C:\\draw.exe"}),
            std::nullopt);
}

TEST(CommandLine, EmptyDataFolderOfDutyIsRefused) {
  EXPECT_EQ(ParseCommandLine({Program, L"duty", Address, L"", L"Draw It", L"C:\\draw.exe"}),
            std::nullopt);
}

TEST(CommandLine, EmptyNameOfDutyIsTaken) {
  EXPECT_EQ(ParseCommandLine({Program, L"duty", Address, L"C:\\data", L"", L"C:\\draw.exe"}),
            (CommandLine{RunMode::Duty, Address, L"C:\\data", L"", L"", L"C:\\draw.exe"}));
}

TEST(CommandLine, EmptyExecutableOfDutyIsTaken) {
  EXPECT_EQ(ParseCommandLine({Program, L"duty", Address, L"C:\\data", L"Draw It", L""}),
            (CommandLine{RunMode::Duty, Address, L"C:\\data", L"", L"Draw It", L""}));
}

TEST(CommandLine, EmptyNameAndExecutableOfDutyAreTakenTogether) {
  EXPECT_EQ(ParseCommandLine({Program, L"duty", Address, L"C:\\data", L"", L""}),
            (CommandLine{RunMode::Duty, Address, L"C:\\data", L"", L"", L""}));
}

TEST(CommandLine, EmptyDataFolderOfDlgIsRefused) {
  EXPECT_EQ(ParseCommandLine({Program, L"dlg", L""}), std::nullopt);
}

TEST(CommandLine, EmptyFurtherArgumentsStandForNoRequiredOne) {
  EXPECT_EQ(ParseCommandLine({Program, L"log_handle", L"", L"", L"C:\\data", L"C:\\logs"}),
            std::nullopt);
}

}  // namespace
