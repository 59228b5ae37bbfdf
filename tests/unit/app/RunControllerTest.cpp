#include "app/RunController.h"

#include <gtest/gtest.h>

#include <memory>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>

#include "platform/Handles.h"
#include "survey/SystemInformation.h"
#include "tests/support/TestProcess.h"
#include "tests/unit/app/RunFakes.h"

namespace {

constexpr wchar_t Address[] = L"http://collect.example/in";

// The clock's time at the start of a run, and the times to which the steps move it.
constexpr char StartDate[] = "2024-03-05T14:07:09Z";
constexpr CivilTime CollectedTime = {2024, 3, 5, 14, 8, 0, 0};
constexpr CivilTime AnsweredTime = {2024, 3, 5, 15, 30, 1, 999};
constexpr char Answered[] = "2024-03-05T15:30:01Z";
constexpr CivilTime SentTime = {2024, 3, 5, 16, 45, 2, 500};
constexpr char Sent[] = "2024-03-05T16:45:02Z";

// The table of a run: which steps the stored state, the dates and the mode call for. It is written
// from what a run has to do, row by row, and shares nothing with the controller.

/// What a date in the settings means for its gate.
enum class Gate { Open, Closed, ClosedAndPutDown };

struct StoredDate {
  const char* name;
  /// Null: the key is missing.
  const char* text;
  Gate gate;
};

constexpr StoredDate DialogDates[] = {
    {"missing", nullptr, Gate::ClosedAndPutDown},
    {"7 days", "2024-02-27T14:07:09Z", Gate::Open},
    {"7 days less 1 s", "2024-02-27T14:07:10Z", Gate::Closed},
    {"future", "2099-01-01T00:00:00Z", Gate::Open},
    {"malformed", "yesterday", Gate::ClosedAndPutDown},
};

constexpr StoredDate TransmissionDates[] = {
    {"missing", nullptr, Gate::Open},
    {"28 days", "2024-02-06T14:07:09Z", Gate::Open},
    {"28 days less 1 s", "2024-02-06T14:07:10Z", Gate::Closed},
    {"future", "2099-01-01T00:00:00Z", Gate::Open},
    {"malformed", "yesterday", Gate::Open},
};

constexpr StoredDate SystemInformationDates[] = {
    {"missing", nullptr, Gate::Open},
    {"30 days", "2024-02-04T14:07:09Z", Gate::Open},
    {"30 days less 1 s", "2024-02-04T14:07:10Z", Gate::Closed},
    {"future", "2099-01-01T00:00:00Z", Gate::Open},
    {"malformed", "yesterday", Gate::Open},
};

/// Null: the key is missing.
constexpr const char* ShowMessages[] = {nullptr, "0", "1"};

enum class Work { Nothing, Logs, Reminder, Transmission, Dialog };

struct StateAndMode {
  const char* name;
  RunMode mode;
  /// Null: the key is missing.
  const char* state;
  Work work;
};

constexpr StateAndMode StatesAndModes[] = {
    {"LogHandleWithoutAState", RunMode::LogHandle, nullptr, Work::Nothing},
    {"LogHandleInState1", RunMode::LogHandle, "1", Work::Logs},
    {"LogHandleInState2", RunMode::LogHandle, "2", Work::Nothing},
    {"LogHandleInState3", RunMode::LogHandle, "3", Work::Nothing},
    {"LogHandleInState7", RunMode::LogHandle, "7", Work::Nothing},
    {"LogHandleInStateMinus1", RunMode::LogHandle, "-1", Work::Nothing},
    {"DutyWithoutAState", RunMode::Duty, nullptr, Work::Reminder},
    {"DutyInState1", RunMode::Duty, "1", Work::Transmission},
    {"DutyInState2", RunMode::Duty, "2", Work::Reminder},
    {"DutyInState3", RunMode::Duty, "3", Work::Nothing},
    {"DutyInState7", RunMode::Duty, "7", Work::Nothing},
    {"DutyInStateMinus1", RunMode::Duty, "-1", Work::Nothing},
    {"DlgWithoutAState", RunMode::Dialog, nullptr, Work::Dialog},
    {"DlgInState1", RunMode::Dialog, "1", Work::Dialog},
    {"DlgInState2", RunMode::Dialog, "2", Work::Dialog},
    {"DlgInState3", RunMode::Dialog, "3", Work::Dialog},
    {"DlgInState7", RunMode::Dialog, "7", Work::Dialog},
    {"DlgInStateMinus1", RunMode::Dialog, "-1", Work::Dialog},
};

/// One row: everything that a run depends on.
struct Row {
  const StateAndMode& start;
  const char* showMessage;
  const StoredDate& dialog;
  const StoredDate& transmission;
  const StoredDate& systemInformation;
  int uploadResult;

