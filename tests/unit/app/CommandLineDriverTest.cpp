#include "app/CommandLineDriver.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <new>
#include <string>
#include <vector>

#include "tests/support/TestProcess.h"
#include "tests/unit/app/RunFakes.h"

namespace {

using Arguments = std::vector<std::wstring>;

constexpr wchar_t Program[] = L"C:\\pelto\\PELTOSender.exe";
constexpr wchar_t Address[] = L"http://collect.example/in";
constexpr char LineCommand[] = "            <cmd id=\"1\" name=\"Line\" count=\"1\" />\r\n";

class CommandLineDriver : public testing::Test {
 protected:
  int RunDriver(const Arguments& arguments) { return RunCommandLine(arguments, steps_, clock_); }

  Journal journal_;
  JournalClock clock_{journal_};
  RecordingSteps steps_{journal_};
};

TEST_F(CommandLineDriver, RefusedCommandLineReturnsOneAndTouchesNothing) {
  const TempFolder temp;
  const std::wstring data = temp / L"data";
  const Arguments refused[] = {
      {},
      {Program},
      {Program, data},
      {Program, L"log_handle", data},
      {Program, L"duty", Address, data, L"Draw It"},
      {Program, L"duty", L"", data, L"Draw It", L""},
      {Program, L"dlg"},
      {Program, L"DLG", data},
      {Program, L"unknown", data, data, data, data},
  };
  for (const Arguments& arguments : refused) {
    EXPECT_EQ(RunDriver(arguments), 1) << testing::PrintToString(arguments);
    EXPECT_EQ(journal_, Journal{}) << testing::PrintToString(arguments);
    EXPECT_TRUE(std::filesystem::is_empty(temp.Path())) << testing::PrintToString(arguments);
  }
}

TEST_F(CommandLineDriver, LogHandleHarvestsTheLogFolderIntoTheReportWithoutNameAndVersion) {
  const DataFolder data;
  steps_.onHarvest = [](CommandStats& commands, FileTypeStats&) {
    commands.Count({UsageEventKind::Command, L"Line", {}});
  };
  const std::wstring host = ProgramFolder() + L"\\versioned.exe";
  EXPECT_EQ(RunDriver({Program, L"log_handle", data.path, data.logs, L"Draw It", host, host}), 0);
  EXPECT_EQ(journal_, Journal{"harvest logs"});
  EXPECT_EQ(ReadBytes(data.reportPath), FormatReport(LineCommand, "", "", ""));
}

TEST_F(CommandLineDriver, DutySendsTheNameAndTheProductVersionThatThereAre) {
  const std::wstring versioned = ProgramFolder() + L"\\versioned.exe";
  const std::string name = "        <prop name=\"app_name\">Draw It</prop>\r\n";
  const std::string version = "        <prop name=\"app_ver\">65535.7.40000.12</prop>\r\n";
  const struct {
    std::wstring name;
    std::wstring executable;
    std::string application;
  } cases[] = {{L"Draw It", versioned, name + version},
               {L"Draw It", ProgramFolder() + L"\\missing.exe", name},
               {L"Draw It", ProgramFolder() + L"\\holder.exe", name},
               {L"", versioned, version},
               {L"", L"", ""}};
  for (const auto& run : cases) {
    const DataFolder data;
    journal_.clear();
    EXPECT_EQ(RunDriver({Program, L"duty", Address, data.path, run.name, run.executable}), 0);
    EXPECT_EQ(journal_, (Journal{"collect", "upload http://collect.example/in"}));
    EXPECT_EQ(steps_.sent, FormatReport("", "", "", run.application));
  }
}

TEST_F(CommandLineDriver, FailedUploadReturnsZeroToo) {
  const DataFolder data;
  steps_.onUpload = [] { return 0; };
  EXPECT_EQ(RunDriver({Program, L"duty", Address, data.path, L"", L""}), 0);
  EXPECT_EQ(journal_, (Journal{"collect", "upload http://collect.example/in"}));
}

TEST_F(CommandLineDriver, DlgWithThreeArgumentsShowsTheDialog) {
  const TempFolder temp;
  const std::wstring data = temp / L"new\\data";
  EXPECT_EQ(RunDriver({Program, L"dlg", data}), 0);
  EXPECT_EQ(journal_, Journal{"dialog 0 0"});
  EXPECT_EQ(ReadSettings(data + L"\\PeltoReport.ini")["General/LastDlgOpenDate"],
            "2024-03-05T14:07:09Z");
}

TEST_F(CommandLineDriver, FailedInitializationReturnsZeroAndRunsNothing) {
  const TempFolder temp;
  const std::wstring data = temp / L"data";
  std::filesystem::create_directory(data);
  const FileHolder holder(L"unshared", data + L"\\PeltoReport.ini");
  EXPECT_EQ(RunDriver({Program, L"log_handle", data, temp.Path().wstring()}), 0);
  EXPECT_EQ(RunDriver({Program, L"duty", Address, data, L"", L""}), 0);
  EXPECT_EQ(RunDriver({Program, L"dlg", data}), 0);
  EXPECT_EQ(journal_, Journal{});
  EXPECT_FALSE(Exists(data + L"\\PeltoReport.xml"));
}

TEST_F(CommandLineDriver, ReleasesTheReportWhenItReturns) {
  const DataFolder data;
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(RunDriver({Program, L"log_handle", data.path, data.logs}), 0);
  }
  EXPECT_EQ(journal_, (Journal{"harvest logs", "harvest logs"})) << "the second run waited";
}

TEST_F(CommandLineDriver, ExceptionThatEscapesTheRunEndsItSilently) {
  const TempFolder temp;
  steps_.onDialog = [](const CReportStore*) { throw std::bad_alloc(); };
  EXPECT_EQ(RunDriver({Program, L"dlg", temp.Path().wstring()}), 0);
  EXPECT_EQ(journal_, (Journal{"dialog 0 0"}));
}

}  // namespace
