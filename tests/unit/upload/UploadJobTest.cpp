#include "upload/UploadJob.h"

#include <gtest/gtest.h>

#include <optional>
#include <regex>
#include <utility>

#include "tests/support/FakeClock.h"
#include "tests/support/LoopbackServer.h"
#include "tests/support/TempFolder.h"
#include "tests/support/TestProcess.h"
#include "tests/unit/upload/OpenHandles.h"
#include "tests/unit/upload/SystemCalls.h"
#include "upload/Base64.h"

extern "C" void* __imp_CoCreateGuid;
extern "C" void* __imp_UuidToStringA;

namespace {

HRESULT WINAPI FailGuid(GUID*) {
  return E_FAIL;
}

RPC_STATUS RPC_ENTRY FailGuidText(const UUID*, RPC_CSTR*) {
  return RPC_S_OUT_OF_MEMORY;
}

const std::string Confirmation = FormatResponse("200 OK", "thanks");

/// An open store with a report of the given bytes.
struct Fixture {
  explicit Fixture(const std::string& bytes) {
    WriteBytes(report, bytes);
    WriteBytes(folder / L"PeltoReport.ini",
               "[PELTO]\r\nID=01234567-89ab-cdef-0123-456789abcdef\r\n");
    EXPECT_TRUE(store.Open(folder.Path().wstring()));
  }