  Settings StoredSettings() const {
    Settings settings{{"PELTO/ID", Identifier}};
    const auto add = [&settings](const char* key, const char* value) {
      if (value != nullptr) settings[std::string("General/") + key] = value;
    };
    add("PeltoState", start.state);
    add("ShowMessage", showMessage);
    add("LastDlgOpenDate", dialog.text);
    add("LastTransmissionDate", transmission.text);
    add("LastSysInfoCollectingDate", systemInformation.text);
    return settings;
  }

  std::string Text() const {
    return std::string(start.name) + ", ShowMessage " +
           (showMessage == nullptr ? "missing" : showMessage) + ", dialog date " + dialog.name +
           ", transmission date " + transmission.name + ", system information date " +
           systemInformation.name + ", upload " + (uploadResult != 0 ? "succeeds" : "fails");
  }
};

/// What a run leaves behind.
struct Outcome {
  Journal steps;
  Settings settings;
  bool hasReport = true;
  int status = 0;

  std::string Text() const {
    std::string text = "status " + std::to_string(status);
    text += hasReport ? ", a report" : ", no report";
    for (const std::string& step : steps) text += "\n  " + step;
    for (const auto& [name, value] : settings) text += "\n    " + name + "=" + value;
    return text;
  }
};

Outcome ExpectedOutcome(const Row& row, const std::string& logFolder) {
  Outcome outcome{{}, row.StoredSettings(), true, 0};
  switch (row.start.work) {
    case Work::Nothing:
      break;
    case Work::Logs:
      outcome.steps = {"harvest " + logFolder};
      outcome.status = 1;
      break;
    case Work::Dialog:
      outcome.steps = {"dialog 0 0"};
      outcome.settings["General/LastDlgOpenDate"] = Answered;
      break;
    case Work::Reminder:
      if (row.showMessage != nullptr && row.showMessage == std::string("0")) break;
      if (row.dialog.gate == Gate::ClosedAndPutDown) {
        outcome.settings["General/LastDlgOpenDate"] = StartDate;
      } else if (row.dialog.gate == Gate::Open) {
        outcome.steps = {"wait 50000", "dialog 1 1"};
        outcome.settings["General/LastDlgOpenDate"] = Answered;
      }
      break;
    case Work::Transmission: {
      if (row.transmission.gate != Gate::Open) break;
      const bool collects = row.systemInformation.gate == Gate::Open;
      if (collects) outcome.steps = {"collect"};
      outcome.steps.emplace_back("upload http://collect.example/in");
      if (row.uploadResult == 0) break;
      outcome.settings["General/LastTransmissionDate"] = Sent;
      if (collects) outcome.settings["General/LastSysInfoCollectingDate"] = Sent;
      outcome.hasReport = false;
      outcome.status = 1;
      break;
    }
  }
  return outcome;
}

Outcome ActualOutcome(const Row& row, const std::wstring& dataFolder, const std::wstring& logs) {
  std::filesystem::create_directory(dataFolder);
  WriteSettings(dataFolder + L"\\PeltoReport.ini", row.StoredSettings());

  Outcome outcome;
  JournalClock clock(outcome.steps);
  RecordingSteps steps(outcome.steps);
  steps.onDialog = [&clock](CReportStore&) { clock.now = AnsweredTime; };
  steps.onCollect = [&clock](CReportStore&) { clock.now = CollectedTime; };
  steps.onUpload = [&clock, &row] {
    clock.now = SentTime;
    return row.uploadResult;
  };
  {
    CRunController controller(steps, clock);
    if (!controller.Initialize(Address, dataFolder, logs, L"Draw It", L"1.2.3.4")) {
      outcome.steps.emplace_back("initialisation failed");
    }
    outcome.status = controller.Run(row.start.mode);
  }
  outcome.settings = ReadSettings(dataFolder + L"\\PeltoReport.ini");
  outcome.hasReport = Exists(dataFolder + L"\\PeltoReport.xml");
  return outcome;
}

class RunTable : public testing::TestWithParam<StateAndMode> {};

TEST_P(RunTable, EveryCombinationOfGatesTakesTheStepsThatItCallsFor) {
  const TempFolder temp;
  const std::wstring logs = temp / L"logs";
  std::filesystem::create_directory(logs);
  const bool uploads = GetParam().work == Work::Transmission;
  int rows = 0;
  int failures = 0;
  for (const char* const showMessage : ShowMessages) {
    for (const StoredDate& dialog : DialogDates) {
      for (const StoredDate& transmission : TransmissionDates) {
        for (const StoredDate& systemInformation : SystemInformationDates) {
          for (const int uploadResult : {1, 0}) {
            if (uploadResult == 0 && !uploads) continue;
            const Row row = {GetParam(),   showMessage,       dialog,
                             transmission, systemInformation, uploadResult};
            const std::string expected =
                ExpectedOutcome(row, std::filesystem::path(logs).string()).Text();
            const std::string actual =
                ActualOutcome(row, temp / (L"data" + std::to_wstring(rows)), logs).Text();
            ++rows;
            if (actual == expected) continue;
            ADD_FAILURE() << row.Text() << "\nexpected: " << expected << "\nactual: " << actual;
            ASSERT_LT(++failures, 5) << "and perhaps more";
          }
        }
      }
    }
  }
  EXPECT_EQ(rows, uploads ? 750 : 375);
}

INSTANTIATE_TEST_SUITE_P(Run, RunTable, testing::ValuesIn(StatesAndModes),
                         [](const auto& state) { return std::string(state.param.name); });

/// A controller on a data folder of a user who takes part.
class RunController : public testing::Test {
 protected:
  void Start(const std::wstring& logFolder) {
    ASSERT_TRUE(controller_->Initialize(Address, data_.path, logFolder, L"Draw It", L"1.2.3.4"));
  }
  void Start() { Start(data_.logs); }

