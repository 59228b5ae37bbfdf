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

class CommandLineDriver : public testing::Test {
 protected:
  int Run(const Arguments& arguments) { return RunCommandLine(arguments, steps_, clock_); }

  Journal journal_;
  JournalClock clock_{journal_};
  RecordingSteps steps_{journal_};
};

TEST_F(CommandLineDriver, RefusedCommandLineGivesOneAndTouchesNothing) {
  const TempFolder temp;
  const std::wstring data = temp / L"data";
  const std::wstring logs = temp / L"logs";
  const std::wstring host = temp / L"host.exe";
  const Arguments refused[] = {
      {},
      {Program},
      {Program, data},
      {Program, L""},
      {Program, L"log_handle"},
      {Program, L"log_handle", data},
      {Program, L"log_handle", data, L""},
      {Program, L"log_handle", L"", logs},
      {Program, L"duty"},
      {Program, L"duty", Address, data},
      {Program, L"duty", Address, data, L"Draw It"},
      {Program, L"duty", L"", data, L"Draw It", host},
      {Program, L"duty", Address, L"", L"Draw It", host},
      {Program, L"dlg"},
      {Program, L"dlg", L""},
      {Program, L"DLG", data},
      {Program, L"Log_Handle", data, logs},
      {Program, L"DUTY", Address, data, L"Draw It", host},
      {Program, L"unknown", data, data, data, data},
  };
  for (const Arguments& arguments : refused) {
    EXPECT_EQ(Run(arguments), 1) << testing::PrintToString(arguments);
    EXPECT_EQ(journal_, Journal{}) << testing::PrintToString(arguments);
    EXPECT_TRUE(std::filesystem::is_empty(temp.Path())) << testing::PrintToString(arguments);
  }
}

TEST_F(CommandLineDriver, LogHandleHarvestsTheLogFolderIntoTheReportOfTheDataFolder) {
  const DataFolder data;
  steps_.onHarvest = [](CommandStats& commands, FileTypeStats&) {
    commands.Count({UsageEventKind::Command, L"Line", {}});
  };
  EXPECT_EQ(Run({Program, L"log_handle", data.path, data.logs}), 0);
  EXPECT_EQ(journal_, Journal{"harvest " + std::filesystem::path(data.logs).string()});
  EXPECT_EQ(ReadBytes(data.reportPath),
            "<PeltoRpt>\r\n"
            "    <cmd_stat>\r\n"
            "        <cmds>\r\n"
            "            <cmd id=\"1\" name=\"Line\" count=\"1\" />\r\n"
            "        </cmds>\r\n"
            "    </cmd_stat>\r\n"
            "    <ftype_stat>\r\n"
            "        <ftypes />\r\n"
            "    </ftype_stat>\r\n"
            "    <sys_info>\r\n"
            "        <prop name=\"ID\">0a1b2c3d-4e5f-6071-8293-a4b5c6d7e8f9</prop>\r\n"
            "    </sys_info>\r\n"
            "    <app_info />\r\n"
            "</PeltoRpt>\r\n");
}

TEST_F(CommandLineDriver, LogHandleTakesNoNameAndNoVersionFromFurtherArguments) {
  const DataFolder data;
  const std::wstring host = ProgramFolder() + L"\\versioned.exe";
  EXPECT_EQ(Run({Program, L"log_handle", data.path, data.logs, L"Draw It", host, host}), 0);
  const std::string report = ReadBytes(data.reportPath);
  EXPECT_NE(report.find("    <app_info />\r\n"), std::string::npos) << report;
}

/// The application's part of the report that a duty run with these arguments sends.
class DutyDriver : public CommandLineDriver {
 protected:
  std::string SentApplication(const std::wstring& name, const std::wstring& executable) {
    const DataFolder data;
    EXPECT_EQ(Run({Program, L"duty", Address, data.path, name, executable}), 0);
    EXPECT_EQ(journal_, (Journal{"collect", "upload http://collect.example/in"}));
    const size_t begin = steps_.sent.find("    <app_info");
    const size_t end = steps_.sent.find("</PeltoRpt>");
    if (begin == std::string::npos || end == std::string::npos) return "none: " + steps_.sent;
    return steps_.sent.substr(begin, end - begin);
  }

