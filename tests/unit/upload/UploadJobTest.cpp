#include "upload/UploadJob.h"

#include <gtest/gtest.h>

#include <optional>
#include <regex>

#include "platform/Handles.h"
#include "tests/support/FakeClock.h"
#include "tests/support/LoopbackServer.h"
#include "tests/support/TempFolder.h"
#include "tests/support/TestProcess.h"
#include "upload/Base64.h"

namespace {

void Confirm(LoopbackClient& client) {
  client.ReadRequest();
  client.Send(HttpAnswer("200 OK", "thanks"));
}

/// An open store whose report holds the given bytes.
struct Fixture {
  explicit Fixture(const std::string& bytes) {
    WriteBytes(report, bytes);
    WriteBytes(folder / L"PeltoReport.ini",
               "[PELTO]\r\nID=01234567-89ab-cdef-0123-456789abcdef\r\n");
    EXPECT_TRUE(store.Open(folder.Path().wstring()));
  }

  bool IsReportFree() const {
    return static_cast<bool>(CFileHandle(CreateFileW(report.c_str(), GENERIC_READ | GENERIC_WRITE,
                                                     0, nullptr, OPEN_EXISTING, 0, nullptr)));
  }

  TempFolder folder;
  std::wstring report = folder / L"PeltoReport.xml";
  CommandStats commands;
  FileTypeStats fileTypes;
  FakeClock clock;
  CReportStore store{commands, fileTypes, clock};
};

/// The values of the form's two fields, when the body is exactly that form.
struct Form {
  std::string id;
  std::string report;
};

std::optional<Form> FormOf(const std::string& request) {
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

/// Uploads the fixture's report to a server that confirms it. The form that arrived.
std::optional<Form> Upload(Fixture& f) {
  LoopbackServer server(Confirm);
  EXPECT_EQ(UploadReport(f.store, server.Address()), 1);
  const auto& requests = server.Requests();
  EXPECT_EQ(requests.size(), 1U);
  const std::optional<Form> form = requests.empty() ? std::nullopt : FormOf(requests[0]);
  EXPECT_TRUE(form) << testing::PrintToString(requests);
  return form;
}

std::string ReportFieldOf(const std::string& bytes) {
  Fixture f(bytes);
  const std::optional<Form> form = Upload(f);
  return form ? form->report : "no form";
}

TEST(UploadReportPayload, DoublesTheLastCharacter) {
  EXPECT_EQ(ReportFieldOf("X"), "WFg=");
  EXPECT_EQ(ReportFieldOf("<a/>\n"), "PGEvPgoK");
}

TEST(UploadReportPayload, HasLineFeedsForCrLf) {
  EXPECT_EQ(ReportFieldOf("<a/>\r\n"), "PGEvPgoK");
  EXPECT_EQ(ReportFieldOf("a\r\nb\rc\n"), "YQpiDWMKCg==") << "a lone CR stays";
}

TEST(UploadReportPayload, EndsAtTheEndOfFileCharacter) {
  EXPECT_EQ(ReportFieldOf("ab\x1A"
                          "cd"),
            "YWJi");
}

TEST(UploadReportPayload, OfAnEmptyFileIsOneNulByte) {
  EXPECT_EQ(ReportFieldOf(""), "AA==");
}

TEST(UploadReportPayload, IsInTheFilesBytesAndNotConverted) {
  EXPECT_EQ(ReportFieldOf("\xC3\xA4\x80\xFF"), "w6SA//8=");
}

TEST(UploadReportPayload, OfAMissingFileIsEmptyAndIsSentAllTheSame) {
  Fixture f("<a/>");
  f.store.CloseReport();
  ASSERT_TRUE(f.store.DeleteReport());
  const std::optional<Form> form = Upload(f);
  ASSERT_TRUE(form);
  EXPECT_EQ(form->report, "");
  EXPECT_FALSE(Exists(f.report)) << "it is not made";
}

TEST(UploadReportPayload, IsReadFromAFileThatAnotherProcessWrites) {
  Fixture f("X");
  f.store.CloseReport();
  const FileHolder holder(L"write", f.report);
  const std::optional<Form> form = Upload(f);
  ASSERT_TRUE(form);
  EXPECT_EQ(form->report, "WFg=");
}

TEST(UploadReportPayload, OfAFileThatAnotherProcessHoldsForItselfIsEmpty) {
  Fixture f("X");
  f.store.CloseReport();
  const FileHolder holder(L"unshared", f.report);
  const std::optional<Form> form = Upload(f);
  ASSERT_TRUE(form);
  EXPECT_EQ(form->report, "");
}

TEST(UploadReportPayload, OfAnyLengthIsOneLine) {
  for (const std::size_t length : {50U, 57U, 58U, 77U, 1000U}) {
    const std::string field = ReportFieldOf(std::string(length, 'x'));
    EXPECT_EQ(field.size(), (length + 1 + 2) / 3 * 4);
    EXPECT_EQ(field.find_first_of("\r\n"), std::string::npos);
  }
}

TEST(UploadReportPayload, OfAFewMegabytesArrivesWhole) {
  std::string bytes;
  std::string payload;
  for (int line = 0; payload.size() < 4'000'000; ++line) {
    const std::string text = "            <cmd id=\"" + std::to_string(line) + "\" />";
    bytes += text + "\r\n";
    payload += text + "\n";
  }
  const std::string field = ReportFieldOf(bytes);
  EXPECT_TRUE(field == Base64Encode(payload + "\n", 0, '\0')) << field.size();
  EXPECT_EQ(field.find_first_of("\r\n"), std::string::npos);
}

TEST(UploadReportId, IsAFreshGuidForEachUpload) {
  const std::regex guid("[0-9a-f]{8}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{12}");
  Fixture f("X");
  const std::optional<Form> first = Upload(f);
  const std::optional<Form> second = Upload(f);
  ASSERT_TRUE(first && second);
  EXPECT_TRUE(std::regex_match(first->id, guid)) << first->id;
  EXPECT_TRUE(std::regex_match(second->id, guid)) << second->id;
  EXPECT_NE(first->id, second->id);
  for (const std::string& id : {first->id, second->id}) {
    EXPECT_NE(id, "01234567-89ab-cdef-0123-456789abcdef") << "that is the installation's";
  }
}

TEST(UploadReport, GoesToTheAddressAsItStands) {
  Fixture f("X");
  LoopbackServer server(Confirm);
  EXPECT_EQ(UploadReport(f.store, server.Address(L"/a/b.php?c=d&e=%20f")), 1);
  ASSERT_EQ(server.Requests().size(), 1U);
  EXPECT_TRUE(server.Requests()[0].starts_with("POST /a/b.php?c=d&e=%20f HTTP/1.1\r\n"))
      << server.Requests()[0];
}

TEST(UploadReport, IsZeroWhenTheServerRefuses) {
  for (const char* status : {"404 Not Found", "500 Internal Server Error", "204 No Content"}) {
    Fixture f("X");
    LoopbackServer server([&](LoopbackClient& client) {
      client.ReadRequest();
      client.Send(HttpAnswer(status, ""));
    });
    EXPECT_EQ(UploadReport(f.store, server.Address()), 0) << status;
    EXPECT_EQ(server.Requests().size(), 1U) << "there is no second attempt";
  }
}

TEST(UploadReport, IsZeroWithoutAServer) {
  const Deadline deadline;
  Fixture f("X");
  const LoopbackPort port;
  EXPECT_EQ(UploadReport(f.store, L"http://127.0.0.1:" + std::to_wstring(port.Number()) + L"/"), 0);
}

TEST(UploadReport, IsZeroForAddressesThatAreNone) {
  const Deadline deadline;
  Fixture f("X");
  for (const std::wstring& address :
       {std::wstring(), std::wstring(L"http://"), std::wstring(L"/"), std::wstring(L":"),
        std::wstring(L"http://h/") + std::wstring(100'000, L'x'), std::wstring(100'000, L'x')}) {
    EXPECT_EQ(UploadReport(f.store, address), 0) << address.size();
  }
}

TEST(UploadReport, LetsGoOfTheReportBeforeItIsSent) {
  Fixture f("X");
  bool isFree = false;
  LoopbackServer server([&](LoopbackClient& client) {
    client.ReadRequest();
    isFree = f.IsReportFree();
    client.Send(HttpAnswer("200 OK", "thanks"));
  });
  EXPECT_FALSE(f.IsReportFree());
  EXPECT_EQ(UploadReport(f.store, server.Address()), 1);
  server.Requests();
  EXPECT_TRUE(isFree);
}

TEST(UploadReport, LetsGoOfTheReportForGood) {
  for (const char* status : {"200 OK", "404 Not Found"}) {
    Fixture f("<PeltoRpt/>");
    LoopbackServer server([&](LoopbackClient& client) {
      client.ReadRequest();
      client.Send(HttpAnswer(status, ""));
    });
    UploadReport(f.store, server.Address());
    EXPECT_TRUE(f.IsReportFree()) << status;
    EXPECT_FALSE(f.store.Load()) << status;
    EXPECT_FALSE(f.store.Save()) << status;
    EXPECT_EQ(ReadBytes(f.report), "<PeltoRpt/>") << "what becomes of it is the caller's matter";
  }
}

}  // namespace