  int RunAndEnd(RunMode mode) {
    const int status = controller_->Run(mode);
    controller_.reset();
    return status;
  }

  Settings StoredSettings() const { return ReadSettings(data_.settingsPath); }

  const DataFolder data_;
  Journal journal_;
  JournalClock clock_{journal_};
  RecordingSteps steps_{journal_};
  std::unique_ptr<CRunController> controller_ = std::make_unique<CRunController>(steps_, clock_);
};

constexpr char StoredReport[] =
    "<PeltoRpt>\r\n"
    "    <cmd_stat>\r\n"
    "        <cmds>\r\n"
    "            <cmd id=\"3\" name=\"Line\" count=\"5\" />\r\n"
    "        </cmds>\r\n"
    "    </cmd_stat>\r\n"
    "    <ftype_stat>\r\n"
    "        <ftypes>\r\n"
    "            <ftype name=\".dwg\" ocnt=\"20\" scnt=\"30\" />\r\n"
    "        </ftypes>\r\n"
    "    </ftype_stat>\r\n"
    "</PeltoRpt>\r\n";

/// A report of the command "Line", given its commands, its file types and its properties.
std::string SavedReport(const std::string& commands, const std::string& fileTypes,
                        const std::string& properties = "") {
  return "<PeltoRpt>\r\n"
         "    <cmd_stat>\r\n"
         "        <cmds>\r\n" +
         commands +
         "        </cmds>\r\n"
         "    </cmd_stat>\r\n"
         "    <ftype_stat>\r\n"
         "        <ftypes>\r\n" +
         fileTypes +
         "        </ftypes>\r\n"
         "    </ftype_stat>\r\n"
         "    <sys_info>\r\n" +
         properties +
         "        <prop name=\"ID\">0a1b2c3d-4e5f-6071-8293-a4b5c6d7e8f9</prop>\r\n"
         "    </sys_info>\r\n"
         "    <app_info>\r\n"
         "        <prop name=\"app_name\">Draw It</prop>\r\n"
         "        <prop name=\"app_ver\">1.2.3.4</prop>\r\n"
         "    </app_info>\r\n"
         "</PeltoRpt>\r\n";
}

constexpr char LineCommand[] = "            <cmd id=\"3\" name=\"Line\" count=\"5\" />\r\n";
constexpr char DwgType[] = "            <ftype name=\".dwg\" ocnt=\"20\" scnt=\"30\" />\r\n";

void CountCommand(CommandStats& commands, const wchar_t* name) {
  commands.Count({UsageEventKind::Command, name, {}});
}

/// The machine's description by these answers, put into the store.
void Survey(const WmiQuery& ask, CReportStore& store) {
  CollectSystemInformation(
      ask, store.GetSystemProperties(),
      [&store](const std::wstring& name, const std::wstring& category, const std::wstring& value) {
        store.SetSystemProperty(name, category, value);
      });
}

// The log step.

TEST_F(RunController, LogStepLoadsTheReportBeforeItHarvests) {
  WriteBytes(data_.reportPath, StoredReport);
  std::uint64_t lines = 0;
  std::uint64_t opened = 0;
  steps_.onHarvest = [&](const CommandStats& commands, const FileTypeStats& fileTypes) {
    if (commands.GetEntries().contains(L"Line")) lines = commands.GetEntries().at(L"Line").count;
    if (fileTypes.GetEntries().contains(L".dwg")) opened = fileTypes.GetEntries().at(L".dwg").ocnt;
  };
  Start();
  EXPECT_EQ(RunAndEnd(RunMode::LogHandle), 1);
  EXPECT_EQ(lines, 5U);
  EXPECT_EQ(opened, 20U);
}

TEST_F(RunController, LogStepSavesWhatTheHarvestCountedIntoTheLoadedReport) {
  WriteBytes(data_.reportPath, StoredReport);
  steps_.onHarvest = [](CommandStats& commands, FileTypeStats& fileTypes) {
    CountCommand(commands, L"Circle");
    CountCommand(commands, L"Line");
    fileTypes.Count({UsageEventKind::SaveDocument, L"", {{L"FileType", L".dwg"}}});
  };
  Start();
  EXPECT_EQ(RunAndEnd(RunMode::LogHandle), 1);
  EXPECT_EQ(ReadBytes(data_.reportPath),
            SavedReport("            <cmd id=\"4\" name=\"Circle\" count=\"1\" />\r\n"
                        "            <cmd id=\"3\" name=\"Line\" count=\"6\" />\r\n",
                        "            <ftype name=\".dwg\" ocnt=\"20\" scnt=\"31\" />\r\n"));
}

TEST_F(RunController, LogStepBeginsANewReportWhenThereIsNone) {
  steps_.onHarvest = [](CommandStats& commands, FileTypeStats& fileTypes) {
    CountCommand(commands, L"Line");
    fileTypes.Count({UsageEventKind::OpenDocument, L"", {{L"FileType", L""}}});
  };
  Start();
  EXPECT_EQ(RunAndEnd(RunMode::LogHandle), 1);
  EXPECT_EQ(ReadBytes(data_.reportPath),
            SavedReport("            <cmd id=\"1\" name=\"Line\" count=\"1\" />\r\n",
                        "            <ftype name=\"\" ocnt=\"1\" scnt=\"0\" />\r\n"));
}

TEST_F(RunController, LogStepReplacesAReportThatCannotBeLoaded) {
  WriteBytes(data_.reportPath, "<PeltoRpt><cmd_stat>");
  steps_.onHarvest = [](CommandStats& commands, FileTypeStats& fileTypes) {
    CountCommand(commands, L"Line");
    fileTypes.Count({UsageEventKind::OpenDocument, L"", {{L"FileType", L".dwg"}}});
  };
  Start();
  EXPECT_EQ(RunAndEnd(RunMode::LogHandle), 1);
  EXPECT_EQ(ReadBytes(data_.reportPath),
            SavedReport("            <cmd id=\"1\" name=\"Line\" count=\"1\" />\r\n",
                        "            <ftype name=\".dwg\" ocnt=\"1\" scnt=\"0\" />\r\n"));
}

TEST_F(RunController, MissingLogFolderIsNotHarvestedButTheReportIsLoadedAndSaved) {
  WriteBytes(data_.reportPath, StoredReport);
  Start(data_.temp / L"missing");
  EXPECT_EQ(RunAndEnd(RunMode::LogHandle), 1);
  EXPECT_EQ(journal_, Journal{});
  EXPECT_EQ(ReadBytes(data_.reportPath), SavedReport(LineCommand, DwgType));
}

TEST_F(RunController, LogStepThatRunsOutOfMemoryLeavesTheReportAsItWas) {
  WriteBytes(data_.reportPath, StoredReport);
  steps_.onHarvest = [](CommandStats& commands, FileTypeStats&) {
    CountCommand(commands, L"Circle");
    throw std::bad_alloc();
  };
  Start();
  EXPECT_EQ(RunAndEnd(RunMode::LogHandle), 0);
  EXPECT_EQ(ReadBytes(data_.reportPath), StoredReport);
}

TEST_F(RunController, LogStepThatThrowsAnythingElseLeavesTheReportAsItWas) {
  WriteBytes(data_.reportPath, StoredReport);
  steps_.onHarvest = [](CommandStats&, FileTypeStats&) { throw 1; };
  Start();
  EXPECT_EQ(RunAndEnd(RunMode::LogHandle), 0);
  EXPECT_EQ(ReadBytes(data_.reportPath), StoredReport);
}

TEST_F(RunController, LogsOfAUserWhoDoesNotTakePartLeaveTheReportAsItWas) {
  const DataFolder data(Settings{{"General/PeltoState", "2"}});
  WriteBytes(data.reportPath, StoredReport);
  ASSERT_TRUE(controller_->Initialize(L"", data.path, data.logs, L"", L""));
  EXPECT_EQ(RunAndEnd(RunMode::LogHandle), 0);
  EXPECT_EQ(journal_, Journal{});
  EXPECT_EQ(ReadBytes(data.reportPath), StoredReport);
}

// The transmission.

TEST_F(RunController, UploadFindsTheReportSavedOnDisk) {
  WriteBytes(data_.reportPath, StoredReport);
  WriteSettings(data_.settingsPath, {{"General/PeltoState", "1"},
                                     {"General/LastSysInfoCollectingDate", "2024-03-05T14:07:08Z"},
                                     {"PELTO/ID", Identifier}});
  Start();
  EXPECT_EQ(RunAndEnd(RunMode::Duty), 1);
  EXPECT_EQ(journal_, Journal{"upload http://collect.example/in"});
  EXPECT_EQ(steps_.sent, SavedReport(LineCommand, DwgType));
}

TEST_F(RunController, UploadHasAReportAlsoWhenNothingWasGathered) {
  Start();
  RunAndEnd(RunMode::Duty);
  EXPECT_EQ(steps_.sent,
            "<PeltoRpt>\r\n"
            "    <cmd_stat>\r\n"
            "        <cmds />\r\n"
            "    </cmd_stat>\r\n"
            "    <ftype_stat>\r\n"
            "        <ftypes />\r\n"
            "    </ftype_stat>\r\n"
            "    <sys_info>\r\n"
            "        <prop name=\"ID\">0a1b2c3d-4e5f-6071-8293-a4b5c6d7e8f9</prop>\r\n"
            "    </sys_info>\r\n"
            "    <app_info>\r\n"
            "        <prop name=\"app_name\">Draw It</prop>\r\n"
            "        <prop name=\"app_ver\">1.2.3.4</prop>\r\n"
            "    </app_info>\r\n"
            "</PeltoRpt>\r\n");
}

TEST_F(RunController, CollectionStepFindsTheReportLoaded) {
  WriteBytes(data_.reportPath,
             "<PeltoRpt><sys_info><prop name=\"Version\" cat=\"OS\">6.1</prop></sys_info>"
             "</PeltoRpt>");
  std::wstring version;
  steps_.onCollect = [&version](CReportStore& store) {
    const SystemProperties& all = store.GetSystemProperties();
    if (all.contains({L"Version", L"OS"})) version = all.at({L"Version", L"OS"});
  };
  Start();
  RunAndEnd(RunMode::Duty);
  EXPECT_EQ(version, L"6.1");
}

TEST_F(RunController, ReportIsNotLoadedAgainAfterTheCollectionHasSavedIt) {
  WriteBytes(data_.reportPath, StoredReport);
  steps_.onCollect = [](CReportStore& store) {
    store.SetSystemProperty(L"Version", L"OS", L"6.1");
  };
  Start();
  EXPECT_EQ(RunAndEnd(RunMode::Duty), 1);
  EXPECT_EQ(journal_, (Journal{"collect", "upload http://collect.example/in"}));
  EXPECT_EQ(steps_.sent, SavedReport(LineCommand, DwgType,
                                     "        <prop name=\"Version\" cat=\"OS\">6.1</prop>\r\n"));
}

TEST_F(RunController, CollectionThatThrowsDoublesTheFileTypesAndKeepsTheCommands) {
  WriteBytes(data_.reportPath, StoredReport);
  steps_.onCollect = [](CReportStore&) { throw std::bad_alloc(); };
  Start();
  EXPECT_EQ(RunAndEnd(RunMode::Duty), 1);
  EXPECT_EQ(
      steps_.sent,
      SavedReport(LineCommand, "            <ftype name=\".dwg\" ocnt=\"40\" scnt=\"60\" />\r\n"));
}

TEST_F(RunController, CollectionThatThrowsAnythingElseIsOnlyAFailedCollection) {
  steps_.onCollect = [](CReportStore&) { throw 1; };
  Start();
  EXPECT_EQ(RunAndEnd(RunMode::Duty), 1);
  EXPECT_EQ(journal_, (Journal{"collect", "upload http://collect.example/in"}));
}

TEST_F(RunController, CollectionThatThrowsIsNotPutDownThoughTheUploadSucceeds) {
  steps_.onCollect = [](CReportStore&) { throw std::bad_alloc(); };
  Start();
  EXPECT_EQ(RunAndEnd(RunMode::Duty), 1);
  EXPECT_EQ(StoredSettings(), (Settings{{"General/PeltoState", "1"},
                                        {"General/LastTransmissionDate", StartDate},
                                        {"PELTO/ID", Identifier}}));
}

TEST_F(RunController, CollectionThatAddsNothingIsPutDownAllTheSame) {
  Start();
  EXPECT_EQ(RunAndEnd(RunMode::Duty), 1);
  EXPECT_EQ(StoredSettings(), (Settings{{"General/PeltoState", "1"},
                                        {"General/LastTransmissionDate", StartDate},
                                        {"General/LastSysInfoCollectingDate", StartDate},
                                        {"PELTO/ID", Identifier}}));
}

TEST_F(RunController, SurveyThatRunsOutOfMemoryLeavesNothingInTheReport) {
  WriteBytes(data_.reportPath, StoredReport);
  steps_.onCollect = [](CReportStore& store) {
    const WmiQuery ask = [](const wchar_t*, const std::wstring& query, const wchar_t*,
                            InfoSection* firstRow) {
      if (query.find(L"Adapter") != std::wstring::npos) throw std::bad_alloc();
      firstRow->AddProperty(L"Name", L"described");
      return 1;
    };
    Survey(ask, store);
  };
  Start();
  EXPECT_EQ(RunAndEnd(RunMode::Duty), 1);
  EXPECT_EQ(
      steps_.sent,
      SavedReport(LineCommand, "            <ftype name=\".dwg\" ocnt=\"40\" scnt=\"60\" />\r\n"));
}

TEST_F(RunController, SurveyWithoutAnyAnswerIsCompletedAndTheReportGoesOut) {
  WriteBytes(data_.reportPath, StoredReport);
  steps_.onCollect = [](CReportStore& store) {
    const WmiQuery ask = [](const wchar_t*, const std::wstring&, const wchar_t*, InfoSection*) {
      return 0;
    };
    Survey(ask, store);
  };
  Start();
  EXPECT_EQ(RunAndEnd(RunMode::Duty), 1);
  EXPECT_EQ(steps_.sent, SavedReport(LineCommand, DwgType));
  EXPECT_TRUE(StoredSettings().contains("General/LastSysInfoCollectingDate"));
}

// Also while a query stalls: other copies find the report in use meanwhile.
TEST_F(RunController, HoldsTheReportThroughTheCollection) {
  steps_.onCollect = [this](CReportStore&) {
    EXPECT_FALSE(CFileHandle(CreateFileW(data_.reportPath.c_str(), GENERIC_READ, 0, nullptr,
                                         OPEN_EXISTING, 0, nullptr)));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_SHARING_VIOLATION});
  };
  Start();
  EXPECT_EQ(RunAndEnd(RunMode::Duty), 1);
  EXPECT_EQ(journal_.front(), "collect");
}

