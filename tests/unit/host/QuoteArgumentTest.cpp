// Quoting, as the system and the program take it apart.
#include <gtest/gtest.h>

#include <iterator>
#include <memory>
#include <random>

#include "app/CommandLine.h"
#include "platform/WindowsHeader.h"
#include "samples/host/PeltoHost.h"
#include "tests/support/CommandLineRule.h"

#include <shellapi.h>

namespace {

std::vector<std::wstring> SplitBySystem(const std::wstring& line) {
  int count = 0;
  const std::unique_ptr<wchar_t*, decltype(&LocalFree)> texts(
      CommandLineToArgvW(line.c_str(), &count), LocalFree);
  return {texts.get(), texts.get() + count};
}

std::wstring Join(const std::vector<std::wstring>& arguments) {
  std::wstring line;
  for (const std::wstring& argument : arguments) {
    line += (line.empty() ? L"" : L" ") + pelto::QuoteArgument(argument);
  }
  return line;
}

TEST(QuoteArgument, IsThisToTheCharacter) {
  EXPECT_EQ(pelto::QuoteArgument(L""), L"\"\"");
  EXPECT_EQ(pelto::QuoteArgument(L"C:\\Data"), L"\"C:\\Data\"");
  EXPECT_EQ(pelto::QuoteArgument(L"C:\\Data\\"), L"\"C:\\Data\\\\\"");
  EXPECT_EQ(pelto::QuoteArgument(L"a \"b\\\" c"), L"\"a \\\"b\\\\\\\" c\"");
}

TEST(QuoteArgument, ArrivesInTheProgramUnchanged) {
  const std::wstring address = L"http://127.0.0.1/collect?product=\"x\"\\";
  const std::wstring folder = L"C:\\Daten \u00C4 \u65E5\u672C\\";
  const std::wstring name = L"\\\"Designer\\\\\" \U0001F600\t";
  const auto parsed =
      ParseCommandLine(SplitBySystem(Join({L"C:\\Program Files\\PELTOSender.exe", L"duty", address,
                                           folder, name, L"\\\\server\\share\\\\"})));
  ASSERT_TRUE(parsed.has_value());
  EXPECT_EQ(parsed->mode, RunMode::Duty);
  EXPECT_EQ(parsed->uploadAddress, address);
  EXPECT_EQ(parsed->dataFolder, folder);
  EXPECT_EQ(parsed->applicationName, name);
  EXPECT_EQ(parsed->applicationPath, L"\\\\server\\share\\\\");
}

TEST(QuoteArgument, AnyTextsArriveUnchangedBySystemAndByRule) {
  constexpr wchar_t Characters[] = {L'\\', L'\\', L'"', L'"', L' ', L'\t', L'a', L'\n', L'\u65E5'};
  std::mt19937 random(7);
  const auto below = [&random](size_t end) { return random() % end; };
  for (int round = 0; round < 20'000; ++round) {
    std::vector<std::wstring> arguments = {L"C:\\Program Files\\a.exe"};
    for (size_t count = below(5); count > 0; --count) {
      std::wstring& argument = arguments.emplace_back();
      for (size_t length = below(9); length > 0; --length) {
        argument += Characters[below(std::size(Characters))];
      }
    }
    const std::wstring line = Join(arguments);
    ASSERT_EQ(SplitBySystem(line), arguments) << "round " << round;
    ASSERT_EQ(SplitQuotedCommandLine(line), arguments) << "round " << round;
  }
}

}  // namespace
