#include "upload/MultipartSender.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <functional>
#include <future>
#include <memory>
#include <new>
#include <sstream>
#include <string_view>
#include <utility>

#include "tests/support/LoopbackServer.h"
#include "tests/support/TempFolder.h"
#include "tests/support/TestProcess.h"
#include "tests/unit/upload/OpenHandles.h"
#include "tests/unit/upload/SystemCalls.h"

namespace {

using testing::UnorderedElementsAre;

using Log = std::vector<std::wstring>;

Log operator+(Log log, const Log& more) {
  log.insert(log.end(), more.begin(), more.end());
  return log;
}

const Log UpToOpening = {L"Calculating size of data to send.", L"Opening Internet connection."};
const Log UpToConnecting = UpToOpening + Log{L"Connecting to server"};
const Log UpToRequest = UpToConnecting + Log{L"Opening HTTP request..."};
const Log UpToSending = UpToRequest + Log{L"Sending HTTP request..."};
const Log UpToEnding = UpToSending + Log{L"Ending HTTP request..."};
const Log UpToReading = UpToEnding + Log{L"Reading server response..."};
const Log Failed = {L"Error sending HTTP request."};
const Log JudgedByBody = {
    L"Assuming legacy method of determining delivery status (from HTTP responce body)."};
const Log Delivered = {L"Error report was sent OK!"};
const Log RefusedByBody = Log{L"Failed (HTTP responce body doesn't start with code 200)."} + Failed;
const Log RefusedByStatus = Log{L"Failed (HTTP responce code is not equal to 200)."} + Failed;

/// The log of a send with this response.
Log FormatLog(const std::wstring& code, const std::wstring& body, const Log& verdict) {
  return UpToReading + Log{L"Server responce code: " + code, L"Server responce body:" + body} +
         verdict;
}

/// More than the system buffers for a server that does not read.
constexpr std::size_t MuchMoreThanBuffers = std::size_t{8} * 1024 * 1024;
/// A number of bytes in the middle of that.
constexpr std::size_t Middle = 500'000;

// The text before and after the value of `MakeField` and the bytes of `MakeAttachment`.
constexpr std::string_view FieldHeader =
    "--AaB03x5fs1045fcc7\r\nContent-disposition: form-data; name=\"a\"\r\n\r\n";
constexpr std::string_view AttachmentHeader =
    "--AaB03x5fs1045fcc7\r\n"
    "Content-disposition: form-data; name=\"f\"; filename=\"a.bin\"\r\n"
    "Content-Type: t/s\r\nContent-Transfer-Encoding: binary\r\n\r\n";
constexpr std::string_view Footer = "\r\n";
constexpr std::string_view ClosingBoundary = "--AaB03x5fs1045fcc7--\r\n";
constexpr std::string_view BodyEnd = "\r\n--AaB03x5fs1045fcc7--\r\n";

CUploadRequest MakeTwoFields() {
  CUploadRequest request;
  request.textFields[L"peltorpt"] = "QUJD";
  request.textFields[L"Id"] = "the-id";
  return request;
}

CUploadRequest MakeField(std::string value) {
  CUploadRequest request;
  request.textFields[L"a"] = std::move(value);
  return request;
}

CUploadRequest MakeAttachment(const std::wstring& path) {
  CUploadRequest request;
  request.files[L"f"] = {path, L"t/s"};
  return request;
}

struct Outcome {
  int status = 0;
  int percent = 0;
  Log log;
  std::vector<std::string> requests;

  /// The body of the first request.
  std::string GetBody() const {
    if (requests.empty()) return "no request";
    return requests[0].substr(requests[0].find("\r\n\r\n") + 4);
  }
};

/// Fails unless the send failed with this log.
void ExpectFailure(const Outcome& outcome, const Log& log) {
  EXPECT_EQ(outcome.status, CUploadNotifier::Failed);
  EXPECT_EQ(outcome.percent, 100);
  EXPECT_EQ(outcome.log, log);
}

void ExpectSuccess(const Outcome& outcome, const Log& log) {
  EXPECT_EQ(outcome.status, CUploadNotifier::Succeeded);
  EXPECT_EQ(outcome.percent, 100);
  EXPECT_EQ(outcome.log, log);
}

Outcome SendTo(CUploadRequest request, const std::wstring& address) {
  const Deadline deadline;
  CUploadNotifier notifier;
  CMultipartSender sender;
  request.address = address;
  EXPECT_TRUE(sender.StartSend(request, notifier));
  Outcome outcome;
  outcome.status = notifier.AwaitResult();
  outcome.percent = notifier.GetPercent();
  outcome.log = notifier.GetLog();
  return outcome;
}

using Script = std::function<void(LoopbackClient&, CUploadNotifier&)>;

Script RespondTo(const std::string& response) {
  return [response](LoopbackClient& client, CUploadNotifier&) { RespondWith(response)(client); };
}

Outcome Send(CUploadRequest request, const Script& script = RespondTo(FormatResponse("200 OK", "")),
             const std::wstring& path = L"/in", bool isCanceled = false) {
  CUploadNotifier notifier;
  auto sender = std::make_unique<CMultipartSender>();
  LoopbackServer server([&](LoopbackClient& client) { script(client, notifier); });
  request.address = server.GetAddress(path);
  if (isCanceled) notifier.RequestCancel();
  EXPECT_TRUE(sender->StartSend(request, notifier));
  request = {};
  Outcome outcome;
  outcome.status = notifier.AwaitResult();
  sender.reset();
  outcome.percent = notifier.GetPercent();
  outcome.log = notifier.GetLog();
  outcome.requests = server.GetRequests();
  return outcome;
}

/// Sends the two fields to a server with this response.
Outcome SendFor(const std::string& response) {
  return Send(MakeTwoFields(), RespondTo(response));
}

/// Waits until the sender has reported `message`; false when it does not.
bool AwaitMessage(CUploadNotifier& notifier, const std::wstring& message) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(5);
  while (std::chrono::steady_clock::now() < end) {
    const Log log = notifier.GetLog();
    if (std::find(log.begin(), log.end(), message) != log.end()) return true;
    Sleep(1);
  }
  return false;
}