TEST_F(RunController, FailedUploadWritesNoDateAndKeepsTheReport) {
  WriteBytes(data_.reportPath, StoredReport);
  steps_.onUpload = [] { return 0; };
  Start();
  EXPECT_EQ(RunAndEnd(RunMode::Duty), 0);
  EXPECT_EQ(StoredSettings(), (Settings{{"General/PeltoState", "1"}, {"PELTO/ID", Identifier}}));
  EXPECT_EQ(ReadBytes(data_.reportPath), SavedReport(LineCommand, DwgType));
}

TEST_F(RunController, UploadThatThrowsCountsAsFailed) {
  WriteBytes(data_.reportPath, StoredReport);
  steps_.onUpload = []() -> int { throw std::bad_alloc(); };
  Start();
  EXPECT_EQ(RunAndEnd(RunMode::Duty), 0);
  EXPECT_EQ(StoredSettings(), (Settings{{"General/PeltoState", "1"}, {"PELTO/ID", Identifier}}));
  EXPECT_EQ(ReadBytes(data_.reportPath), SavedReport(LineCommand, DwgType));
}

TEST_F(RunController, UploadThatThrowsAnythingElseCountsAsFailed) {
  steps_.onUpload = []() -> int { throw 1; };
  Start();
  EXPECT_EQ(RunAndEnd(RunMode::Duty), 0);
  EXPECT_TRUE(Exists(data_.reportPath));
}

