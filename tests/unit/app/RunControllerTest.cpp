#include "app/RunController.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <memory>
#include <new>
#include <string>

#include "survey/SystemInformation.h"
#include "tests/support/ReplacedImport.h"
#include "tests/support/TestProcess.h"
#include "tests/support/TestText.h"
#include "tests/support/ThrowingRead.h"
#include "tests/unit/app/RunFakes.h"
#include "usage/LogHarvester.h"

extern "C" void* __imp__wfreopen;

namespace {

constexpr wchar_t Address[] = L"http://collect.example/in";

// The clock's time at the start of a run, and the times after the dialog and the upload.
constexpr char StartDate[] = "2024-03-05T14:07:09Z";
constexpr CivilTime DialogTime = {2024, 3, 5, 15, 30, 1, 999};
constexpr char DialogDate[] = "2024-03-05T15:30:01Z";
constexpr CivilTime UploadTime = {2024, 3, 5, 16, 45, 2, 500};
constexpr char UploadDate[] = "2024-03-05T16:45:02Z";

// What runs do, by mode and settings.

/// The effects of a run.
struct Outcome {
  Journal steps{};
  /// The settings that the run has changed.
  Settings changes{};
  bool keepsReport = true;
  int status = 0;

  bool operator==(const Outcome&) const = default;
};

void PrintTo(const Outcome& outcome, std::ostream* stream) {
  *stream << "status " << outcome.status << (outcome.keepsReport ? ", report kept" : ", no report")
          << testing::PrintToString(outcome.steps) << testing::PrintToString(outcome.changes);
}

const std::string UploadStep = "upload http://collect.example/in";
const Settings Transmission = {{"General/LastTransmissionDate", UploadDate}};
const Settings TransmissionOfSurvey = {{"General/LastTransmissionDate", UploadDate},
                                       {"General/LastSysInfoCollectingDate", UploadDate}};

const Outcome Nothing;
const Outcome Harvest = {{"harvest logs"}, {}, true, 1};
const Outcome Dialog = {{"dialog 0 0"}, {{"General/LastDlgOpenDate", DialogDate}}};
const Outcome Reminder = {{"wait 50000", "dialog 1 1"}, {{"General/LastDlgOpenDate", DialogDate}}};
// docs/compatibility.md, 4.
const Outcome FirstReminder = {{}, {{"General/LastDlgOpenDate", StartDate}}};
const Outcome Upload = {{UploadStep}, Transmission, false, 1};
const Outcome FailedUpload = {{UploadStep}};
const Outcome SurveyAndUpload = {{"collect", UploadStep}, TransmissionOfSurvey, false, 1};
const Outcome SurveyAndFailedUpload = {{"collect", UploadStep}};

constexpr const char* Missing = nullptr;
constexpr char Malformed[] = "yesterday";
constexpr char Future[] = "2099-01-01T00:00:00Z";
constexpr char SevenDays[] = "2024-02-27T14:07:09Z";
constexpr char LessThanSevenDays[] = "2024-02-27T14:07:10Z";
constexpr char TwentyEightDays[] = "2024-02-06T14:07:09Z";
constexpr char LessThanTwentyEightDays[] = "2024-02-06T14:07:10Z";
constexpr char ThirtyDays[] = "2024-02-04T14:07:09Z";
constexpr char LessThanThirtyDays[] = "2024-02-04T14:07:10Z";

using Values = std::map<std::string, const char*>;

/// The settings that a run does not depend on, once so that every gate is open and once so that
/// every gate is closed.
const Values Backgrounds[] = {{{"ShowMessage", "1"},
                               {"LastDlgOpenDate", SevenDays},
                               {"LastTransmissionDate", TwentyEightDays},
                               {"LastSysInfoCollectingDate", ThirtyDays}},
                              {{"ShowMessage", "0"},
                               {"LastDlgOpenDate", LessThanSevenDays},
                               {"LastTransmissionDate", LessThanTwentyEightDays},
                               {"LastSysInfoCollectingDate", LessThanThirtyDays}}};

struct RunCase {
  RunMode mode;
  /// The settings that the outcome depends on.
  Values settings;
  Outcome outcome;
  int uploadResult = 1;
};

Outcome Run(const RunCase& run, const Values& background) {
  Settings settings;
  const auto add = [&settings](const Values& values) {
    for (const auto& [key, value] : values) {
      settings.erase("General/" + key);
      if (value != nullptr) settings["General/" + key] = value;
    }
  };
  add(background);
  add(run.settings);
  const DataFolder data(settings);

  Outcome outcome;
  JournalClock clock(outcome.steps);
  RecordingSteps steps(outcome.steps);
  steps.onDialog = [&clock](const CReportStore*) { clock.now = DialogTime; };
  steps.onUpload = [&clock, &run] {
    clock.now = UploadTime;
    return run.uploadResult;
  };
  {
    CRunController controller(steps, clock);
    EXPECT_TRUE(controller.Initialize(Address, data.path, data.logs, L"Draw It", L"1.2.3.4"));
    outcome.status = controller.Run(run.mode);
  }
  for (const auto& [key, value] : data.GetSettings()) {
    if (!settings.contains(key) || settings.at(key) != value) outcome.changes[key] = value;
  }
  outcome.keepsReport = Exists(data.reportPath);
  return outcome;
}

void ExpectOutcomes(const std::vector<RunCase>& runs) {
  for (const RunCase& run : runs) {
    for (const Values& background : Backgrounds) {
      EXPECT_EQ(Run(run, background), run.outcome)
          << "mode " << static_cast<int>(run.mode) << ", "
          << testing::PrintToString(std::vector(run.settings.begin(), run.settings.end()))
          << (&background == &Backgrounds[0] ? ", all else open" : ", all else closed");
    }
  }
}

TEST(RunOutcome, LogHandleHarvestsInStateOneOnly) {
  ExpectOutcomes({{RunMode::LogHandle, {{"PeltoState", "1"}}, Harvest},
                  {RunMode::LogHandle, {{"PeltoState", "2"}}, Nothing},
                  {RunMode::LogHandle, {{"PeltoState", "3"}}, Nothing},
                  {RunMode::LogHandle, {{"PeltoState", "7"}}, Nothing},
                  {RunMode::LogHandle, {{"PeltoState", "-1"}}, Nothing},
                  {RunMode::LogHandle, {{"PeltoState", Missing}}, Nothing}});
}

TEST(RunOutcome, DlgShowsTheDialogInAnyState) {
  for (const char* const state : {"1", "2", "3", "7", "-1", Missing}) {
    ExpectOutcomes({{RunMode::Dialog, {{"PeltoState", state}}, Dialog}});
  }
}

TEST(RunOutcome, DutyDoesNothingInOtherStates) {
  for (const char* const state : {"3", "7", "-1"}) {
    ExpectOutcomes({{RunMode::Duty, {{"PeltoState", state}}, Nothing}});
  }
}

// docs/compatibility.md, 9: a date in the future opens a gate.
TEST(RunOutcome, DutyRemindsInStateTwoWhenTheDialogIsDue) {
  const struct {
    const char* showMessage;
    const char* date;
    Outcome outcome;
  } cases[] = {{Missing, SevenDays, Reminder}, {Missing, LessThanSevenDays, Nothing},
               {"1", SevenDays, Reminder},     {"1", LessThanSevenDays, Nothing},
               {"1", Future, Reminder},        {"1", Malformed, FirstReminder},
               {"1", Missing, FirstReminder},  {Missing, Missing, FirstReminder},
               {"0", SevenDays, Nothing},      {"0", LessThanSevenDays, Nothing},
               {"0", Missing, Nothing},        {"0", Future, Nothing}};
  for (const auto& [showMessage, date, outcome] : cases) {
    for (const char* const state : {"2", Missing}) {
      ExpectOutcomes(
          {{RunMode::Duty,
            {{"PeltoState", state}, {"ShowMessage", showMessage}, {"LastDlgOpenDate", date}},
            outcome}});
    }
  }
}

TEST(RunOutcome, DutyUploadsInStateOneWhenTheTransmissionIsDue) {
  const struct {
    const char* transmission;
    const char* survey;
    Outcome success;
    Outcome failure;
  } cases[] = {
      {TwentyEightDays, ThirtyDays, SurveyAndUpload, SurveyAndFailedUpload},
      {TwentyEightDays, LessThanThirtyDays, Upload, FailedUpload},
      {TwentyEightDays, Missing, SurveyAndUpload, SurveyAndFailedUpload},
      {TwentyEightDays, Future, SurveyAndUpload, SurveyAndFailedUpload},
      {TwentyEightDays, Malformed, SurveyAndUpload, SurveyAndFailedUpload},
      {Missing, LessThanThirtyDays, Upload, FailedUpload},
      {Missing, Missing, SurveyAndUpload, SurveyAndFailedUpload},
      {Future, LessThanThirtyDays, Upload, FailedUpload},
      {Malformed, LessThanThirtyDays, Upload, FailedUpload},
      {LessThanTwentyEightDays, ThirtyDays, Nothing, Nothing},
      {LessThanTwentyEightDays, Missing, Nothing, Nothing},
  };
  for (const auto& [transmission, survey, success, failure] : cases) {
    const Values settings = {{"PeltoState", "1"},
                             {"LastTransmissionDate", transmission},
                             {"LastSysInfoCollectingDate", survey}};
    ExpectOutcomes({{RunMode::Duty, settings, success, 1}, {RunMode::Duty, settings, failure, 0}});
  }
}

/// A controller on a data folder of a user who takes part.
class RunController : public testing::Test {
 protected:
  void Start(const DataFolder& data, const std::wstring& logFolder) {
    controller_ = std::make_unique<CRunController>(steps_, clock_);
    ASSERT_TRUE(controller_->Initialize(Address, data.path, logFolder, L"Draw It", L"1.2.3.4"));
  }