/// Closes this process's handles of a file and returns their number.
int CloseHandlesOf(const std::wstring& path) {
  int count = 0;
  ForEachHandle([&](HANDLE handle) {
    wchar_t name[1024] = {};
    if (GetFinalPathNameByHandleW(handle, name, std::size(name), 0) == 0) return;
    if (!std::wstring_view(name).ends_with(path)) return;
    CloseHandle(handle);
    ++count;
  });
  return count;
}

std::string MakeBytes(std::size_t count) {
  std::string bytes(count, '\0');
  for (std::size_t i = 0; i < count; ++i) bytes[i] = static_cast<char>(i % 251 * (i / 251 % 2));
  return bytes;
}

std::vector<std::string> GetHeaderLines(const std::string& request) {
  std::istringstream head(request.substr(0, request.find("\r\n\r\n") + 2));
  std::vector<std::string> lines;
  for (std::string line; std::getline(head, line);) lines.push_back(line);
  return lines;
}

/// Fails unless the first request declares the length of its body.
void ExpectDeclaredLength(const Outcome& outcome) {
  ASSERT_FALSE(outcome.requests.empty());
  EXPECT_THAT(
      GetHeaderLines(outcome.requests[0]),
      testing::Contains("Content-Length: " + std::to_string(outcome.GetBody().size()) + "\r"));
}

// The request.

TEST(MultipartSenderRequest, TwoFieldsAreSentAsExactlyTheseBytes) {
  LoopbackServer server(RespondWith(FormatResponse("200 OK", "")));
  EXPECT_EQ(SendTo(MakeTwoFields(), server.GetAddress(L"/a/in.php?b=c")).status,
            CUploadNotifier::Succeeded);
  ASSERT_EQ(server.GetRequests().size(), 1U);
  const std::string request = server.GetRequests()[0];
  std::vector<std::string> lines = GetHeaderLines(request);
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines[0], "POST /a/in.php?b=c HTTP/1.1\r");
  lines.erase(lines.begin());
  EXPECT_THAT(lines,
              UnorderedElementsAre(
                  "Accept: */*\r", "Host: 127.0.0.1:" + std::to_string(server.GetNumber()) + "\r",
                  "Content-Length: 175\r", "User-Agent: CrashRpt\r", "Cache-Control: no-cache\r",
                  "Content-type: multipart/form-data; boundary=AaB03x5fs1045fcc7\r"));
  EXPECT_EQ(request.substr(request.find("\r\n\r\n") + 4),
            "--AaB03x5fs1045fcc7\r\n"
            "Content-disposition: form-data; name=\"Id\"\r\n\r\n"
            "the-id\r\n"
            "--AaB03x5fs1045fcc7\r\n"
            "Content-disposition: form-data; name=\"peltorpt\"\r\n\r\n"
            "QUJD\r\n"
            "--AaB03x5fs1045fcc7--\r\n");
}

TEST(MultipartSenderRequest, TextFieldsPrecedeAttachmentsAndBothAreInKeyOrder) {
  const TempFolder folder;
  WriteBytes(folder / L"log file.txt", "first");
  WriteBytes(folder / L"b.bin", std::string("\0\r\n--\xFF", 6));
  CUploadRequest request;
  request.files[L"z"] = {folder / L"b.bin", L"application/octet-stream"};
  request.files[L"Z"] = {folder / L"log file.txt", L"text/plain; charset=x"};
  request.textFields[L"a"] = "last text";
  request.textFields[L"B"] = "first text";
  const Outcome outcome = Send(request);
  EXPECT_EQ(outcome.status, CUploadNotifier::Succeeded);
  EXPECT_EQ(outcome.GetBody(), std::string("--AaB03x5fs1045fcc7\r\n"
                                           "Content-disposition: form-data; name=\"B\"\r\n\r\n"
                                           "first text\r\n"
                                           "--AaB03x5fs1045fcc7\r\n"
                                           "Content-disposition: form-data; name=\"a\"\r\n\r\n"
                                           "last text\r\n"
                                           "--AaB03x5fs1045fcc7\r\n"
                                           "Content-disposition: form-data; name=\"Z\"; "
                                           "filename=\"log file.txt\"\r\n"
                                           "Content-Type: text/plain; charset=x\r\n"
                                           "Content-Transfer-Encoding: binary\r\n\r\n"
                                           "first\r\n"
                                           "--AaB03x5fs1045fcc7\r\n"
                                           "Content-disposition: form-data; name=\"z\"; "
                                           "filename=\"b.bin\"\r\n"
                                           "Content-Type: application/octet-stream\r\n"
                                           "Content-Transfer-Encoding: binary\r\n\r\n") +
                                   std::string("\0\r\n--\xFF", 6) +
                                   "\r\n"
                                   "--AaB03x5fs1045fcc7--\r\n");
  ExpectDeclaredLength(outcome);
}