TEST_F(RunController, TransmissionAfterAFailedOneIsTriedAtOnce) {
  WriteBytes(data_.reportPath, StoredReport);
  steps_.onUpload = [] { return 0; };
  Start();
  EXPECT_EQ(RunAndEnd(RunMode::Duty), 0);
  steps_.onUpload = [] { return 1; };
  controller_ = std::make_unique<CRunController>(steps_, clock_);
  Start();
  EXPECT_EQ(RunAndEnd(RunMode::Duty), 1);
  EXPECT_EQ(steps_.sent, SavedReport(LineCommand, DwgType));
}

TEST_F(RunController, SuccessfulUploadIsPutDownFirstThenTheCollectionThenTheReportIsDeleted) {
  WriteBytes(data_.reportPath, StoredReport);
  Start();
  bool isUploaded = false;
  Journal stamps;
  steps_.onUpload = [&] {
    isUploaded = true;
    return 1;
  };
  clock_.onNow = [&] {
    if (!isUploaded) return;
    const std::string settings = ReadBytes(data_.settingsPath);
    stamps.push_back(std::string(settings.find("LastTransmissionDate") != std::string::npos
                                     ? "after the transmission"
                                     : "first") +
                     (Exists(data_.reportPath) ? ", report there" : ", report gone"));
  };
  EXPECT_EQ(RunAndEnd(RunMode::Duty), 1);
  EXPECT_EQ(stamps, (Journal{"first, report there", "after the transmission, report there"}));
  EXPECT_FALSE(Exists(data_.reportPath));
}