  int RunAndEnd(RunMode mode) {
    const int status = controller_->Run(mode);
    controller_.reset();
    return status;
  }

  int StartAndRun(const DataFolder& data, RunMode mode) {
    Start(data, data.logs);
    return RunAndEnd(mode);
  }
  int StartAndRun(RunMode mode) { return StartAndRun(data_, mode); }

  const DataFolder data_;
  Journal journal_;
  JournalClock clock_{journal_};
  RecordingSteps steps_{journal_};
  std::unique_ptr<CRunController> controller_ = std::make_unique<CRunController>(steps_, clock_);
};

constexpr char StoredReport[] =
    "<PeltoRpt><cmd_stat><cmds><cmd id=\"3\" name=\"Line\" count=\"5\"/></cmds></cmd_stat>"
    "<ftype_stat><ftypes><ftype name=\".dwg\" ocnt=\"20\" scnt=\"30\"/></ftypes></ftype_stat>"
    "</PeltoRpt>";

constexpr char LineCommand[] = "            <cmd id=\"3\" name=\"Line\" count=\"5\" />\r\n";
constexpr char DwgType[] = "            <ftype name=\".dwg\" ocnt=\"20\" scnt=\"30\" />\r\n";
constexpr char TwiceDwgType[] = "            <ftype name=\".dwg\" ocnt=\"40\" scnt=\"60\" />\r\n";

std::string FormatSavedReport(const std::string& commands, const std::string& fileTypes,
                              const std::string& properties = "") {
  return FormatReport(commands, fileTypes, properties,
                      "        <prop name=\"app_name\">Draw It</prop>\r\n"
                      "        <prop name=\"app_ver\">1.2.3.4</prop>\r\n");
}

// The log step.

TEST_F(RunController, LogStepAddsTheHarvestToTheStoredReport) {
  const struct {
    std::string stored;
    std::string saved;
  } cases[] = {
      {StoredReport,
       FormatSavedReport("            <cmd id=\"4\" name=\"Circle\" count=\"1\" />\r\n"
                         "            <cmd id=\"3\" name=\"Line\" count=\"6\" />\r\n",
                         "            <ftype name=\".dwg\" ocnt=\"20\" scnt=\"31\" />\r\n")},
      // docs/compatibility.md, 18: a malformed report is replaced.
      {"<PeltoRpt><cmd_stat>",
       FormatSavedReport("            <cmd id=\"1\" name=\"Circle\" count=\"1\" />\r\n"
                         "            <cmd id=\"2\" name=\"Line\" count=\"1\" />\r\n",
                         "            <ftype name=\".dwg\" ocnt=\"0\" scnt=\"1\" />\r\n")},
      {"", FormatSavedReport("            <cmd id=\"1\" name=\"Circle\" count=\"1\" />\r\n"
                             "            <cmd id=\"2\" name=\"Line\" count=\"1\" />\r\n",
                             "            <ftype name=\".dwg\" ocnt=\"0\" scnt=\"1\" />\r\n")}};
  steps_.onHarvest = [this](CommandStats& commands, FileTypeStats& fileTypes) {
    EXPECT_FALSE(IsFree(data_.reportPath));
    for (const wchar_t* const name : {L"Circle", L"Line"}) {
      commands.Count({UsageEventKind::Command, name, {}});
    }
    fileTypes.Count({UsageEventKind::SaveDocument, L"", {{L"FileType", L".dwg"}}});
  };
  for (const auto& [stored, saved] : cases) {
    WriteBytes(data_.reportPath, stored);
    EXPECT_EQ(StartAndRun(RunMode::LogHandle), 1);
    EXPECT_EQ(ReadBytes(data_.reportPath), saved);
  }
}

// docs/compatibility.md, 7.
TEST_F(RunController, LogStepCountsAsCompletedWhenItsSaveFails) {
  Start(data_, data_.logs);
  const ReplacedImport replaced(
      __imp__wfreopen,
      reinterpret_cast<void*>(+[](const wchar_t*, const wchar_t*, std::FILE* stream) -> std::FILE* {
        std::fclose(stream);
        return nullptr;
      }));
  EXPECT_EQ(RunAndEnd(RunMode::LogHandle), 1);
  EXPECT_EQ(ReadBytes(data_.reportPath), "") << "it was not saved";
}

TEST_F(RunController, LogStepWithoutALogFolderLoadsAndSavesTheReport) {
  WriteBytes(data_.reportPath, StoredReport);
  Start(data_, data_.temp / L"missing");
  EXPECT_EQ(RunAndEnd(RunMode::LogHandle), 1);
  EXPECT_EQ(journal_, Journal{});
  EXPECT_EQ(ReadBytes(data_.reportPath), FormatSavedReport(LineCommand, DwgType));
}

TEST_F(RunController, LogStepThatThrowsLeavesTheReportUnchanged) {
  WriteBytes(data_.reportPath, StoredReport);
  for (const std::function<void()>& fail :
       {std::function<void()>([] { throw std::bad_alloc(); }), {[] { throw 1; }}}) {
    steps_.onHarvest = [&fail](CommandStats& commands, FileTypeStats&) {
      commands.Count({UsageEventKind::Command, L"Circle", {}});
      fail();
    };
    EXPECT_EQ(StartAndRun(RunMode::LogHandle), 0);
    EXPECT_EQ(ReadBytes(data_.reportPath), StoredReport);
  }
}

TEST_F(RunController, ExceptionInTheMiddleOfALogLeavesLogAndReport) {
  WriteBytes(data_.reportPath, StoredReport);
  std::string log;
  while (log.size() < 4'000'000) log += Prefix() + "Command = Line\r\n";
  WriteBytes(data_.logs + L"\\a.log", log);
  bool hasCounted = false;
  steps_.onHarvest = [&](CommandStats& commands, FileTypeStats& fileTypes) {
    const ThrowingRead reads(1);
    try {
      LogHarvester(commands, fileTypes).Harvest(data_.logs, true);
    } catch (const std::bad_alloc&) {
      hasCounted = commands.GetEntries().at(L"Line").count > 5;
      throw;
    }
  };
  EXPECT_EQ(StartAndRun(RunMode::LogHandle), 0);
  EXPECT_TRUE(hasCounted) << "not in the middle";
  EXPECT_EQ(ReadBytes(data_.reportPath), StoredReport);
  EXPECT_EQ(ReadBytes(data_.logs + L"\\a.log").size(), log.size());
}

TEST_F(RunController, LogsOfAUserWhoDoesNotTakePartLeaveTheReportUnchanged) {
  const DataFolder data(Settings{{"General/PeltoState", "2"}});
  WriteBytes(data.reportPath, StoredReport);
  EXPECT_EQ(StartAndRun(data, RunMode::LogHandle), 0);
  EXPECT_EQ(ReadBytes(data.reportPath), StoredReport);
}

// The transmission.

/// Surveys the machine by `query` into the store.
void Survey(const WmiQuery& query, CReportStore& store) {
  CollectSystemInformation(
      query, store.GetSystemProperties(),
      [&store](const std::wstring& name, const std::wstring& category, const std::wstring& value) {
        store.SetSystemProperty(name, category, value);
      });
}

// The collection's load is the first of two (docs/compatibility.md, 5 and 6).
TEST_F(RunController, UploadSendsWhatTheCollectionOrElseTheSecondLoadSaved) {
  const struct {
    const char* name;
    std::function<void(CReportStore&)> collect;
    std::string sent;
    bool isStamped;
  } cases[] = {
      {"adds a property",
       [](CReportStore& store) { store.SetSystemProperty(L"Version", L"OS", L"6.1"); },
       FormatSavedReport(LineCommand, DwgType,
                         "        <prop name=\"Version\" cat=\"OS\">6.1</prop>\r\n"),
       true},
      {"adds nothing", [](CReportStore&) {}, FormatSavedReport(LineCommand, DwgType), true},
      {"has no access",
       [](CReportStore& store) {
         Survey([](const wchar_t*, const std::wstring&, const wchar_t*, InfoSection*) { return 0; },
                store);
       },
       FormatSavedReport(LineCommand, DwgType), true},
      {"runs out of memory", [](CReportStore&) { throw std::bad_alloc(); },
       FormatSavedReport(LineCommand, TwiceDwgType), false},
      {"throws anything else", [](CReportStore&) { throw 1; },
       FormatSavedReport(LineCommand, TwiceDwgType), false},
      {"runs out of memory at the last category",
       [](CReportStore& store) {
         Survey(
             [](const wchar_t*, const std::wstring& query, const wchar_t*, InfoSection* firstRow) {
               if (query.find(L"Adapter") != std::wstring::npos) throw std::bad_alloc();
               firstRow->AddProperty(L"Name", L"described");
               return 1;
             },
             store);
       },
       FormatSavedReport(LineCommand, TwiceDwgType), false},
  };
  for (const auto& [name, collect, sent, isStamped] : cases) {
    const DataFolder data;
    WriteBytes(data.reportPath, StoredReport);
    steps_.onCollect = collect;
    journal_.clear();
    EXPECT_EQ(StartAndRun(data, RunMode::Duty), 1) << name;
    EXPECT_EQ(journal_, (Journal{"collect", UploadStep})) << name;
    EXPECT_EQ(steps_.sent, sent) << name;
    Settings expected = {{"General/PeltoState", "1"}, {"General/LastTransmissionDate", StartDate}};
    if (isStamped) expected["General/LastSysInfoCollectingDate"] = StartDate;
    EXPECT_EQ(data.GetSettings(), expected) << name;
  }
}

TEST_F(RunController, UploadSendsAReportEvenWhenNothingWasGathered) {
  EXPECT_EQ(StartAndRun(RunMode::Duty), 1);
  EXPECT_EQ(steps_.sent, FormatSavedReport("", ""));
}

TEST_F(RunController, UploadWithoutACollectionSendsTheLoadedReport) {
  const DataFolder data(Settings{{"General/PeltoState", "1"},
                                 {"General/LastSysInfoCollectingDate", LessThanThirtyDays}});
  WriteBytes(data.reportPath, StoredReport);
  EXPECT_EQ(StartAndRun(data, RunMode::Duty), 1);
  EXPECT_EQ(journal_, Journal{UploadStep});
  EXPECT_EQ(steps_.sent, FormatSavedReport(LineCommand, DwgType));
}

TEST_F(RunController, CollectionFindsTheReportLoadedAndHeld) {
  WriteBytes(data_.reportPath,
             "<PeltoRpt><sys_info><prop name=\"Version\" cat=\"OS\">6.1</prop></sys_info>"
             "</PeltoRpt>");
  SystemProperties properties;
  steps_.onCollect = [&](CReportStore& store) {
    properties = store.GetSystemProperties();
    EXPECT_FALSE(IsFree(data_.reportPath));
  };
  StartAndRun(RunMode::Duty);
  ASSERT_TRUE(properties.contains({L"Version", L"OS"}));
  EXPECT_EQ(properties.at({L"Version", L"OS"}), L"6.1");
}

TEST_F(RunController, FailedUploadWritesNoDateKeepsTheReportAndIsTriedAgainByTheNextRun) {
  for (const std::function<int()>& fail : {std::function<int()>([] { return 0; }),
                                           {[]() -> int { throw std::bad_alloc(); }},
                                           {[]() -> int { throw 1; }}}) {
    const DataFolder data;
    WriteBytes(data.reportPath, StoredReport);
    steps_.onUpload = fail;
    EXPECT_EQ(StartAndRun(data, RunMode::Duty), 0);
    EXPECT_EQ(data.GetSettings(), (Settings{{"General/PeltoState", "1"}}));
    EXPECT_EQ(ReadBytes(data.reportPath), FormatSavedReport(LineCommand, DwgType));
    steps_.onUpload = nullptr;
    EXPECT_EQ(StartAndRun(data, RunMode::Duty), 1);
    EXPECT_EQ(steps_.sent, FormatSavedReport(LineCommand, DwgType));
    EXPECT_FALSE(Exists(data.reportPath));
  }
}

TEST_F(RunController, SuccessfulUploadWritesItsDateThenTheSurveysAndThenDeletesTheReport) {
  bool isUploaded = false;
  Journal stamps;
  steps_.onUpload = [&] {
    isUploaded = true;
    return 1;
  };
  clock_.onNow = [&] {
    if (!isUploaded) return;
    stamps.push_back(std::to_string(data_.GetSettings().count("General/LastTransmissionDate")) +
                     (Exists(data_.reportPath) ? ", report kept" : ", no report"));
  };
  EXPECT_EQ(StartAndRun(RunMode::Duty), 1);
  EXPECT_EQ(stamps, (Journal{"0, report kept", "1, report kept"}));
  EXPECT_FALSE(Exists(data_.reportPath));
}

TEST_F(RunController, NextTransmissionIsDueAfter28Days) {
  EXPECT_EQ(StartAndRun(RunMode::Duty), 1);
  clock_.now = {2024, 4, 2, 14, 7, 8, 0};
  EXPECT_EQ(StartAndRun(RunMode::Duty), 0);
  clock_.now = {2024, 4, 2, 14, 7, 9, 0};
  EXPECT_EQ(StartAndRun(RunMode::Duty), 1);
}

TEST_F(RunController, EmptyUploadAddressIsPassedOn) {
  ASSERT_TRUE(controller_->Initialize(L"", data_.path, L"", L"", L""));
  RunAndEnd(RunMode::Duty);
  EXPECT_EQ(journal_, (Journal{"collect", "upload "}));
}

// The dialog.

TEST_F(RunController, DialogsDateIsWrittenAfterItHasClosedWhateverItStores) {
  const struct {
    RunMode mode;
    Journal journal;
  } cases[] = {{RunMode::Dialog, {"dialog 0 0"}}, {RunMode::Duty, {"wait 50000", "dialog 1 1"}}};
  for (const auto& [mode, journal] : cases) {
    const DataFolder data(
        Settings{{"General/PeltoState", "2"}, {"General/LastDlgOpenDate", SevenDays}});
    WriteBytes(data.reportPath, StoredReport);
    steps_.onDialog = [&](CReportStore* store) {
      EXPECT_EQ(data.GetSettings()["General/LastDlgOpenDate"], SevenDays);
      store->SetConsentState(1);
      store->SetShowMessage(false);
      clock_.now = DialogTime;
    };
    clock_.now = FakeClock().now;
    journal_.clear();
    EXPECT_EQ(StartAndRun(data, mode), 0);
    EXPECT_EQ(journal_, journal) << "the next run acts on a yes";
    EXPECT_EQ(data.GetSettings(), (Settings{{"General/PeltoState", "1"},
                                            {"General/ShowMessage", "0"},
                                            {"General/LastDlgOpenDate", DialogDate}}));
    EXPECT_EQ(ReadBytes(data.reportPath), StoredReport);
  }
}

TEST_F(RunController, NewUserIsAskedAfterSevenDays) {
  const DataFolder data{Settings{}};
  EXPECT_EQ(StartAndRun(data, RunMode::Duty), 0);
  clock_.now = {2024, 3, 12, 14, 7, 8, 0};
  EXPECT_EQ(StartAndRun(data, RunMode::Duty), 0);
  EXPECT_EQ(journal_, Journal{});
  clock_.now = {2024, 3, 12, 14, 7, 9, 0};
  EXPECT_EQ(StartAndRun(data, RunMode::Duty), 0);
  EXPECT_EQ(journal_, (Journal{"wait 50000", "dialog 1 1"}));
}

// Initialization and end.

TEST_F(RunController, InitializationMakesTheDataFolderWithItsParents) {
  const std::wstring folder = data_.temp / L"a\\b c\\d";
  ASSERT_TRUE(controller_->Initialize(L"", folder, L"", L"", L""));
  EXPECT_TRUE(std::filesystem::is_directory(folder));
  EXPECT_EQ(ReadSettings(folder + L"\\PeltoReport.ini")["PELTO/ID"].size(), 36U);
  controller_.reset();
  EXPECT_EQ(ReadBytes(folder + L"\\PeltoReport.xml"), "");
}

TEST_F(RunController, InitializationKeepsTheFilesOfAnExistingFolder) {
  WriteBytes(data_.reportPath, StoredReport);
  Start(data_, data_.logs);
  controller_.reset();
  EXPECT_EQ(ReadBytes(data_.reportPath), StoredReport);
  EXPECT_EQ(data_.GetSettings(), (Settings{{"General/PeltoState", "1"}}));
}

TEST_F(RunController, FolderThatCannotBeMadeStopsNothingWhenTheStoreOpens) {
  WriteBytes(data_.temp / L"file", "");
  // No folder can be made below a file; Windows drops this part of the path when it opens a file.
  ASSERT_TRUE(controller_->Initialize(L"", data_.temp / L"file\\..\\data", L"", L"", L""));
  EXPECT_EQ(RunAndEnd(RunMode::LogHandle), 1);
  EXPECT_NE(ReadBytes(data_.reportPath), "");
}

TEST_F(RunController, FailedInitializationLeavesNoStoreAndOnlyTheDialogRuns) {
  WriteBytes(data_.temp / L"file", "");
  const std::wstring held = data_.temp / L"held";
  std::filesystem::create_directory(held);
  const FileHolder settings(L"unshared", held + L"\\PeltoReport.ini");
  const FileHolder report(L"unshared", data_.reportPath);
  const struct {
    std::wstring folder;
    Journal waits;
  } cases[] = {
      {data_.temp / L"file\\data", {}}, {held, {}}, {data_.path, Journal(10, "wait 20000")}};
  for (const auto& [folder, waits] : cases) {
    journal_.clear();
    EXPECT_FALSE(controller_->Initialize(L"", folder, data_.logs, L"", L""));
    EXPECT_EQ(journal_, waits);
    journal_.clear();
    for (const RunMode mode : {RunMode::LogHandle, RunMode::Duty, RunMode::Dialog}) {
      EXPECT_EQ(controller_->Run(mode), 0);
    }
    EXPECT_EQ(journal_, Journal{"dialog 0 0 without a store"});
  }
  EXPECT_EQ(data_.GetSettings(), (Settings{{"General/PeltoState", "1"}}));
  EXPECT_FALSE(Exists(held + L"\\PeltoReport.xml"));
}

TEST_F(RunController, WithoutInitializationOnlyTheDialogRuns) {
  for (const RunMode mode : {RunMode::LogHandle, RunMode::Duty, RunMode::Dialog}) {
    EXPECT_EQ(controller_->Run(mode), 0);
  }
  EXPECT_EQ(journal_, Journal{"dialog 0 0 without a store"});
}

TEST_F(RunController, FailedInitializationAfterASuccessfulOneReleasesTheFirstReport) {
  Start(data_, data_.logs);
  WriteBytes(data_.temp / L"file", "");
  EXPECT_FALSE(controller_->Initialize(L"", data_.temp / L"file\\data", L"", L"", L""));
  EXPECT_TRUE(IsFree(data_.reportPath));
}

TEST_F(RunController, SecondInitializationTakesTheNewTextsWithoutWaitingAndReleasesTheFirstReport) {
  const DataFolder first;
  ASSERT_TRUE(controller_->Initialize(L"http://old.example/", first.path, L"", L"Old", L"0.0.0.1"));
  for (int i = 0; i < 2; ++i) {
    ASSERT_TRUE(controller_->Initialize(Address, data_.path, L"", L"Draw It", L"1.2.3.4"));
  }
  EXPECT_TRUE(IsFree(first.reportPath));
  EXPECT_EQ(RunAndEnd(RunMode::Duty), 1);
  EXPECT_EQ(journal_, (Journal{"collect", UploadStep}));
  EXPECT_EQ(steps_.sent, FormatSavedReport("", ""));
}

TEST_F(RunController, HoldsTheReportUntilItIsDestroyed) {
  Start(data_, data_.logs);
  EXPECT_FALSE(IsFree(data_.reportPath));
  controller_->Run(RunMode::LogHandle);
  EXPECT_FALSE(IsFree(data_.reportPath));
  controller_.reset();
  EXPECT_TRUE(IsFree(data_.reportPath));
}

}  // namespace