  const std::wstring versioned_ = ProgramFolder() + L"\\versioned.exe";
};

TEST_F(DutyDriver, SendsTheNameAndTheProductVersionOfTheExecutable) {
  EXPECT_EQ(SentApplication(L"Draw It", versioned_),
            "    <app_info>\r\n"
            "        <prop name=\"app_name\">Draw It</prop>\r\n"
            "        <prop name=\"app_ver\">65535.7.40000.12</prop>\r\n"
            "    </app_info>\r\n");
}

TEST_F(DutyDriver, SendsNoVersionOfAMissingExecutable) {
  EXPECT_EQ(SentApplication(L"Draw It", ProgramFolder() + L"\\missing.exe"),
            "    <app_info>\r\n"
            "        <prop name=\"app_name\">Draw It</prop>\r\n"
            "    </app_info>\r\n");
}

TEST_F(DutyDriver, SendsNoVersionOfAnExecutableWithoutOne) {
  EXPECT_EQ(SentApplication(L"Draw It", ProgramFolder() + L"\\holder.exe"),
            "    <app_info>\r\n"
            "        <prop name=\"app_name\">Draw It</prop>\r\n"
            "    </app_info>\r\n");
}

TEST_F(DutyDriver, SendsNoNameWhenItIsEmpty) {
  EXPECT_EQ(SentApplication(L"", versioned_),
            "    <app_info>\r\n"
            "        <prop name=\"app_ver\">65535.7.40000.12</prop>\r\n"
            "    </app_info>\r\n");
}

TEST_F(DutyDriver, SendsNeitherWhenBothAreEmpty) {
  EXPECT_EQ(SentApplication(L"", L""), "    <app_info />\r\n");
}

TEST_F(CommandLineDriver, FailedUploadGivesZeroToo) {
  const DataFolder data;
  steps_.onUpload = [] { return 0; };
  EXPECT_EQ(Run({Program, L"duty", Address, data.path, L"", L""}), 0);
  EXPECT_EQ(journal_, (Journal{"collect", "upload http://collect.example/in"}));
}

TEST_F(CommandLineDriver, DlgWithThreeArgumentsShowsTheDialog) {
  const TempFolder temp;
  const std::wstring data = temp / L"new\\data";
  EXPECT_EQ(Run({Program, L"dlg", data}), 0);
  EXPECT_EQ(journal_, Journal{"dialog 0 0"});
  EXPECT_EQ(ReadSettings(data + L"\\PeltoReport.ini")["General/LastDlgOpenDate"],
            "2024-03-05T14:07:09Z");
}

TEST_F(CommandLineDriver, FailedInitialisationGivesZeroAndRunsNothing) {
  const TempFolder temp;
  const std::wstring data = temp / L"data";
  std::filesystem::create_directory(data);
  const FileHolder holder(L"unshared", data + L"\\PeltoReport.ini");
  EXPECT_EQ(Run({Program, L"log_handle", data, temp.Path().wstring()}), 0);
  EXPECT_EQ(Run({Program, L"duty", Address, data, L"", L""}), 0);
  EXPECT_EQ(Run({Program, L"dlg", data}), 0);
  EXPECT_EQ(journal_, Journal{});
  EXPECT_FALSE(Exists(data + L"\\PeltoReport.xml"));
}

TEST_F(CommandLineDriver, LetsGoOfTheReportWhenItReturns) {
  const DataFolder data;
  EXPECT_EQ(Run({Program, L"log_handle", data.path, data.logs}), 0);
  EXPECT_EQ(Run({Program, L"log_handle", data.path, data.logs}), 0);
  const std::string harvest = "harvest " + std::filesystem::path(data.logs).string();
  EXPECT_EQ(journal_, (Journal{harvest, harvest})) << "the second run waited";
}

TEST_F(CommandLineDriver, ExceptionThatEscapesTheRunEndsItQuietly) {
  const TempFolder temp;
  steps_.onDialog = [](CReportStore&) { throw std::bad_alloc(); };
  EXPECT_EQ(Run({Program, L"dlg", temp.Path().wstring()}), 0);
  EXPECT_EQ(journal_, (Journal{"dialog 0 0"}));
}

}  // namespace