TEST_F(RunController, SuccessfulUploadDeletesTheReportAndTheNextTransmissionWaits28Days) {
  WriteBytes(data_.reportPath, StoredReport);
  Start();
  EXPECT_EQ(RunAndEnd(RunMode::Duty), 1);
  EXPECT_FALSE(Exists(data_.reportPath));
  journal_.clear();
  clock_.now = {2024, 4, 2, 14, 7, 8, 0};
  controller_ = std::make_unique<CRunController>(steps_, clock_);
  Start();
  EXPECT_EQ(RunAndEnd(RunMode::Duty), 0);
  EXPECT_EQ(journal_, Journal{});
}

TEST_F(RunController, EmptyUploadAddressIsHandedOn) {
  ASSERT_TRUE(controller_->Initialize(L"", data_.path, L"", L"", L""));
  RunAndEnd(RunMode::Duty);
  EXPECT_EQ(journal_, (Journal{"collect", "upload "}));
}

// The dialog.

TEST_F(RunController, ReminderIsPutDownWhateverTheDialogStores) {
  const DataFolder data(
      Settings{{"General/PeltoState", "2"}, {"General/LastDlgOpenDate", "2024-01-01T00:00:00Z"}});
  steps_.onDialog = [this](CReportStore& store) {
    store.SetConsentState(1);
    store.SetShowMessage(false);
    clock_.now = AnsweredTime;
  };
  ASSERT_TRUE(controller_->Initialize(Address, data.path, L"", L"", L""));
  EXPECT_EQ(RunAndEnd(RunMode::Duty), 0);
  EXPECT_EQ(journal_, (Journal{"wait 50000", "dialog 1 1"})) << "a yes is acted on by the next run";
  EXPECT_EQ(ReadSettings(data.settingsPath), (Settings{{"General/PeltoState", "1"},
                                                       {"General/ShowMessage", "0"},
                                                       {"General/LastDlgOpenDate", Answered},
                                                       {"PELTO/ID", Identifier}}));
}