  TempFolder folder;
  std::wstring report = folder / L"PeltoReport.xml";
  CommandStats commands;
  FileTypeStats fileTypes;
  FakeClock clock;
  CReportStore store{commands, fileTypes, clock};
};

/// The values of the form's two fields.
struct Form {
  std::string id;
  std::string report;
};

std::optional<Form> ParseForm(const std::string& request) {
  const std::string start =
      "--AaB03x5fs1045fcc7\r\nContent-disposition: form-data; name=\"Id\"\r\n\r\n";
  const std::string middle =
      "\r\n--AaB03x5fs1045fcc7\r\nContent-disposition: form-data; name=\"peltorpt\"\r\n\r\n";
  const std::string end = "\r\n--AaB03x5fs1045fcc7--\r\n";
  const std::size_t head = request.find("\r\n\r\n");
  if (head == std::string::npos) return {};
  const std::string body = request.substr(head + 4);
  const std::size_t idEnd = body.find(middle);
  if (!body.starts_with(start) || idEnd == std::string::npos || !body.ends_with(end)) return {};
  const std::size_t reportStart = idEnd + middle.size();
  return Form{body.substr(start.size(), idEnd - start.size()),
              body.substr(reportStart, body.size() - end.size() - reportStart)};
}

/// Uploads the fixture's report to a server that confirms it, and returns the received form.
std::optional<Form> Upload(Fixture& f) {
  LoopbackServer server(RespondWith(Confirmation));
  EXPECT_EQ(UploadReport(f.store, server.GetAddress()), 1);
  const auto& requests = server.GetRequests();
  EXPECT_EQ(requests.size(), 1U);
  const std::optional<Form> form = requests.empty() ? std::nullopt : ParseForm(requests[0]);
  EXPECT_TRUE(form) << testing::PrintToString(requests);
  return form;
}

std::string UploadBytes(const std::string& bytes) {
  Fixture f(bytes);
  const std::optional<Form> form = Upload(f);
  return form ? form->report : "no form";
}

// docs/compatibility.md, 35: the last byte is doubled, an empty report is one NUL byte.
TEST(UploadReportPayload, IsTheFileReadInTextModeWithItsLastByteDoubled) {
  const struct {
    std::string bytes;
    const char* field;
  } cases[] = {{"X", "WFg="},
               {"<a/>\n", "PGEvPgoK"},
               {"<a/>\r\n", "PGEvPgoK"},
               {"a\r\nb\rc\n", "YQpiDWMKCg=="},
               {"ab\x1A"
                "cd",
                "YWJi"},
               {"", "AA=="},
               {"\xC3\xA4\x80\xFF", "w6SA//8="}};
  for (const auto& [bytes, field] : cases) EXPECT_EQ(UploadBytes(bytes), field);
}

TEST(UploadReportPayload, MissingFileIsSentAsAnEmptyField) {
  Fixture f("<a/>");
  f.store.CloseReport();
  ASSERT_TRUE(f.store.DeleteReport());
  const std::optional<Form> form = Upload(f);
  ASSERT_TRUE(form);
  EXPECT_EQ(form->report, "");
  EXPECT_FALSE(Exists(f.report)) << "it is not made";
}

TEST(UploadReportPayload, HeldFileIsReadIfItsHolderSharesItElseSentAsAnEmptyField) {
  for (const auto& [mode, field] : {std::pair(L"write", "WFg="), {L"unshared", ""}}) {
    Fixture f("X");
    f.store.CloseReport();
    const FileHolder holder(mode, f.report);
    const std::optional<Form> form = Upload(f);
    ASSERT_TRUE(form);
    EXPECT_EQ(form->report, field);
  }
}

TEST(UploadReportPayload, ReportOfAnyLengthIsOneLine) {
  for (const std::size_t length : {50U, 57U, 58U, 77U, 1000U}) {
    const std::string field = UploadBytes(std::string(length, 'x'));
    EXPECT_EQ(field.size(), (length + 1 + 2) / 3 * 4);
    EXPECT_EQ(field.find_first_of("\r\n"), std::string::npos);
  }
}

TEST(UploadReportPayload, ReportOfMegabytesArrivesWhole) {
  std::string bytes;
  std::string payload;
  for (int line = 0; payload.size() < 4'000'000; ++line) {
    const std::string text = "            <cmd id=\"" + std::to_string(line) + "\" />";
    bytes += text + "\r\n";
    payload += text + "\n";
  }
  const std::string field = UploadBytes(bytes);
  EXPECT_TRUE(field == Base64Encode(payload + "\n", 0, '\0')) << field.size();
  EXPECT_EQ(field.find_first_of("\r\n"), std::string::npos);
}

// docs/compatibility.md, 36.
TEST(UploadReportId, IsANewGuidForEachUpload) {
  const std::regex guid("[0-9a-f]{8}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{12}");
  Fixture f("X");
  const std::optional<Form> first = Upload(f);
  const std::optional<Form> second = Upload(f);
  ASSERT_TRUE(first && second);
  EXPECT_TRUE(std::regex_match(first->id, guid)) << first->id;
  EXPECT_TRUE(std::regex_match(second->id, guid)) << second->id;
  EXPECT_NE(first->id, second->id);
  for (const std::string& id : {first->id, second->id}) {
    EXPECT_NE(id, "01234567-89ab-cdef-0123-456789abcdef") << "the installation's";
  }
}

TEST(UploadReportId, WithoutAGuidNothingIsSent) {
  const auto fail = [](const char* name, void*& entry, void* replacement) {
    const ReplacedImport failing(entry, replacement);
    SystemCalls calls;
    Fixture f("X");
    LoopbackServer server(RespondWith(Confirmation));
    EXPECT_EQ(UploadReport(f.store, server.GetAddress()), 0) << name;
    EXPECT_TRUE(server.GetRequests().empty()) << name;
    EXPECT_TRUE(calls.sessions.empty()) << name;
    EXPECT_TRUE(IsFree(f.report)) << name;
  };
  fail("no GUID", __imp_CoCreateGuid, reinterpret_cast<void*>(&FailGuid));
  fail("no text", __imp_UuidToStringA, reinterpret_cast<void*>(&FailGuidText));
}

TEST(UploadReport, AddressIsUsedVerbatim) {
  Fixture f("X");
  LoopbackServer server(RespondWith(Confirmation));
  EXPECT_EQ(UploadReport(f.store, server.GetAddress(L"/a/b.php?c=d&e=%20f")), 1);
  ASSERT_EQ(server.GetRequests().size(), 1U);
  EXPECT_TRUE(server.GetRequests()[0].starts_with("POST /a/b.php?c=d&e=%20f HTTP/1.1\r\n"))
      << server.GetRequests()[0];
}

TEST(UploadReport, FailsWithoutAServerOrAValidAddress) {
  const Deadline deadline;
  Fixture f("X");
  const LoopbackPort port;
  for (const std::wstring& address :
       {L"http://127.0.0.1:" + std::to_wstring(port.GetNumber()) + L"/", std::wstring(),
        std::wstring(L"http://"), std::wstring(L"/"), std::wstring(L":"),
        std::wstring(L"http://h/") + std::wstring(100'000, L'x'), std::wstring(100'000, L'x')}) {
    EXPECT_EQ(UploadReport(f.store, address), 0) << address.size();
  }
}

// docs/compatibility.md, 38: the report stays closed.
TEST(UploadReport, ReportIsClosedBeforeItIsSentAndStaysClosed) {
  const struct {
    const char* status;
    int result;
  } cases[] = {{"200 OK", 1}, {"404 Not Found", 0}, {"500 Error", 0}, {"204 No Content", 0}};
  for (const auto& [status, result] : cases) {
    Fixture f("<PeltoRpt/>");
    EXPECT_FALSE(IsFree(f.report));
    bool wasFree = false;
    LoopbackServer server([&, response = FormatResponse(status, "")](LoopbackClient& client) {
      client.ReadRequest();
      wasFree = IsFree(f.report);
      client.Send(response);
    });
    EXPECT_EQ(UploadReport(f.store, server.GetAddress()), result) << status;
    EXPECT_EQ(server.GetRequests().size(), 1U) << "there is no second attempt";
    EXPECT_TRUE(wasFree) << status;
    EXPECT_TRUE(IsFree(f.report)) << status;
    EXPECT_FALSE(f.store.Load()) << status;
    EXPECT_FALSE(f.store.Save()) << status;
    EXPECT_EQ(ReadBytes(f.report), "<PeltoRpt/>") << "the caller deletes it";
  }
}

}  // namespace