TEST(MultipartSenderRequest, WithoutPartsTheBodyIsTheClosingBoundary) {
  const Outcome outcome = Send({});
  EXPECT_EQ(outcome.status, CUploadNotifier::Succeeded);
  EXPECT_EQ(outcome.GetBody(), ClosingBoundary);
}

TEST(MultipartSenderRequest, DataOfAnyLengthIsWrittenInPiecesOf1024Bytes) {
  const TempFolder folder;
  const std::wstring path = folder / L"a.bin";
  for (const std::size_t length : {0U, 1U, 1023U, 1024U, 1025U, 2048U, 100'000U}) {
    const std::string data = MakeBytes(length);
    WriteBytes(path, data);
    for (const std::string_view header : {FieldHeader, AttachmentHeader}) {
      SystemCalls calls;
      const Outcome outcome = Send(header == FieldHeader ? MakeField(data) : MakeAttachment(path));
      EXPECT_EQ(outcome.status, CUploadNotifier::Succeeded) << length;
      EXPECT_TRUE(outcome.GetBody() == std::string(header) + data + std::string(BodyEnd)) << length;
      ExpectDeclaredLength(outcome);
      // Before the data comes the header; after it, footer and closing boundary.
      ASSERT_EQ(calls.writes.size(), 3 + (length + 1023) / 1024) << length;
      for (std::size_t i = 1; i + 2 < calls.writes.size(); ++i) {
        EXPECT_EQ(calls.writes[i].size(), std::min<std::size_t>(length - 1024 * (i - 1), 1024));
      }
      EXPECT_TRUE(IsFree(path)) << length;
    }
  }
}

TEST(MultipartSenderRequest, NamesAreSentInTheCodePageAndValuesAsTheyAre) {
  CUploadRequest request;
  request.textFields[L"\u00C4"] = "\xC3\x84";
  EXPECT_EQ(Send(request).GetBody(),
            "--AaB03x5fs1045fcc7\r\nContent-disposition: form-data; name=\"\xC4\"\r\n\r\n"
            "\xC3\x84\r\n--AaB03x5fs1045fcc7--\r\n");
}

TEST(MultipartSenderRequest, EmptyPathIsTheRoot) {
  const Outcome outcome = Send(MakeTwoFields(), RespondTo(FormatResponse("200 OK", "")), L"");
  ASSERT_EQ(outcome.requests.size(), 1U);
  EXPECT_EQ(GetHeaderLines(outcome.requests[0])[0], "POST / HTTP/1.1\r");
}

TEST(MultipartSenderRequest, OtherPortsAreWithoutTlsWhateverTheScheme) {
  for (const wchar_t* scheme : {L"https", L"HTTPS", L"ftp"}) {
    LoopbackServer server(RespondWith(FormatResponse("200 OK", "")));
    const Outcome outcome = SendTo(MakeTwoFields(), scheme + server.GetAddress().substr(4));
    EXPECT_EQ(outcome.status, CUploadNotifier::Succeeded);
    ASSERT_EQ(server.GetRequests().size(), 1U);
    EXPECT_EQ(GetHeaderLines(server.GetRequests()[0])[0], "POST /in HTTP/1.1\r");
  }
}

// docs/compatibility.md, 42 and 43.
TEST(MultipartSenderRequest, PortDecidesOnTlsAndIsCutTo16BitsForTheConnection) {
  const struct {
    const wchar_t* address;
    INTERNET_PORT port;
    bool isSecure;
  } cases[] = {{L"https://127.0.0.1/", 443, true},
               {L"http://127.0.0.1:443/", 443, true},
               {L"https://127.0.0.1:8443/", 8443, false},
               {L"HTTPS://127.0.0.1/", 80, false},
               {L"http://127.0.0.1:65979/", 443, false},
               {L"http://127.0.0.1:-1/", 65535, false},
               {L"http://127.0.0.1:4294967739/", 65535, false}};
  for (const auto& [address, port, isSecure] : cases) {
    SystemCalls calls;
    calls.failsSend = true;
    ExpectFailure(SendTo(MakeTwoFields(), address),
                  UpToSending + Log{L"HttpSendRequestEx has failed."} + Failed);
    EXPECT_EQ(calls.ports, std::vector{port}) << testing::PrintToString(address);
    EXPECT_EQ(calls.requestFlags, std::vector{INTERNET_FLAG_NO_CACHE_WRITE |
                                              (isSecure ? INTERNET_FLAG_SECURE : DWORD{0})})
        << testing::PrintToString(address);
  }
}

TEST(MultipartSenderRequest, GoesToTheLow16BitsOfThePort) {
  LoopbackServer server(RespondWith(FormatResponse("200 OK", "")));
  const std::wstring port = std::to_wstring(65'536 + server.GetNumber());
  EXPECT_EQ(SendTo(MakeTwoFields(), L"http://127.0.0.1:" + port + L"/").status,
            CUploadNotifier::Succeeded);
}

TEST(MultipartSenderRequest, SessionUsesTheSystemsProxySettings) {
  SystemCalls calls;
  Send(MakeTwoFields());
  EXPECT_EQ(calls.sessions, std::vector<std::wstring>{L"CrashRpt 0 0"});
}

// The response.

TEST(MultipartSenderResponse, Status200IsADelivery) {
  ExpectSuccess(
      SendFor(FormatResponse("200 OK", "thanks")),
      {L"Calculating size of data to send.", L"Opening Internet connection.",
       L"Connecting to server", L"Opening HTTP request...", L"Sending HTTP request...",
       L"Ending HTTP request...", L"Reading server response...", L"Server responce code: 200",
       L"Server responce body:thanks", L"Error report was sent OK!"});
}

TEST(MultipartSenderResponse, OtherStatusesAreNoDeliveryAndNotTriedAgain) {
  // A redirection without a location is a response like any other.
  for (const char* code : {"201", "202", "204", "301", "302", "303", "307", "308", "400", "401",
                           "403", "404", "407", "413", "500", "502", "503"}) {
    const Outcome outcome = SendFor(FormatResponse(std::string(code) + " Reason", ""));
    ExpectFailure(outcome, FormatLog(std::wstring(code, code + 3), L"", RefusedByStatus));
    EXPECT_EQ(outcome.requests.size(), 1U) << code;
  }
}

// docs/compatibility.md, 41.
TEST(MultipartSenderResponse, NumberAtTheStartOfTheBodyDecidesWhateverTheStatus) {
  for (const char* code : {"200", "204", "404", "500"}) {
    const std::wstring wideCode(code, code + 3);
    const std::string status = std::string(code) + " Reason";
    for (const std::string body : {"200", "200abc"}) {
      ExpectSuccess(SendFor(FormatResponse(status, body)),
                    FormatLog(wideCode, {body.begin(), body.end()}, JudgedByBody + Delivered));
    }
    for (const std::string body : {"1", "2000", "404 Not Found", "0"}) {
      ExpectFailure(SendFor(FormatResponse(status, body)),
                    FormatLog(wideCode, {body.begin(), body.end()}, JudgedByBody + RefusedByBody));
    }
  }
}

TEST(MultipartSenderResponse, BodyThatBeginsWithASpaceIsJudgedByItsStatus) {
  ExpectFailure(SendFor(FormatResponse("500 Reason", " 200")),
                FormatLog(L"500", L" 200", RefusedByStatus));
  ExpectSuccess(SendFor(FormatResponse("200 OK", " 404")), FormatLog(L"200", L" 404", Delivered));
}

TEST(MultipartSenderResponse, StatusThatCannotBeReadIsNoDeliveryUnlessTheBodyDecides) {
  SystemCalls calls;
  calls.failsStatusQuery = true;
  ExpectFailure(SendFor(FormatResponse("200 OK", "thanks")),
                UpToReading + Log{L"Server responce body:thanks"} + RefusedByStatus);
  ExpectSuccess(SendFor(FormatResponse("200 OK", "200")),
                UpToReading + Log{L"Server responce body:200"} + JudgedByBody + Delivered);
}

TEST(MultipartSenderResponse, BodyThatCannotBeReadIsJudgedByItsStatus) {
  SystemCalls calls;
  calls.failsRead = true;
  ExpectSuccess(SendFor(FormatResponse("200 OK", "404")), FormatLog(L"200", L"", Delivered));
}

TEST(MultipartSenderResponse, BodyIsReadUpTo4095Bytes) {
  for (const std::size_t length : {0U, 1U, 4094U, 4095U, 4096U, 1'000'000U}) {
    const std::string body(length, 'b');
    const Log expected =
        FormatLog(L"200", std::wstring(std::min<std::size_t>(length, 4095), L'b'), Delivered);
    for (const std::string& response :
         {FormatResponse("200 OK", body), FormatChunkedResponse("200 OK", body, 1000),
          "HTTP/1.1 200 OK\r\n\r\n" + body}) {
      const Outcome outcome = SendFor(response);
      EXPECT_EQ(outcome.status, CUploadNotifier::Succeeded) << length;
      EXPECT_TRUE(outcome.log == expected) << length << response.substr(0, 80);
    }
  }
}

TEST(MultipartSenderResponse, SmallPiecesAreReadWhole) {
  ExpectSuccess(Send(MakeTwoFields(),
                     [](LoopbackClient& client, CUploadNotifier&) {
                       client.ReadRequest();
                       for (const char byte : FormatResponse("500 Reason", "200abc")) {
                         client.Send({&byte, 1});
                         Sleep(1);
                       }
                     }),
                FormatLog(L"500", L"200abc", JudgedByBody + Delivered));
}

TEST(MultipartSenderResponse, BrokenResponseIsJudgedByWhatArrived) {
  ExpectSuccess(SendFor("HTTP/1.1 500 Reason\r\nContent-Length: 1000\r\n\r\n200"),
                FormatLog(L"500", L"200", JudgedByBody + Delivered));
}

TEST(MultipartSenderResponse, BodyIsReportedInTheCodePageUpToItsFirstNulByte) {
  ExpectSuccess(SendFor(FormatResponse("200 OK", std::string("\xE4\x80\0b", 4))),
                FormatLog(L"200", L"\u00E4\u20AC", Delivered));
}

TEST(MultipartSenderResponse, HeadersOfAMegabyteAreNoObstacle) {
  constexpr std::size_t Megabyte = std::size_t{1} << 20;
  std::string many;
  while (many.size() < Megabyte) {
    many += "X-" + std::to_string(many.size()) + ": " + std::string(50, 'h') + "\r\n";
  }
  for (const std::string& response :
       {FormatResponse("200 OK", "fine", "X-Long: " + std::string(Megabyte, 'h') + "\r\n"),
        FormatResponse("200 OK", "fine", many),
        FormatResponse("200 " + std::string(Megabyte, 'h'), "fine")}) {
    ExpectSuccess(SendFor(response), FormatLog(L"200", L"fine", Delivered));
  }
}

TEST(MultipartSenderResponse, EarlyResponseCountsOnceTheBodyIsSent) {
  const Outcome outcome = Send(MakeField(std::string(MuchMoreThanBuffers, 'x')),
                               [](LoopbackClient& client, CUploadNotifier&) {
                                 client.ReadHead();
                                 client.Send(FormatResponse("413 Too Large", "no"));
                                 client.ReadRequest();
                               });
  ExpectFailure(outcome, FormatLog(L"413", L"no", RefusedByStatus));
  EXPECT_GT(outcome.GetBody().size(), MuchMoreThanBuffers);
}

TEST(MultipartSenderResponse, EarlyResponseIsLostWhenTheServerCloses) {
  ExpectFailure(Send(MakeField(std::string(MuchMoreThanBuffers, 'x')),
                     [](LoopbackClient& client, CUploadNotifier&) {
                       client.ReadBytes(Middle);
                       client.Send(FormatResponse("200 OK", "200"));
                     }),
                UpToSending + Log{L"Error uploading text part data."} + Failed);
}

// The behavior of the system's HTTP library.
TEST(MultipartSenderRedirection, IsFollowedWithoutTheFormAndTheSecondResponseCounts) {
  for (const std::string code : {"301", "302", "303", "307"}) {
    for (const std::string secondCode : {"200", "404"}) {
      int count = 0;
      const Outcome outcome = Send(MakeTwoFields(), [&](LoopbackClient& client, CUploadNotifier&) {
        client.ReadRequest();
        client.Send(++count == 1 ? FormatResponse(code + " There", "", "Location: /there\r\n")
                                 : FormatResponse(secondCode + " Reason", "second"));
      });
      ASSERT_EQ(outcome.requests.size(), 2U) << code;
      EXPECT_EQ(GetHeaderLines(outcome.requests[1])[0],
                (code == "307" ? "POST /there HTTP/1.1\r" : "GET /there HTTP/1.1\r"));
      EXPECT_TRUE(outcome.requests[1].ends_with("\r\n\r\n")) << outcome.requests[1];
      EXPECT_EQ(outcome.log, FormatLog({secondCode.begin(), secondCode.end()}, L"second",
                                       secondCode == "200" ? Delivered : RefusedByStatus));
    }
  }
}

TEST(MultipartSenderRedirection, ToAPortWithoutAServerFails) {
  const LoopbackPort nobody;
  ExpectFailure(SendFor(FormatResponse(
                    "302 There", "",
                    "Location: http://127.0.0.1:" + std::to_string(nobody.GetNumber()) + "/\r\n")),
                UpToEnding + Log{L"HttpEndRequest has failed."} + Failed);
}

// Failing steps.

TEST(MultipartSenderFailure, MissingAttachmentFailsBeforeAnythingIsSent) {
  const TempFolder folder;
  WriteBytes(folder / L"held.bin", "bytes");
  const FileHolder holder(L"write", folder / L"held.bin");
  for (const std::wstring& path :
       {folder / L"none.txt", folder.Path().wstring(), std::wstring(), folder / L"held.bin"}) {
    const Outcome outcome = Send(MakeAttachment(path));
    ExpectFailure(outcome, Log{L"Calculating size of data to send.",
                               L"Error calculating size of data to send!"} +
                               Failed);
    EXPECT_TRUE(outcome.requests.empty());
  }
}

TEST(MultipartSenderFailure, SessionAndRequestThatCannotBeOpenedFail) {
  SystemCalls calls;
  calls.failsOpen = true;
  ExpectFailure(SendTo(MakeTwoFields(), L"http://127.0.0.1/"),
                UpToOpening + Log{L"Error opening Internet session"} + Failed);
  calls.failsOpen = false;
  calls.failsOpenRequest = true;
  ExpectFailure(SendTo(MakeTwoFields(), L"http://127.0.0.1/"),
                UpToRequest + Log{L"HttpOpenRequest has failed."} + Failed);
}

TEST(MultipartSenderFailure, InvalidAddressFailsToConnect) {
  for (const std::wstring& address :
       {std::wstring(), std::wstring(L"http:///in"), std::wstring(L":"),
        L"http://" + std::wstring(512, L'h') + L"/", L"http://h/" + std::wstring(1023, L'p'),
        std::wstring(512, L's') + L"://h/"}) {
    ExpectFailure(SendTo(MakeTwoFields(), address),
                  UpToConnecting + Log{L"Error connecting to server"} + Failed);
  }
}

TEST(MultipartSenderFailure, UnknownHostOrRefusedConnectionFailsToSend) {
  const LoopbackPort nobody;
  for (const std::wstring& host : {std::wstring(L"a..b"), std::wstring(511, L'h'),
                                   L"127.0.0.1:" + std::to_wstring(nobody.GetNumber())}) {
    ExpectFailure(SendTo(MakeTwoFields(), L"http://" + host + L"/in"),
                  UpToSending + Log{L"HttpSendRequestEx has failed."} + Failed);
  }
}

// docs/compatibility.md, 47: the closing boundary has no message of its own.
TEST(MultipartSenderFailure, TextOfTheFormThatCannotBeConvertedOrWrittenEndsTheSend) {
  const TempFolder folder;
  WriteBytes(folder / L"a.bin", "data");
  const struct {
    std::string_view text;
    CUploadRequest request;
    Log notConverted;
    Log notWritten;
  } cases[] = {
      {FieldHeader,
       MakeField("data"),
       {L"Error converting text part header to ASCII."},
       {L"Error uploading text part header."}},
      {"data", MakeField("data"), {}, {L"Error uploading text part data."}},
      {Footer,
       MakeField("data"),
       {L"Error converting text part footer to ASCII."},
       {L"Error uploading text part footer."}},
      {AttachmentHeader,
       MakeAttachment(folder / L"a.bin"),
       {L"Error converting attachment part header to ASCII."},
       {L"Error uploading attachment part header."}},
      {"data", MakeAttachment(folder / L"a.bin"), {}, {L"Error uploading attachment part data."}},
      {Footer,
       MakeAttachment(folder / L"a.bin"),
       {L"Error converting attachment part footer to ASCII."},
       {L"Error uploading attachment part footer."}},
      {ClosingBoundary, MakeField("data"), {}, {}},
  };
  const Script readAll = [](LoopbackClient& client, CUploadNotifier&) { client.ReadToEnd(); };
  for (const auto& [text, request, notConverted, notWritten] : cases) {
    SystemCalls calls;
    calls.failedWrite = text;
    ExpectFailure(Send(request, readAll), UpToSending + notWritten + Failed);
    calls.failedWrite = "nothing";
    if (text == "data") continue;
    calls.failedConversion.assign(text.begin(), text.end());
    ExpectFailure(Send(request, readAll), UpToSending + notConverted + Failed);
  }
  // docs/compatibility.md, 46: the failed write has left the attachment open.
  EXPECT_EQ(CloseHandlesOf(folder.Path().filename().wstring() + L"\\a.bin"), 1);
}

TEST(MultipartSenderFailure, AttachmentThatVanishesEndsTheSend) {
  const TempFolder folder;
  const std::wstring path = folder / L"a.bin";
  WriteBytes(path, "bytes");
  CUploadRequest request = MakeAttachment(path);
  request.textFields[L"a"] = std::string(MuchMoreThanBuffers, 'x');
  bool isDeleted = false;
  const Outcome outcome = Send(request, [&](LoopbackClient& client, CUploadNotifier&) {
    // The sender cannot finish the text field before it is read.
    client.ReadHead();
    isDeleted = DeleteFileW(path.c_str()) != 0;
    client.ReadToEnd();
  });
  EXPECT_TRUE(isDeleted);
  ExpectFailure(outcome, UpToSending + Log{L"Error opening attachment file."} + Failed);
  EXPECT_TRUE(outcome.GetBody().ends_with("Content-Transfer-Encoding: binary\r\n\r\n"));
}

TEST(MultipartSenderFailure, AttachmentThatCannotBeReadEndsTheSend) {
  // Wine opens this file, but it cannot be read from its start.
  const std::wstring path = L"\\\\?\\unix\\proc\\self\\mem";
  const Outcome outcome = Send(
      MakeAttachment(path), [](LoopbackClient& client, CUploadNotifier&) { client.ReadToEnd(); });
  ExpectFailure(outcome, UpToSending + Log{L"Error reading data from attachment file."} + Failed);
  EXPECT_TRUE(outcome.GetBody().ends_with("Content-Transfer-Encoding: binary\r\n\r\n"));
  EXPECT_EQ(CloseHandlesOf(L"\\proc\\self\\mem"), 0);
}

TEST(MultipartSenderFailure, ServerThatClosesAtOnceFailsTheFirstParts) {
  for (const bool isReset : {false, true}) {
    const Outcome outcome = Send(MakeField(std::string(MuchMoreThanBuffers, 'x')),
                                 [isReset](LoopbackClient& client, CUploadNotifier&) {
                                   if (isReset) client.Reset();
                                 });
    EXPECT_EQ(outcome.status, CUploadNotifier::Failed);
    EXPECT_EQ(outcome.percent, 100);
    EXPECT_THAT(outcome.log,
                testing::AnyOf(UpToSending + Log{L"HttpSendRequestEx has failed."} + Failed,
                               UpToSending + Log{L"Error uploading text part header."} + Failed,
                               UpToSending + Log{L"Error uploading text part data."} + Failed));
  }
}

TEST(MultipartSenderFailure, ResetConnectionEndsTheSendAndLeavesTheAttachmentOpen) {
  const Script reset = [](LoopbackClient& client, CUploadNotifier&) {
    client.ReadBytes(Middle);
    client.Reset();
  };
  ExpectFailure(Send(MakeField(std::string(MuchMoreThanBuffers, 'x')), reset),
                UpToSending + Log{L"Error uploading text part data."} + Failed);
  const TempFolder folder;
  WriteBytes(folder / L"a.bin", std::string(MuchMoreThanBuffers, 'x'));
  ExpectFailure(Send(MakeAttachment(folder / L"a.bin"), reset),
                UpToSending + Log{L"Error uploading attachment part data."} + Failed);
  EXPECT_FALSE(IsFree(folder / L"a.bin"));
  EXPECT_EQ(CloseHandlesOf(folder.Path().filename().wstring() + L"\\a.bin"), 1);
}

TEST(MultipartSenderFailure, ServerThatClosesWithoutAResponseOrSendsGarbageIsStatusZero) {
  for (const std::string& response : {std::string("garbage"), std::string("200"), std::string(),
                                      std::string(10'000, '\xFF'), std::string(10'000, '\0')}) {
    ExpectFailure(SendFor(response), FormatLog(L"0", L"", RefusedByStatus));
  }
  ExpectFailure(Send(MakeTwoFields(),
                     [](LoopbackClient& client, CUploadNotifier&) {
                       client.ReadRequest();
                       client.Reset();
                     }),
                FormatLog(L"0", L"", RefusedByStatus));
}

TEST(MultipartSenderFailure, StatusLineWithoutACodeIsNoDelivery) {
  for (const char* line : {"HTTP/1.1", "HTTP/1.1 abc OK", "HTTP/1.1 -1 OK", "HTTP/1.1 2000 OK",
                           "HTTP/1.1 99999999999 OK"}) {
    const Outcome outcome = SendFor(std::string(line) + "\r\n\r\nbody");
    EXPECT_EQ(outcome.status, CUploadNotifier::Failed) << line;
    EXPECT_EQ(outcome.log.back(), Failed.back()) << line;
  }
}

// The HTTP library may take them for responses of a server older than status lines.
TEST(MultipartSenderFailure, LinesOfGarbageGetAVerdict) {
  for (const char* response : {"garbage\r\n\r\n", "\r\n\r\n", "SSH-2.0-x\r\n", "\n\n\n\n"}) {
    const Outcome outcome = SendFor(response);
    const bool isDelivered = outcome.status == CUploadNotifier::Succeeded;
    EXPECT_EQ(outcome.log.back(), isDelivered ? Delivered.back() : Failed.back()) << response;
  }
}

// Progress, cancellation and the end.

TEST(MultipartSenderProgress, PercentFollowsTheBytesSent) {
  constexpr std::size_t BodyLength = FieldHeader.size() + MuchMoreThanBuffers + BodyEnd.size();
  std::vector<int> percentages;
  bool isInStep = true;
  int atEnd = -1;
  const Outcome outcome = Send(
      MakeField(std::string(MuchMoreThanBuffers, 'x')),
      [&](LoopbackClient& client, CUploadNotifier& notifier) {
        client.ReadHead();
        const std::size_t head = client.GetReceived().find("\r\n\r\n") + 4;
        while (client.GetReceived().size() < head + BodyLength) {
          percentages.push_back(notifier.GetPercent());
          // All received bytes but those of the last piece have been counted.
          const double received = static_cast<double>(client.GetReceived().size() - head) - 1024;
          isInStep = isInStep && percentages.back() >= std::floor(100 * received / BodyLength) - 1;
          if (!client.ReadMore()) break;
        }
        if (AwaitMessage(notifier, L"Ending HTTP request...")) atEnd = notifier.GetPercent();
        client.Send(FormatResponse("200 OK", ""));
      });
  EXPECT_EQ(outcome.GetBody().size(), BodyLength);
  EXPECT_TRUE(isInStep);
  EXPECT_TRUE(std::is_sorted(percentages.begin(), percentages.end()));
  ASSERT_FALSE(percentages.empty());
  EXPECT_GE(percentages.front(), 0);
  EXPECT_LT(percentages.front(), 100) << "the server has read next to nothing";
  EXPECT_EQ(atEnd, 100);
  EXPECT_EQ(outcome.percent, 100);
}

TEST(MultipartSenderCancel, BeforeTheStartNoRequestIsMade) {
  const Outcome outcome = Send(MakeTwoFields(), RespondTo(""), L"/in", true /* canceled */);
  ExpectFailure(outcome, UpToConnecting + Failed);
  EXPECT_TRUE(outcome.requests.empty());
}

// docs/compatibility.md, 46: the attachment stays open.
TEST(MultipartSenderCancel, InTheMiddleTheSendEndsAfterTheCurrentPiece) {
  const TempFolder folder;
  const std::wstring path = folder / L"a.bin";
  WriteBytes(path, std::string(MuchMoreThanBuffers, 'x'));
  for (const std::string_view header : {FieldHeader, AttachmentHeader}) {
    const Outcome outcome =
        Send(header == FieldHeader ? MakeField(std::string(MuchMoreThanBuffers, 'x'))
                                   : MakeAttachment(path),
             [](LoopbackClient& client, CUploadNotifier& notifier) {
               client.ReadBytes(Middle);
               notifier.RequestCancel();
               client.ReadToEnd();
             });
    ExpectFailure(outcome, UpToSending + Failed);
    const std::size_t sent = outcome.GetBody().size() - header.size();
    EXPECT_LT(sent, MuchMoreThanBuffers);
    EXPECT_EQ(sent % 1024, 0U) << sent;
  }
  EXPECT_FALSE(IsFree(path));
  EXPECT_EQ(CloseHandlesOf(folder.Path().filename().wstring() + L"\\a.bin"), 1);
}

TEST(MultipartSenderCancel, AfterTheBodyItIsIgnored) {
  bool isSent = false;
  const Outcome outcome =
      Send(MakeTwoFields(), [&](LoopbackClient& client, CUploadNotifier& notifier) {
        client.ReadRequest();
        isSent = AwaitMessage(notifier, L"Ending HTTP request...");
        notifier.RequestCancel();
        client.Send(FormatResponse("200 OK", "thanks"));
      });
  EXPECT_TRUE(isSent);
  ExpectSuccess(outcome, FormatLog(L"200", L"thanks", Delivered));
}

// docs/compatibility.md, 45.
TEST(MultipartSenderEnd, NotifiersThreeEventsAndTheThreadsHandleStayOpen) {
  // The first send also opens what the libraries keep.
  Send(MakeTwoFields());
  const TempFolder folder;
  WriteBytes(folder / L"a.bin", "bytes");
  const int before = CountHandles();
  EXPECT_EQ(Send(MakeAttachment(folder / L"a.bin")).status, CUploadNotifier::Succeeded);
  EXPECT_EQ(CountHandles() - before, 4);
}

TEST(MultipartSenderEnd, SenderAndNotifierMayBeDestroyedAsSoonAsTheWaitReturns) {
  struct Place {
    CUploadNotifier notifier;
    CMultipartSender sender;
  };
  const Deadline deadline;
  const LoopbackPort nobody;
  CUploadRequest request = MakeTwoFields();
  request.address = L"http://127.0.0.1:" + std::to_wstring(nobody.GetNumber()) + L"/in";
  for (int i = 0; i < 300; ++i) {
    // Memory that is unmapped with them, so that a later use crashes.
    void* const memory =
        VirtualAlloc(nullptr, sizeof(Place), MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE);
    ASSERT_NE(memory, nullptr);
    auto* const place = new (memory) Place;
    EXPECT_TRUE(place->sender.StartSend(request, place->notifier));
    EXPECT_EQ(place->notifier.AwaitResult(), CUploadNotifier::Failed);
    place->~Place();
    VirtualFree(memory, 0, MEM_RELEASE);
  }
}

// docs/compatibility.md, 37.
TEST(MultipartSenderStart, ThreadThatCannotBeMadeFailsTheStartAndLeavesTheWaitWithoutAnEnd) {
  const ReplacedImport replaced(
      __imp_CreateThread,
      reinterpret_cast<void*>(+[](SECURITY_ATTRIBUTES*, SIZE_T, LPTHREAD_START_ROUTINE, void*,
                                  DWORD, DWORD*) -> HANDLE { return nullptr; }));
  CUploadNotifier notifier;
  CMultipartSender sender;
  EXPECT_FALSE(sender.StartSend({}, notifier));
  std::future<int> result = std::async(std::launch::async, [&] { return notifier.AwaitResult(); });
  EXPECT_EQ(result.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
  notifier.Complete(CUploadNotifier::Failed);
  EXPECT_EQ(result.get(), CUploadNotifier::Failed);
}

}  // namespace