TEST_F(RunController, DialogThatWasAskedForIsPutDownWhateverItStores) {
  steps_.onDialog = [this](CReportStore& store) {
    store.SetConsentState(3);
    clock_.now = AnsweredTime;
  };
  Start();
  EXPECT_EQ(RunAndEnd(RunMode::Dialog), 0);
  EXPECT_EQ(journal_, Journal{"dialog 0 0"});
  EXPECT_EQ(StoredSettings(), (Settings{{"General/PeltoState", "3"},
                                        {"General/LastDlgOpenDate", Answered},
                                        {"PELTO/ID", Identifier}}));
}

TEST_F(RunController, DateIsNotPutDownBeforeTheDialogHasClosed) {
  steps_.onDialog = [this](CReportStore&) {
    EXPECT_FALSE(StoredSettings().contains("General/LastDlgOpenDate"));
  };
  Start();
  RunAndEnd(RunMode::Dialog);
  EXPECT_TRUE(StoredSettings().contains("General/LastDlgOpenDate"));
}

TEST_F(RunController, DialogLeavesTheReportAsItWas) {
  WriteBytes(data_.reportPath, StoredReport);
  Start();
  RunAndEnd(RunMode::Dialog);
  EXPECT_EQ(ReadBytes(data_.reportPath), StoredReport);
}

TEST_F(RunController, NewUserIsAskedAfterAWeek) {
  const DataFolder data{Settings{}};
  ASSERT_TRUE(controller_->Initialize(Address, data.path, L"", L"", L""));
  EXPECT_EQ(RunAndEnd(RunMode::Duty), 0);
  EXPECT_EQ(journal_, Journal{});
  clock_.now = {2024, 3, 12, 14, 7, 8, 0};
  controller_ = std::make_unique<CRunController>(steps_, clock_);
  ASSERT_TRUE(controller_->Initialize(Address, data.path, L"", L"", L""));
  EXPECT_EQ(RunAndEnd(RunMode::Duty), 0);
  EXPECT_EQ(journal_, Journal{});
  clock_.now = {2024, 3, 12, 14, 7, 9, 0};
  controller_ = std::make_unique<CRunController>(steps_, clock_);
  ASSERT_TRUE(controller_->Initialize(Address, data.path, L"", L"", L""));
  EXPECT_EQ(RunAndEnd(RunMode::Duty), 0);
  EXPECT_EQ(journal_, (Journal{"wait 50000", "dialog 1 1"}));
}

// Initialisation and end.

TEST_F(RunController, InitialisationMakesTheDataFolderWithItsParents) {
  const std::wstring folder = data_.temp / L"a\\b c\\d";
  ASSERT_TRUE(controller_->Initialize(L"", folder, L"", L"", L""));
  EXPECT_TRUE(std::filesystem::is_directory(folder));
  EXPECT_EQ(ReadSettings(folder + L"\\PeltoReport.ini")["PELTO/ID"].size(), 36U);
  controller_.reset();
  EXPECT_EQ(ReadBytes(folder + L"\\PeltoReport.xml"), "");
}

