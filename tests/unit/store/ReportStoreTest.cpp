#include "store/ReportStore.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <regex>
#include <utility>
#include <vector>

#include "platform/Handles.h"
#include "store/DateText.h"
#include "tests/support/CodePage.h"
#include "tests/support/FakeClock.h"
#include "tests/support/ReplacedImport.h"
#include "tests/support/TempFolder.h"
#include "tests/support/TestProcess.h"

extern "C" void* __imp_CoCreateGuid;
extern "C" void* __imp__wfopen_s;
extern "C" void* __imp__wfreopen;
extern "C" void* __imp_fflush;

namespace {

struct Fixture {
  TempFolder folder;
  std::wstring report = folder / L"PeltoReport.xml";
  std::wstring settings = folder / L"PeltoReport.ini";
  CommandStats commands;
  FileTypeStats fileTypes;
  FakeClock clock;
  CReportStore store{commands, fileTypes, clock};

  Fixture() = default;
  explicit Fixture(std::string_view settingsBytes) { WriteBytes(settings, settingsBytes); }
  Fixture(std::string_view settingsBytes, std::string_view reportBytes) : Fixture(settingsBytes) {
    WriteBytes(report, reportBytes);
  }

  /// Closes the report and returns what the file contains.
  std::string TakeReport() {
    store.CloseReport();
    return ReadBytes(report);
  }
  bool Open() { return store.Open(folder.Path().wstring()); }
  void Use(const wchar_t* command) { commands.Count({UsageEventKind::Command, command, {}}); }
};

constexpr char Identifier[] = "[PELTO]\r\nID=the-id\r\n";

std::string ReportOf(const std::string& commands) {
  return "<PeltoRpt>\r\n    <cmd_stat>\r\n" +
         (commands.empty() ? std::string("        <cmds />\r\n")
                           : "        <cmds>\r\n" + commands + "        </cmds>\r\n") +
         "    </cmd_stat>\r\n    <ftype_stat>\r\n        <ftypes />\r\n    </ftype_stat>\r\n"
         "    <sys_info>\r\n        <prop name=\"ID\">the-id</prop>\r\n    </sys_info>\r\n"
         "    <app_info />\r\n</PeltoRpt>\r\n";
}

TEST(ReportStoreOpen, MakesAnIdentifierAndAnEmptyReport) {
  Fixture f;
  ASSERT_TRUE(f.Open());
  const std::wstring identifier = f.store.GetInstallationIdentifier();
  EXPECT_EQ(identifier.size(), 36U);
  EXPECT_EQ(ReadBytes(f.settings),
            "[PELTO]\r\nID=" + std::string(identifier.begin(), identifier.end()) + "\r\n");
  EXPECT_EQ(f.TakeReport(), "");
}

TEST(ReportStoreOpen, KeepsTheIdentifierThatIsThere) {
  Fixture f(Identifier);
  ASSERT_TRUE(f.Open());
  EXPECT_EQ(f.store.GetInstallationIdentifier(), L"the-id");
  EXPECT_EQ(ReadBytes(f.settings), Identifier);
}

TEST(ReportStoreOpen, ReplacesAnEmptyIdentifier) {
  Fixture f("[PELTO]\r\nID=\r\n");
  ASSERT_TRUE(f.Open());
  EXPECT_EQ(f.store.GetInstallationIdentifier().size(), 36U);
}

TEST(ReportStoreOpen, FailsWhenTheIdentifierCannotBeStored) {
  Fixture f("[General]\r\nPeltoState=1\r\n");
  const FileHolder holder(L"unshared", f.settings);
  EXPECT_FALSE(f.Open());
  EXPECT_FALSE(Exists(f.report)) << "the report is not touched";
}

TEST(ReportStoreOpen, NeedsToReadAnIdentifierButNotToWriteIt) {
  for (const auto& [content, opens] : {std::pair{Identifier, true}, {"[PELTO]\r\n", false}}) {
    Fixture f(content);
    const CFileHandle readOnly(CreateFileW(f.settings.c_str(), GENERIC_READ, FILE_SHARE_READ,
                                           nullptr, OPEN_EXISTING, 0, nullptr));
    EXPECT_EQ(f.Open(), opens) << content;
    EXPECT_EQ(Exists(f.report), opens) << content;
    f.store.SetConsentState(1);
    EXPECT_EQ(f.store.GetConsentState(), 2) << "the settings cannot be written";
  }
}

TEST(ReportStoreOpen, FailsWhenThereIsNoNewIdentifier) {
  constexpr auto fail = +[](GUID*) -> HRESULT { return E_FAIL; };
  const ReplacedImport replaced(__imp_CoCreateGuid, reinterpret_cast<void*>(fail));
  Fixture f;
  EXPECT_FALSE(f.Open());
  EXPECT_FALSE(Exists(f.settings));
  EXPECT_FALSE(Exists(f.report));
  WriteBytes(f.settings, Identifier);
  EXPECT_TRUE(f.Open()) << "a stored one is enough";
}

TEST(ReportStoreOpen, FailsWithoutTheFolder) {
  Fixture f;
  EXPECT_FALSE(f.store.Open(f.folder / L"none"));
  EXPECT_TRUE(f.clock.waits.empty());
}

TEST(ReportStoreOpen, FailsWhenTheFolderIsTooLong) {
  Fixture f;
  EXPECT_FALSE(f.store.Open(L"C:\\" + std::wstring(300, L'x')));
}

TEST(ReportStoreOpen, FindsTheSettingsOfARelativeFolderInThatFolder) {
  Fixture f;
  const auto before = std::filesystem::current_path();
  std::filesystem::current_path(f.folder.Path().parent_path());
  EXPECT_TRUE(f.store.Open(f.folder.Path().filename().wstring()));
  EXPECT_TRUE(Exists(f.settings));
  f.store.CloseReport();
  std::filesystem::current_path(before);
}

TEST(ReportStoreOpen, LeavesWhatTheReportHolds) {
  Fixture f;
  WriteBytes(f.report, "what is there");
  ASSERT_TRUE(f.Open());
  EXPECT_EQ(f.TakeReport(), "what is there");
}

TEST(ReportStoreLock, HoldsTheReportUntilItIsClosed) {
  Fixture f;
  ASSERT_TRUE(f.Open());
  EXPECT_FALSE(IsFree(f.report));
  f.store.Save();
  EXPECT_FALSE(IsFree(f.report)) << "after a save";
  f.store.CloseReport();
  EXPECT_TRUE(IsFree(f.report));
}

TEST(ReportStoreLock, EndsWithTheStore) {
  Fixture f;
  {
    CReportStore store(f.commands, f.fileTypes, f.clock);
    ASSERT_TRUE(store.Open(f.folder.Path().wstring()));
    EXPECT_FALSE(IsFree(f.report));
  }
  EXPECT_TRUE(IsFree(f.report));
}

TEST(ReportStoreLock, AReportInUseIsTriedTenTimesWithTwentySecondsAfterEach) {
  Fixture f;
  const FileHolder holder(L"unshared", f.report);
  EXPECT_FALSE(f.Open());
  EXPECT_EQ(f.clock.waits, std::vector<std::uint32_t>(10, 20'000));
  EXPECT_FALSE(f.store.Load());
  EXPECT_FALSE(f.store.Save());
}

TEST(ReportStoreLock, AnyOtherHolderKeepsItOut) {
  for (const wchar_t* mode : {L"read", L"write"}) {
    Fixture f;
    const FileHolder holder(mode, f.report);
    EXPECT_FALSE(f.Open());
    EXPECT_EQ(f.clock.waits.size(), 10U);
  }
}

TEST(ReportStoreLock, AFolderInTheReportsPlaceIsTriedTenTimes) {
  Fixture f;
  std::filesystem::create_directory(f.report);
  EXPECT_FALSE(f.Open());
  EXPECT_EQ(f.clock.waits, std::vector<std::uint32_t>(10, 20'000));
}

TEST(ReportStoreLock, AStreamThatFailsToOpenAfterTheLockTestEndsTheOpening) {
  constexpr auto fail =
      +[](std::FILE** stream, const wchar_t*, const wchar_t*) { return *stream = nullptr, EACCES; };
  const ReplacedImport replaced(__imp__wfopen_s, reinterpret_cast<void*>(fail));
  Fixture f;
  EXPECT_FALSE(f.Open());
  EXPECT_TRUE(f.clock.waits.empty());
}

// docs/compatibility.md, 13.
TEST(ReportStoreLock, AnotherProcessCanTakeTheReportBetweenTheTestAndTheStream) {
  static std::unique_ptr<FileHolder> other;
  const ReplacedImport replaced(
      __imp__wfopen_s,
      reinterpret_cast<void*>(+[](std::FILE** stream, const wchar_t* path, const wchar_t*) {
        other = std::make_unique<FileHolder>(L"unshared", path);
        return *stream = nullptr, EACCES;
      }));
  Fixture f;
  EXPECT_FALSE(f.Open());
  // It could be taken: the lock test does not hold the file until the stream is open.
  ASSERT_NE(other, nullptr);
  EXPECT_FALSE(IsFree(f.report)) << "the other process has it";
  other.reset();
}

TEST(ReportStoreLock, AReportThatBecomesFreeIsTaken) {
  for (const size_t waits : {1U, 9U}) {
    Fixture f;
    auto holder = std::make_unique<FileHolder>(L"unshared", f.report);
    f.clock.onWait = [&] {
      if (f.clock.waits.size() == waits) holder.reset();
    };
    EXPECT_TRUE(f.Open()) << waits;
    EXPECT_EQ(f.clock.waits.size(), waits);
  }
}

TEST(ReportStoreLock, AReportThatBecomesFreeAfterTheTenthAttemptIsNotTaken) {
  Fixture f;
  auto holder = std::make_unique<FileHolder>(L"unshared", f.report);
  f.clock.onWait = [&] {
    if (f.clock.waits.size() == 10) holder.reset();
  };
  EXPECT_FALSE(f.Open());
  EXPECT_EQ(f.clock.waits.size(), 10U);
}

TEST(ReportStoreLock, OpeningAgainLetsGoFirst) {
  Fixture f;
  ASSERT_TRUE(f.Open());
  EXPECT_TRUE(f.Open());
  EXPECT_TRUE(f.clock.waits.empty());
}

TEST(ReportStoreDocument, IsWrittenWithCrLfAndReadBack) {
  Fixture f(Identifier);
  ASSERT_TRUE(f.Open());
  f.Use(L"Line");
  ASSERT_TRUE(f.store.Save());
  EXPECT_EQ(f.TakeReport(), ReportOf("            <cmd id=\"1\" name=\"Line\" count=\"1\" />\r\n"));

  Fixture next(Identifier, ReadBytes(f.report));
  ASSERT_TRUE(next.Open());
  EXPECT_TRUE(next.store.Load());
  EXPECT_EQ(next.commands.GetEntries().at(L"Line").count, 1U);
  EXPECT_EQ(next.commands.GetLastOrder(), 1U);
}

TEST(ReportStoreDocument, AReportThatIsEmptyMalformedOrTruncatedIsReplaced) {
  const std::string good = ReportOf("            <cmd id=\"1\" name=\"Line\" count=\"1\" />\r\n");
  std::vector<std::string> reports = {"",
                                      "text",
                                      "<PeltoRpt>",
                                      "<Other />",
                                      std::string("\0", 1),
                                      "<PeltoRpt a='&#x4g;' />",
                                      "<PeltoRpt>&#65</PeltoRpt>",
                                      "<?xml?><PeltoRpt a='\xE2' />",
                                      "\xEF\xBB\xBF<PeltoRpt>\xF0</a>",
                                      std::string(100'000, '<')};
  std::string nested;
  std::string attributes = "<PeltoRpt";
  for (int i = 0; i < 200'000; ++i) {
    nested += "<a>";
    attributes += " a" + std::to_string(i) + "='1'";
  }
  reports.push_back(nested);
  reports.push_back(attributes + "/>");
  // Whole but for its last line end, a report is still whole.
  for (size_t length = 0; length < good.size() - 2; length += 7) {
    reports.push_back(good.substr(0, length));
  }
  for (const std::string& report : reports) {
    Fixture f(Identifier, report);
    ASSERT_TRUE(f.Open());
    EXPECT_FALSE(f.store.Load()) << report.substr(0, 100);
    EXPECT_TRUE(f.commands.GetEntries().empty()) << report.substr(0, 100);
    EXPECT_TRUE(f.store.Save());
    EXPECT_EQ(f.TakeReport(), ReportOf(""));
  }
}

TEST(ReportStoreDocument, AfterASaveALoadFailsAndChangesNothing) {
  Fixture f(Identifier);
  ASSERT_TRUE(f.Open());
  f.fileTypes.Merge({1, 1, L".a"});
  ASSERT_TRUE(f.store.Save());
  EXPECT_FALSE(f.store.Load());
  EXPECT_EQ(f.fileTypes.GetEntries().at(L".a").ocnt, 1U);
  ASSERT_TRUE(f.store.Save()) << "but it can be saved again";
  EXPECT_NE(f.TakeReport().find("<ftype name=\".a\" ocnt=\"1\" scnt=\"1\" />"), std::string::npos);
}

/// What a save gets instead of its stream.
std::FILE* (*originalReopen)(const wchar_t*, const wchar_t*, std::FILE*);
std::FILE* ReopenNothing(const wchar_t*, const wchar_t*, std::FILE* stream) {
  std::fclose(stream);
  return nullptr;
}
std::FILE* ReopenForReading(const wchar_t* path, const wchar_t*, std::FILE* stream) {
  return originalReopen(path, L"r", stream);
}

TEST(ReportStoreDocument, ASaveThatCannotReopenTheReportFailsAndLeavesItClosed) {
  Fixture f;
  ASSERT_TRUE(f.Open());
  {
    const ReplacedImport replaced(__imp__wfreopen, reinterpret_cast<void*>(&ReopenNothing));
    EXPECT_FALSE(f.store.Save());
  }
  EXPECT_TRUE(IsFree(f.report));
  EXPECT_FALSE(f.store.Load());
  EXPECT_FALSE(f.store.Save());
}

TEST(ReportStoreDocument, ASaveThatCannotPrintFails) {
  Fixture f;
  ASSERT_TRUE(f.Open());
  {
    const ReplacedImport replaced(__imp__wfreopen, reinterpret_cast<void*>(&ReopenForReading));
    originalReopen = reinterpret_cast<decltype(originalReopen)>(replaced.GetOriginal());
    EXPECT_FALSE(f.store.Save());
  }
  EXPECT_TRUE(f.store.Save()) << "the next save may succeed";
}

TEST(ReportStoreDocument, ASaveWhoseLastBytesDoNotReachTheFileFails) {
  constexpr auto fail = +[](std::FILE*) { return EOF; };
  Fixture f;
  ASSERT_TRUE(f.Open());
  const ReplacedImport replaced(__imp_fflush, reinterpret_cast<void*>(fail));
  EXPECT_FALSE(f.store.Save());
}

TEST(ReportStoreDocument, ASaveShortensALongerReport) {
  Fixture f(Identifier, "<PeltoRpt>" + std::string(10'000, ' ') + "</PeltoRpt>");
  ASSERT_TRUE(f.Open());
  EXPECT_TRUE(f.store.Load());
  ASSERT_TRUE(f.store.Save());
  EXPECT_EQ(f.TakeReport(), ReportOf(""));
}

TEST(ReportStoreDocument, AClosedReportIsNeitherLoadedNorSaved) {
  Fixture f;
  ASSERT_TRUE(f.Open());
  f.store.CloseReport();
  WriteBytes(f.report, "<PeltoRpt />");
  EXPECT_FALSE(f.store.Load());
  EXPECT_FALSE(f.store.Save());
  EXPECT_EQ(ReadBytes(f.report), "<PeltoRpt />");
}

TEST(ReportStoreDocument, HoldsApplicationEmailAndIdentifierOfTheMomentOfSaving) {
  Fixture f(Identifier);
  ASSERT_TRUE(f.Open());
  f.store.SetApplication(L"Designer", L"1.2.3.4");
  f.store.SetSystemProperty(L"Name", L"OS", L"old");
  f.store.SetSystemProperty(L"Name", L"OS", L"Windows");
  WriteBytes(f.settings, "[PELTO]\r\nID=another\r\n[General]\r\nEmail=a\\nb@c.d\r\n");
  ASSERT_TRUE(f.store.Save());
  const std::string bytes = f.TakeReport();
  EXPECT_NE(bytes.find("    <sys_info>\r\n        <prop name=\"Name\" cat=\"OS\">Windows</prop>\r\n"
                       "        <prop name=\"ID\">another</prop>\r\n    </sys_info>\r\n"
                       "    <app_info>\r\n        <prop name=\"app_name\">Designer</prop>\r\n"
                       "        <prop name=\"app_ver\">1.2.3.4</prop>\r\n    </app_info>\r\n"
                       "    <cust_info>\r\n        <prop name=\"Email\">a&#x0A;b@c.d</prop>\r\n"
                       "    </cust_info>\r\n</PeltoRpt>\r\n"),
            std::string::npos)
      << bytes;
}

TEST(ReportStoreDocument, LoadsWhatOthersMayHaveWritten) {
  const std::string commands =
      "<PeltoRpt><cmd_stat><cmds><cmd id=\"1\" name=\"R\xE9sum\xE9s, two&#x;\" count=\"3\"/></cmds>"
      "</cmd_stat></PeltoRpt>";
  for (const char* before :
       {"", "<?xml version=\"1.0\" encoding=\"windows-1252\"?>\r\n",
        "<?xml version='1.0' encoding='ISO-8859-1' standalone='yes' ?>",
        "<?xml version = \"1.0\"\tencoding\n=\n'windows-1252' ?>\n", "<?xml encoding=latin1?>",
        "<?xml unknown a-b='c d' encoding='&#119;indows-1252' version='>'?>", "<!-- by hand -->\n",
        // It says UTF-8, which it is not: broken characters are taken as they are.
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"}) {
    Fixture f;
    WriteBytes(f.report, before + commands);
    ASSERT_TRUE(f.Open());
    EXPECT_TRUE(f.store.Load()) << before;
    ASSERT_TRUE(f.commands.GetEntries().contains(L"R\u00E9sum\u00E9s, two")) << before;
    EXPECT_EQ(f.commands.GetEntries().at(L"R\u00E9sum\u00E9s, two").count, 3U) << before;
  }
}

TEST(ReportStoreDocument, LoadsTheCommandChainAndTheProperties) {
  Fixture f;
  WriteBytes(f.report,
             "<PeltoRpt><cmd_stat><cmd_chain>A;B</cmd_chain></cmd_stat><sys_info>"
             "<prop name=\"Name\" cat=\"OS\">Windows</prop></sys_info></PeltoRpt>");
  ASSERT_TRUE(f.Open());
  ASSERT_TRUE(f.store.Load());
  EXPECT_EQ(f.store.GetCommandChain(), L"A;B");
  EXPECT_EQ(f.store.GetSystemProperties().size(), 1U);
}

TEST(ReportStoreCodePage, LoadsAndSavesInTheCodePageInForce) {
  const CodePageText& sample = GetCodePageText();
  const std::string report = std::regex_replace(
      std::string("<PeltoRpt>\r\n    <cmd_stat>\r\n        <cmds>\r\n"
                  "            <cmd id=\"1\" name=\"@\" count=\"3\" />\r\n"
                  "        </cmds>\r\n    </cmd_stat>\r\n    <ftype_stat>\r\n        <ftypes>\r\n"
                  "            <ftype name=\".@\" ocnt=\"1\" scnt=\"2\" />\r\n"
                  "        </ftypes>\r\n    </ftype_stat>\r\n    <sys_info>\r\n"
                  "        <prop name=\"@\" cat=\"@\">@</prop>\r\n"
                  "        <prop name=\"ID\">the-id</prop>\r\n    </sys_info>\r\n"
                  "    <app_info>\r\n        <prop name=\"app_name\">@</prop>\r\n"
                  "        <prop name=\"app_ver\">@</prop>\r\n    </app_info>\r\n"
                  "    <cust_info>\r\n        <prop name=\"Email\">@</prop>\r\n"
                  "    </cust_info>\r\n</PeltoRpt>\r\n"),
      std::regex("@"), sample.bytes);
  Fixture f(Identifier + ("[General]\r\nEmail=" + std::string(sample.bytes) + "\r\n"), report);
  ASSERT_TRUE(f.Open());
  EXPECT_TRUE(f.store.Load());
  EXPECT_TRUE(f.commands.GetEntries().contains(sample.text));
  EXPECT_TRUE(f.fileTypes.GetEntries().contains(std::wstring(L".") + sample.text));
  EXPECT_EQ(f.store.GetSystemProperties().at({sample.text, sample.text}), sample.text);
  f.store.SetApplication(sample.text, sample.text);
  ASSERT_TRUE(f.store.Save());
  EXPECT_EQ(f.TakeReport(), report);
}

TEST(ReportStoreDocument, IsDeletedWhenItIsClosed) {
  Fixture f;
  ASSERT_TRUE(f.Open());
  f.store.CloseReport();
  EXPECT_EQ(f.store.GetReportPath(), f.report);
  EXPECT_TRUE(f.store.DeleteReport());
  EXPECT_FALSE(Exists(f.report));
  EXPECT_FALSE(f.store.DeleteReport());
}

TEST(ReportStoreSettings, HaveTheirDefaults) {
  Fixture f;
  ASSERT_TRUE(f.Open());
  EXPECT_EQ(f.store.GetConsentState(), 2);
  EXPECT_EQ(f.store.GetEmail(), L"");
  EXPECT_TRUE(f.store.GetShowMessage());
}

TEST(ReportStoreSettings, AreWrittenInTheirForms) {
  Fixture f(Identifier);
  ASSERT_TRUE(f.Open());
  f.store.SetConsentState(3);
  f.store.SetEmail(L"a@b.c");
  f.store.SetShowMessage(false);
  f.clock.now = {2024, 3, 5, 14, 7, 9, 500};
  f.store.StampDialog();
  f.store.StampTransmission();
  f.store.StampSystemInformation();
  EXPECT_EQ(ReadBytes(f.settings),
            std::string(Identifier) +
                "[General]\r\nPeltoState=3\r\nEmail=a@b.c\r\nShowMessage=0\r\n"
                "LastDlgOpenDate=2024-03-05T14:07:09Z\r\n"
                "LastTransmissionDate=2024-03-05T14:07:09Z\r\n"
                "LastSysInfoCollectingDate=2024-03-05T14:07:09Z\r\n");
  EXPECT_EQ(f.store.GetConsentState(), 3);
  EXPECT_EQ(f.store.GetEmail(), L"a@b.c");
  EXPECT_FALSE(f.store.GetShowMessage());
  f.store.SetShowMessage(true);
  EXPECT_TRUE(f.store.GetShowMessage());
}

// The settings file's own rules for spaces and quotation marks apply.
TEST(ReportStoreSettings, EmailWithSpacesAtBothEnds) {
  Fixture f(Identifier);
  ASSERT_TRUE(f.Open());
  f.store.SetEmail(L"  a@b.c  ");
  EXPECT_EQ(ReadBytes(f.settings), std::string(Identifier) + "[General]\r\nEmail=a@b.c  \r\n");
  EXPECT_EQ(f.store.GetEmail(), L"a@b.c");
  for (const auto& [value, email] : {std::pair{"  a@b.c  ", L"a@b.c"},
                                     {"\"  a@b.c  \"", L"  a@b.c  "},
                                     {" '  a@b.c  ' ", L"  a@b.c  "}}) {
    WriteBytes(f.settings, std::string("[General]\r\nEmail=") + value + "\r\n");
    EXPECT_EQ(f.store.GetEmail(), email) << value;
  }
}

/// One of the three gates.
struct Gate {
  const char* key;
  int days;
  bool (*isDue)(CReportStore&);
};
const Gate Gates[] = {
    {"LastTransmissionDate", 28, [](CReportStore& store) { return store.IsTransmissionDue(); }},
    {"LastSysInfoCollectingDate", 30,
     [](CReportStore& store) { return store.IsSystemInformationDue(); }},
    {"LastDlgOpenDate", 7, [](CReportStore& store) { return store.IsDialogDue(); }},
};

bool IsDue(const Gate& gate, const std::string& date, const CivilTime& now) {
  Fixture f;
  WriteBytes(f.settings,
             std::string(Identifier) + "[General]\r\n" + gate.key + "=" + date + "\r\n");
  EXPECT_TRUE(f.Open());
  f.clock.now = now;
  return gate.isDue(f.store);
}

TEST(ReportStoreGates, OpenAtTheLimitAndNotASecondBefore) {
  const CivilTime now = {2024, 1, 31, 12, 0, 0, 0};
  for (const Gate& gate : Gates) {
    const std::string day = std::to_string(131 - gate.days).substr(1);
    EXPECT_TRUE(IsDue(gate, "2024-01-" + day + "T12:00:00Z", now)) << gate.key;
    EXPECT_FALSE(IsDue(gate, "2024-01-" + day + "T12:00:01Z", now)) << gate.key;
    EXPECT_FALSE(IsDue(gate, "2024-01-31T12:00:00Z", now)) << gate.key;
    EXPECT_TRUE(IsDue(gate, "2001-01-01T00:00:00Z", now)) << gate.key;
  }
}

/// A day soon after a change of the clocks, and the hour in UTC at which a gate opens then
/// that was last passed at noon.
struct ClockChange {
  const char* zone;
  std::chrono::sys_days day;
  int openingHour;
};

// Both times of an age are local, so an age that spans the night in which the clocks are set
// forward is an hour long, and one that spans the other is an hour short. Run in several zones.
TEST(ReportStoreGates, AChangeOfTheClocksMovesThemByAnHour) {
  using namespace std::chrono;
  const ClockChange changes[] = {{"America/New_York", 2024y / March / 13, 11},
                                 {"Europe/Berlin", 2024y / April / 3, 11},
                                 {"Australia/Sydney", 2024y / April / 10, 13}};
  const char* const setting = std::getenv("PELTO_TEST_ZONE");
  const std::string zone = setting == nullptr ? "none" : setting;
  ClockChange change = {"none", 2024y / April / 3, 12};  // without a zone there is no change
  for (const ClockChange& candidate : changes) {
    if (candidate.zone == zone) change = candidate;
  }
  ASSERT_EQ(change.zone, zone) << "an unknown zone";
  const auto at = [](sys_days day, int hour, int minute, int second) {
    const year_month_day date(day);
    return CivilTime{static_cast<int>(date.year()),
                     static_cast<int>(static_cast<unsigned>(date.month())),
                     static_cast<int>(static_cast<unsigned>(date.day())),
                     hour,
                     minute,
                     second,
                     0};
  };
  for (const Gate& gate : Gates) {
    const std::wstring stored = FormatDateText(at(change.day - days(gate.days), 12, 0, 0));
    const std::string date(stored.begin(), stored.end());
    EXPECT_TRUE(IsDue(gate, date, at(change.day, change.openingHour, 0, 0))) << gate.key << zone;
    EXPECT_FALSE(IsDue(gate, date, at(change.day, change.openingHour - 1, 59, 59)))
        << gate.key << zone;
  }
}

TEST(ReportStoreGates, MillisecondsOfNowCountButNotOfTheDate) {
  for (const Gate& gate : Gates) {
    const std::string day = std::to_string(131 - gate.days).substr(1);
    EXPECT_FALSE(IsDue(gate, "2024-01-" + day + "T12:00:00Z", {2024, 1, 31, 11, 59, 59, 999}))
        << gate.key;
  }
}

TEST(ReportStoreGates, ADateInTheFutureOpensThem) {
  for (const Gate& gate : Gates) {
    EXPECT_TRUE(IsDue(gate, "2099-01-01T00:00:00Z", {2024, 1, 31, 12, 0, 0, 0})) << gate.key;
    EXPECT_TRUE(IsDue(gate, "2024-01-31T12:00:01Z", {2024, 1, 31, 12, 0, 0, 0})) << gate.key;
  }
}

TEST(ReportStoreGates, ATextThatIsNoDateCountsAsNone) {
  for (const char* text : {"", "never", "2024-13-01T00:00:00Z", "2024-02-30T00:00:00Z",
                           "2024-01-31T24:00:00Z", "0000-00-00T00:00:00Z", "1"}) {
    const CivilTime now = {2024, 1, 31, 12, 0, 0, 0};
    EXPECT_TRUE(IsDue(Gates[0], text, now)) << text;
    EXPECT_TRUE(IsDue(Gates[1], text, now)) << text;
    EXPECT_FALSE(IsDue(Gates[2], text, now)) << text;
  }
}

TEST(ReportStoreGates, TheDialogsDateIsWrittenWhenThereIsNone) {
  for (const char* before : {"", "[General]\r\nLastDlgOpenDate=rubbish\r\n"}) {
    Fixture f(std::string(Identifier) + before);
    ASSERT_TRUE(f.Open());
    f.clock.now = {2024, 3, 5, 14, 7, 9, 0};
    EXPECT_FALSE(f.store.IsDialogDue());
    EXPECT_EQ(ReadBytes(f.settings),
              std::string(Identifier) + "[General]\r\nLastDlgOpenDate=2024-03-05T14:07:09Z\r\n");
    f.clock.now = {2024, 3, 12, 14, 7, 9, 0};
    EXPECT_TRUE(f.store.IsDialogDue());
  }
}

TEST(ReportStoreGates, TheOthersWriteNothing) {
  Fixture f(Identifier);
  ASSERT_TRUE(f.Open());
  EXPECT_TRUE(f.store.IsTransmissionDue());
  EXPECT_TRUE(f.store.IsSystemInformationDue());
  EXPECT_EQ(ReadBytes(f.settings), Identifier);
}

TEST(ReportStoreGates, ASilencedDialogIsNeverDueAndWritesNothing) {
  Fixture f;
  const std::string silenced = std::string(Identifier) + "[General]\r\nShowMessage=0\r\n";
  WriteBytes(f.settings, silenced);
  ASSERT_TRUE(f.Open());
  EXPECT_FALSE(f.store.IsDialogDue());
  EXPECT_EQ(ReadBytes(f.settings), silenced);
  WriteBytes(f.settings, silenced + "LastDlgOpenDate=2001-01-01T00:00:00Z\r\n");
  EXPECT_FALSE(f.store.IsDialogDue());
}

}  // namespace