TEST_F(RunController, InitialisationKeepsAnExistingFolderAndItsFiles) {
  WriteBytes(data_.reportPath, StoredReport);
  Start();
  controller_.reset();
  EXPECT_EQ(ReadBytes(data_.reportPath), StoredReport);
  EXPECT_EQ(StoredSettings(), (Settings{{"General/PeltoState", "1"}, {"PELTO/ID", Identifier}}));
}

TEST_F(RunController, InitialisationFailsWhenTheFolderCannotBeMade) {
  WriteBytes(data_.temp / L"file", "");
  EXPECT_FALSE(controller_->Initialize(L"", data_.temp / L"file\\data", L"", L"", L""));
  EXPECT_EQ(journal_, Journal{});
}

TEST_F(RunController, FolderThatCannotBeMadeStopsNothingWhenTheStoreOpensAllTheSame) {
  WriteBytes(data_.temp / L"file", "");
  // The way to the data folder leads over a file, which is no folder; Windows leaves it out.
  EXPECT_TRUE(controller_->Initialize(L"", data_.temp / L"file\\..\\data", L"", L"", L""));
  EXPECT_EQ(RunAndEnd(RunMode::LogHandle), 1);
  EXPECT_NE(ReadBytes(data_.reportPath), "");
}

TEST_F(RunController, InitialisationFailsWhenNoIdentifierCanBeStored) {
  const std::wstring folder = data_.temp / L"held";
  std::filesystem::create_directory(folder);
  const FileHolder holder(L"unshared", folder + L"\\PeltoReport.ini");
  EXPECT_FALSE(controller_->Initialize(L"", folder, L"", L"", L""));
  EXPECT_FALSE(Exists(folder + L"\\PeltoReport.xml"));
}

TEST_F(RunController, InitialisationFailsWhenTheReportStaysLocked) {
  const FileHolder holder(L"unshared", data_.reportPath);
  EXPECT_FALSE(controller_->Initialize(L"", data_.path, L"", L"", L""));
  EXPECT_EQ(journal_, Journal(10, "wait 20000"));
}

TEST_F(RunController, InitialisingTwiceTakesTheReportAgainWithoutWaiting) {
  Start();
  Start();
  EXPECT_EQ(journal_, Journal{});
}

TEST_F(RunController, SecondInitialisationTakesTheNewTexts) {
  ASSERT_TRUE(controller_->Initialize(L"http://old.example/", data_.temp / L"old", L"", L"Old",
                                      L"0.0.0.1"));
  Start();
  EXPECT_EQ(RunAndEnd(RunMode::Duty), 1);
  EXPECT_EQ(journal_, (Journal{"collect", "upload http://collect.example/in"}));
  EXPECT_NE(steps_.sent.find(">Draw It<"), std::string::npos) << steps_.sent;
  EXPECT_NE(steps_.sent.find(">1.2.3.4<"), std::string::npos) << steps_.sent;
}

TEST_F(RunController, SecondInitialisationLetsGoOfTheFirstFoldersReport) {
  const std::wstring first = data_.temp / L"first";
  ASSERT_TRUE(controller_->Initialize(L"", first, L"", L"", L""));
  Start();
  const CFileHandle file(CreateFileW((first + L"\\PeltoReport.xml").c_str(), GENERIC_READ, 0,
                                     nullptr, OPEN_EXISTING, 0, nullptr));
  EXPECT_TRUE(file) << GetLastError();
}

TEST_F(RunController, HoldsTheReportUntilItIsDestroyed) {
  Start();
  const auto open = [this] {
    return CFileHandle(CreateFileW(data_.reportPath.c_str(), GENERIC_READ | GENERIC_WRITE, 0,
                                   nullptr, OPEN_EXISTING, 0, nullptr));
  };
  EXPECT_FALSE(open());
  EXPECT_EQ(GetLastError(), DWORD{ERROR_SHARING_VIOLATION});
  controller_.reset();
  EXPECT_TRUE(open()) << GetLastError();
}

TEST_F(RunController, HoldsTheReportThroughTheLogStep) {
  bool isFree = true;
  steps_.onHarvest = [&](CommandStats&, FileTypeStats&) {
    isFree = static_cast<bool>(CFileHandle(CreateFileW(data_.reportPath.c_str(), GENERIC_READ, 0,
                                                       nullptr, OPEN_EXISTING, 0, nullptr)));
  };
  Start();
  controller_->Run(RunMode::LogHandle);
  EXPECT_FALSE(isFree);
  EXPECT_FALSE(CFileHandle(
      CreateFileW(data_.reportPath.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr)))
      << "free before the run has ended";
}

TEST_F(RunController, WithoutInitialisationNeitherHarvestsNorUploads) {
  EXPECT_EQ(controller_->Run(RunMode::LogHandle), 0);
  EXPECT_EQ(controller_->Run(RunMode::Duty), 0);
  EXPECT_EQ(journal_, Journal{});
}

}  // namespace
