#include "upload/MultipartSender.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <functional>
#include <memory>
#include <new>
#include <sstream>
#include <string_view>
#include <utility>

#include "platform/Handles.h"
#include "tests/support/LoopbackServer.h"
#include "tests/support/TempFolder.h"
#include "tests/support/TestProcess.h"

namespace {

using testing::UnorderedElementsAre;

using Log = std::vector<std::wstring>;

Log operator+(Log log, const Log& more) {
  log.insert(log.end(), more.begin(), more.end());
  return log;
}

const Log UpToConnecting = {L"Calculating size of data to send.", L"Opening Internet connection.",
                            L"Connecting to server"};
const Log UpToSending =
    UpToConnecting + Log{L"Opening HTTP request...", L"Sending HTTP request..."};
const Log UpToEnding = UpToSending + Log{L"Ending HTTP request..."};
const Log UpToReading = UpToEnding + Log{L"Reading server response..."};
const Log Failed = {L"Error sending HTTP request."};
const Log JudgedByBody = {
    L"Assuming legacy method of determining delivery status (from HTTP responce body)."};
const Log Delivered = {L"Error report was sent OK!"};
const Log RefusedByBody = Log{L"Failed (HTTP responce body doesn't start with code 200)."} + Failed;
const Log RefusedByStatus = Log{L"Failed (HTTP responce code is not equal to 200)."} + Failed;

/// The log of a send that was answered so.
Log Answered(const std::wstring& code, const std::wstring& body, const Log& verdict) {
  return UpToReading + Log{L"Server responce code: " + code, L"Server responce body:" + body} +
         verdict;
}

/// More than the system takes in for a server that does not read.
constexpr std::size_t MuchMoreThanBuffers = std::size_t{8} * 1024 * 1024;
/// What a server reads to be in the middle of that.
constexpr std::size_t ToTheMiddle = 500'000;

/// What stands around the value of `OneField` and the bytes of `OneAttachment`.
constexpr std::string_view FieldHeader =
    "--AaB03x5fs1045fcc7\r\nContent-disposition: form-data; name=\"a\"\r\n\r\n";
constexpr std::string_view AttachmentHeader =
    "--AaB03x5fs1045fcc7\r\n"
    "Content-disposition: form-data; name=\"f\"; filename=\"a.bin\"\r\n"
    "Content-Type: t/s\r\nContent-Transfer-Encoding: binary\r\n\r\n";
constexpr std::string_view BodyEnd = "\r\n--AaB03x5fs1045fcc7--\r\n";

using Script = std::function<void(LoopbackClient&, CUploadNotifier&)>;

struct Outcome {
  int status = 0;
  int percent = 0;
  Log log;
  std::vector<std::string> requests;

  /// Of the first request, what stands behind its head.
  std::string Body() const {
    if (requests.empty()) return "no request";
    return requests[0].substr(requests[0].find("\r\n\r\n") + 4);
  }
};

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

void Confirm(LoopbackClient& client, CUploadNotifier&) {
  client.ReadRequest();
  client.Send(HttpAnswer("200 OK", "thanks"));
}

Outcome Send(CUploadRequest request, const Script& script = Confirm,
             const std::wstring& path = L"/in", bool isCancelled = false) {
  CUploadNotifier notifier;
  auto sender = std::make_unique<CMultipartSender>();
  LoopbackServer server([&](LoopbackClient& client) { script(client, notifier); });
  request.address = server.Address(path);
  if (isCancelled) notifier.RequestCancel();
  EXPECT_TRUE(sender->StartSend(request, notifier));
  request = {};
  Outcome outcome;
  outcome.status = notifier.AwaitResult();
  sender.reset();
  outcome.percent = notifier.GetPercent();
  outcome.log = notifier.GetLog();
  outcome.requests = server.Requests();
  return outcome;
}

CUploadRequest TwoFields() {
  CUploadRequest request;
  request.textFields[L"peltorpt"] = "QUJD";
  request.textFields[L"Id"] = "the-id";
  return request;
}

CUploadRequest OneField(std::string value) {
  CUploadRequest request;
  request.textFields[L"a"] = std::move(value);
  return request;
}

CUploadRequest OneAttachment(const std::wstring& path) {
  CUploadRequest request;
  request.files[L"f"] = {path, L"t/s"};
  return request;
}

/// Sends the two fields to a server that answers so.
Outcome AnswerWith(const std::string& answer) {
  return Send(TwoFields(), [&](LoopbackClient& client, CUploadNotifier&) {
    client.ReadRequest();
    client.Send(answer);
  });
}

void ReadAtLeast(LoopbackClient& client, std::size_t count) {
  while (client.Received().size() < count && client.ReadMore()) {
  }
}

/// Waits until the sender has told `message`; false when it does not.
bool IsTold(CUploadNotifier& notifier, const std::wstring& message) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(5);
  while (std::chrono::steady_clock::now() < end) {
    const Log log = notifier.GetLog();
    if (std::find(log.begin(), log.end(), message) != log.end()) return true;
    Sleep(1);
  }
  return false;
}

/// Calls `use` with each handle that this process has open.
template <typename Use>
void ForEachHandle(const Use& use) {
  // Numbers are given from the lowest free one on.
  for (std::uintptr_t number = 4, last = 0; number < last + 0x4000; number += 4) {
    const auto handle = reinterpret_cast<HANDLE>(number);
    DWORD flags;
    if (!GetHandleInformation(handle, &flags)) continue;
    last = number;
    use(handle);
  }
}

/// Closes this process's handles of a file. How many there were.
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

bool IsFree(const std::wstring& path) {
  return static_cast<bool>(CFileHandle(CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0,
                                                   nullptr, OPEN_EXISTING, 0, nullptr)));
}

std::string BytesOfAllKinds(std::size_t count) {
  std::string bytes(count, '\0');
  for (std::size_t i = 0; i < count; ++i) bytes[i] = static_cast<char>(i % 251 * (i / 251 % 2));
  return bytes;
}

std::vector<std::string> HeaderLines(const std::string& request) {
  std::istringstream head(request.substr(0, request.find("\r\n\r\n") + 2));
  std::vector<std::string> lines;
  for (std::string line; std::getline(head, line);) lines.push_back(line);
  return lines;
}

/// Whether the length that the first request declares is that of its body.
bool DeclaresItsLength(const Outcome& outcome) {
  const std::vector<std::string> lines = HeaderLines(outcome.requests.at(0));
  const std::string length = "Content-Length: " + std::to_string(outcome.Body().size()) + "\r";
  return std::count(lines.begin(), lines.end(), length) == 1;
}

// --- What goes out

TEST(MultipartSenderRequest, OfTwoFieldsIsThisToTheByte) {
  LoopbackServer server([](LoopbackClient& client) {
    client.ReadRequest();
    client.Send(HttpAnswer("200 OK", ""));
  });
  EXPECT_EQ(SendTo(TwoFields(), server.Address(L"/a/in.php?b=c")).status,
            CUploadNotifier::Succeeded);
  ASSERT_EQ(server.Requests().size(), 1U);
  const std::string request = server.Requests()[0];
  std::vector<std::string> lines = HeaderLines(request);
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines[0], "POST /a/in.php?b=c HTTP/1.1\r");
  lines.erase(lines.begin());
  EXPECT_THAT(lines,
              UnorderedElementsAre(
                  "Accept: */*\r", "Host: 127.0.0.1:" + std::to_string(server.Number()) + "\r",
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

TEST(MultipartSenderRequest, HasTheTextFieldsInOrderAndThenTheAttachmentsInOrder) {
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
  EXPECT_EQ(outcome.Body(), std::string("--AaB03x5fs1045fcc7\r\n"
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
  EXPECT_TRUE(DeclaresItsLength(outcome));
}

TEST(MultipartSenderRequest, OfNothingIsTheClosingBoundary) {
  const Outcome outcome = Send({});
  EXPECT_EQ(outcome.status, CUploadNotifier::Succeeded);
  EXPECT_EQ(outcome.Body(), "--AaB03x5fs1045fcc7--\r\n");
}

TEST(MultipartSenderRequest, HasAValueOfAnyLengthWhole) {
  for (const std::size_t length : {0U, 1U, 1023U, 1024U, 1025U, 2048U, 100'000U}) {
    const std::string value = BytesOfAllKinds(length);
    const Outcome outcome = Send(OneField(value));
    EXPECT_EQ(outcome.status, CUploadNotifier::Succeeded) << length;
    EXPECT_TRUE(outcome.Body() == std::string(FieldHeader) + value + std::string(BodyEnd))
        << length;
    EXPECT_TRUE(DeclaresItsLength(outcome)) << length;
  }
}

TEST(MultipartSenderRequest, HasAnAttachmentOfAnyLengthWhole) {
  const TempFolder folder;
  for (const std::size_t length : {0U, 1U, 1023U, 1024U, 1025U, 2048U, 100'000U}) {
    const std::string bytes = BytesOfAllKinds(length);
    WriteBytes(folder / L"a.bin", bytes);
    const Outcome outcome = Send(OneAttachment(folder / L"a.bin"));
    EXPECT_EQ(outcome.status, CUploadNotifier::Succeeded) << length;
    EXPECT_TRUE(outcome.Body() == std::string(AttachmentHeader) + bytes + std::string(BodyEnd))
        << length;
    EXPECT_TRUE(DeclaresItsLength(outcome)) << length;
    EXPECT_TRUE(IsFree(folder / L"a.bin")) << length;
  }
}

TEST(MultipartSenderRequest, HasNamesInTheCodePageAndValuesAsTheyAre) {
  CUploadRequest request;
  request.textFields[L"\u00C4"] = "\xC3\x84";
  EXPECT_EQ(Send(request).Body(),
            "--AaB03x5fs1045fcc7\r\nContent-disposition: form-data; name=\"\xC4\"\r\n\r\n"
            "\xC3\x84\r\n--AaB03x5fs1045fcc7--\r\n");
}

TEST(MultipartSenderRequest, ForAnEmptyPathIsForTheRoot) {
  const Outcome outcome = Send(TwoFields(), Confirm, L"");
  ASSERT_EQ(outcome.requests.size(), 1U);
  EXPECT_EQ(HeaderLines(outcome.requests[0])[0], "POST / HTTP/1.1\r");
}

TEST(MultipartSenderRequest, GoesWithoutTlsToAnyPortButItsOwnWhateverTheScheme) {
  for (const wchar_t* scheme : {L"https", L"HTTPS", L"ftp"}) {
    LoopbackServer server([](LoopbackClient& client) {
      client.ReadRequest();
      client.Send(HttpAnswer("200 OK", ""));
    });
    const Outcome outcome = SendTo(TwoFields(), std::wstring(scheme) + L"://127.0.0.1:" +
                                                    std::to_wstring(server.Number()) + L"/in");
    EXPECT_EQ(outcome.status, CUploadNotifier::Succeeded);
    ASSERT_EQ(server.Requests().size(), 1U);
    EXPECT_EQ(HeaderLines(server.Requests()[0])[0], "POST /in HTTP/1.1\r");
  }
}

TEST(MultipartSenderRequest, GoesToTheLow16BitsOfThePort) {
  LoopbackServer server([](LoopbackClient& client) {
    client.ReadRequest();
    client.Send(HttpAnswer("200 OK", ""));
  });
  const std::wstring port = std::to_wstring(65'536 + server.Number());
  EXPECT_EQ(SendTo(TwoFields(), L"http://127.0.0.1:" + port + L"/").status,
            CUploadNotifier::Succeeded);
}

// --- The answer

TEST(MultipartSenderAnswer, OfStatus200IsADelivery) {
  const Outcome outcome = AnswerWith(HttpAnswer("200 OK", "thanks"));
  EXPECT_EQ(outcome.status, CUploadNotifier::Succeeded);
  EXPECT_EQ(outcome.percent, 100);
  EXPECT_EQ(outcome.log, (Log{L"Calculating size of data to send.", L"Opening Internet connection.",
                              L"Connecting to server", L"Opening HTTP request...",
                              L"Sending HTTP request...", L"Ending HTTP request...",
                              L"Reading server response...", L"Server responce code: 200",
                              L"Server responce body:thanks", L"Error report was sent OK!"}));
}

TEST(MultipartSenderAnswer, OfAnyOtherStatusIsNone) {
  // A redirection that does not say where to is an answer like any other.
  for (const char* code : {"201", "202", "204", "301", "302", "303", "307", "308", "400", "401",
                           "403", "404", "407", "413", "500", "502", "503"}) {
    const Outcome outcome = AnswerWith(HttpAnswer(std::string(code) + " Reason", ""));
    EXPECT_EQ(outcome.status, CUploadNotifier::Failed) << code;
    EXPECT_EQ(outcome.percent, 100) << code;
    EXPECT_EQ(outcome.log, Answered(std::wstring(code, code + 3), L"", RefusedByStatus));
    EXPECT_EQ(outcome.requests.size(), 1U) << "there is no second attempt: " << code;
  }
}

TEST(MultipartSenderAnswer, IsJudgedByTheNumberThatItsBodyBeginsWith) {
  for (const char* code : {"200", "204", "404", "500"}) {
    const std::wstring wideCode(code, code + 3);
    const std::string status = std::string(code) + " Reason";
    Outcome outcome = AnswerWith(HttpAnswer(status, "200abc"));
    EXPECT_EQ(outcome.status, CUploadNotifier::Succeeded) << code;
    EXPECT_EQ(outcome.log, Answered(wideCode, L"200abc", JudgedByBody + Delivered));
    outcome = AnswerWith(HttpAnswer(status, "200"));
    EXPECT_EQ(outcome.status, CUploadNotifier::Succeeded) << code;
    EXPECT_EQ(outcome.log, Answered(wideCode, L"200", JudgedByBody + Delivered));
    for (const std::string body : {"1", "2000", "404 Not Found", "0"}) {
      outcome = AnswerWith(HttpAnswer(status, body));
      EXPECT_EQ(outcome.status, CUploadNotifier::Failed) << code << body;
      EXPECT_EQ(outcome.percent, 100) << code << body;
      EXPECT_EQ(outcome.log, Answered(wideCode, std::wstring(body.begin(), body.end()),
                                      JudgedByBody + RefusedByBody));
    }
  }
}

TEST(MultipartSenderAnswer, WithABlankBeforeTheNumberIsJudgedByItsStatus) {
  Outcome outcome = AnswerWith(HttpAnswer("500 Reason", " 200"));
  EXPECT_EQ(outcome.status, CUploadNotifier::Failed);
  EXPECT_EQ(outcome.log, Answered(L"500", L" 200", RefusedByStatus));
  outcome = AnswerWith(HttpAnswer("200 OK", " 404"));
  EXPECT_EQ(outcome.status, CUploadNotifier::Succeeded);
  EXPECT_EQ(outcome.log, Answered(L"200", L" 404", Delivered));
}

TEST(MultipartSenderAnswer, IsLookedAtUpTo4095Bytes) {
  for (const std::size_t length : {0U, 1U, 4094U, 4095U, 4096U, 1'000'000U}) {
    const std::string body(length, 'b');
    const Log expected =
        Answered(L"200", std::wstring(std::min<std::size_t>(length, 4095), L'b'), Delivered);
    for (const std::string& answer :
         {HttpAnswer("200 OK", body), ChunkedHttpAnswer("200 OK", body, 1000),
          "HTTP/1.1 200 OK\r\n\r\n" + body}) {
      const Outcome outcome = AnswerWith(answer);
      EXPECT_EQ(outcome.status, CUploadNotifier::Succeeded) << length;
      EXPECT_TRUE(outcome.log == expected) << length << answer.substr(0, 80);
    }
  }
}

TEST(MultipartSenderAnswer, InSmallPiecesIsReadWhole) {
  const Outcome outcome = Send(TwoFields(), [](LoopbackClient& client, CUploadNotifier&) {
    client.ReadRequest();
    for (const char byte : HttpAnswer("500 Reason", "200abc")) {
      client.Send({&byte, 1});
      Sleep(1);
    }
  });
  EXPECT_EQ(outcome.log, Answered(L"500", L"200abc", JudgedByBody + Delivered));
}

TEST(MultipartSenderAnswer, ThatBreaksOffIsJudgedByWhatCame) {
  const Outcome outcome = AnswerWith("HTTP/1.1 500 Reason\r\nContent-Length: 1000\r\n\r\n200");
  EXPECT_EQ(outcome.status, CUploadNotifier::Succeeded);
  EXPECT_EQ(outcome.log, Answered(L"500", L"200", JudgedByBody + Delivered));
}

TEST(MultipartSenderAnswer, IsToldInTheCodePageUpToItsFirstNulByte) {
  const Outcome outcome = AnswerWith(HttpAnswer("200 OK", std::string("\xE4\x80\0b", 4)));
  EXPECT_EQ(outcome.status, CUploadNotifier::Succeeded);
  EXPECT_EQ(outcome.log, Answered(L"200", L"\u00E4\u20AC", Delivered));
}

TEST(MultipartSenderAnswer, WithHeadersOfAMegabyteIsOneLikeAnyOther) {
  constexpr std::size_t Megabyte = std::size_t{1} << 20;
  std::string many;
  while (many.size() < Megabyte) {
    many += "X-" + std::to_string(many.size()) + ": " + std::string(50, 'h') + "\r\n";
  }
  for (const std::string& answer :
       {HttpAnswer("200 OK", "fine", "X-Long: " + std::string(Megabyte, 'h') + "\r\n"),
        HttpAnswer("200 OK", "fine", many),
        HttpAnswer("200 " + std::string(Megabyte, 'h'), "fine")}) {
    const Outcome outcome = AnswerWith(answer);
    EXPECT_EQ(outcome.status, CUploadNotifier::Succeeded) << answer.substr(0, 60);
    EXPECT_EQ(outcome.log, Answered(L"200", L"fine", Delivered));
  }
}

TEST(MultipartSenderAnswer, BeforeTheWholeBodyWasReadCountsOnceAllIsSent) {
  const Outcome outcome = Send(OneField(std::string(MuchMoreThanBuffers, 'x')),
                               [](LoopbackClient& client, CUploadNotifier&) {
                                 client.ReadHead();
                                 client.Send(HttpAnswer("413 Too Large", "no"));
                                 client.ReadRequest();
                               });
  EXPECT_EQ(outcome.status, CUploadNotifier::Failed);
  EXPECT_EQ(outcome.log, Answered(L"413", L"no", RefusedByStatus));
  EXPECT_GT(outcome.Body().size(), MuchMoreThanBuffers);
}

TEST(MultipartSenderAnswer, BeforeTheBodyWasReadIsLostWhenTheServerGoes) {
  const Outcome outcome = Send(OneField(std::string(MuchMoreThanBuffers, 'x')),
                               [](LoopbackClient& client, CUploadNotifier&) {
                                 ReadAtLeast(client, ToTheMiddle);
                                 client.Send(HttpAnswer("200 OK", "200"));
                               });
  EXPECT_EQ(outcome.status, CUploadNotifier::Failed);
  EXPECT_EQ(outcome.log, UpToSending + Log{L"Error uploading text part data."} + Failed);
}

TEST(MultipartSenderRedirection, IsFollowedWithoutTheFormAndTheSecondAnswerCounts) {
  // What the system's HTTP library does, unasked.
  for (const std::string code : {"301", "302", "303", "307"}) {
    for (const std::string secondCode : {"200", "404"}) {
      int count = 0;
      const Outcome outcome = Send(TwoFields(), [&](LoopbackClient& client, CUploadNotifier&) {
        client.ReadRequest();
        client.Send(++count == 1 ? HttpAnswer(code + " There", "", "Location: /there\r\n")
                                 : HttpAnswer(secondCode + " Reason", "second"));
      });
      ASSERT_EQ(outcome.requests.size(), 2U) << code;
      EXPECT_EQ(HeaderLines(outcome.requests[1])[0],
                (code == "307" ? "POST /there HTTP/1.1\r" : "GET /there HTTP/1.1\r"));
      EXPECT_TRUE(outcome.requests[1].ends_with("\r\n\r\n")) << outcome.requests[1];
      EXPECT_EQ(outcome.log, Answered(std::wstring(secondCode.begin(), secondCode.end()), L"second",
                                      secondCode == "200" ? Delivered : RefusedByStatus));
    }
  }
}

TEST(MultipartSenderRedirection, ToWhereNobodyListensFails) {
  const LoopbackPort nobody;
  const Outcome outcome = AnswerWith(HttpAnswer(
      "302 There", "", "Location: http://127.0.0.1:" + std::to_string(nobody.Number()) + "/\r\n"));
  EXPECT_EQ(outcome.status, CUploadNotifier::Failed);
  EXPECT_EQ(outcome.log, UpToEnding + Log{L"HttpEndRequest has failed."} + Failed);
}

// --- Steps that fail

TEST(MultipartSenderFailure, OfAMissingAttachmentIsFoundBeforeAnythingIsSent) {
  const TempFolder folder;
  for (const std::wstring& path : {folder / L"none.txt", folder.Path().wstring(), std::wstring()}) {
    const Outcome outcome = Send(OneAttachment(path));
    EXPECT_EQ(outcome.status, CUploadNotifier::Failed);
    EXPECT_EQ(outcome.percent, 100);
    EXPECT_EQ(outcome.log, (Log{L"Calculating size of data to send.",
                                L"Error calculating size of data to send!"} +
                            Failed));
    EXPECT_TRUE(outcome.requests.empty());
  }
}

TEST(MultipartSenderFailure, OfAnAttachmentThatAnotherProcessWritesIsFoundBeforeAnythingIsSent) {
  const TempFolder folder;
  WriteBytes(folder / L"a.bin", "bytes");
  const FileHolder holder(L"write", folder / L"a.bin");
  const Outcome outcome = Send(OneAttachment(folder / L"a.bin"));
  EXPECT_EQ(outcome.status, CUploadNotifier::Failed);
  EXPECT_TRUE(outcome.requests.empty());
}

TEST(MultipartSenderFailure, OfAnAttachmentThatVanishesMeanwhileEndsTheSendThere) {
  const TempFolder folder;
  const std::wstring path = folder / L"a.bin";
  WriteBytes(path, "bytes");
  CUploadRequest request = OneAttachment(path);
  request.textFields[L"a"] = std::string(MuchMoreThanBuffers, 'x');
  bool isDeleted = false;
  const Outcome outcome = Send(request, [&](LoopbackClient& client, CUploadNotifier&) {
    // The sender cannot get past the text field before it is read.
    client.ReadHead();
    isDeleted = DeleteFileW(path.c_str()) != 0;
    client.ReadToEnd();
  });
  EXPECT_TRUE(isDeleted);
  EXPECT_EQ(outcome.status, CUploadNotifier::Failed);
  EXPECT_EQ(outcome.percent, 100);
  EXPECT_EQ(outcome.log, UpToSending + Log{L"Error opening attachment file."} + Failed);
  EXPECT_TRUE(outcome.Body().ends_with("Content-Transfer-Encoding: binary\r\n\r\n"));
}

TEST(MultipartSenderFailure, OfAnAttachmentThatCannotBeReadEndsTheSendThere) {
  // Wine's way to a file that can be opened, but not read from its start.
  const std::wstring path = L"\\\\?\\unix\\proc\\self\\mem";
  const Outcome outcome = Send(
      OneAttachment(path), [](LoopbackClient& client, CUploadNotifier&) { client.ReadToEnd(); });
  EXPECT_EQ(outcome.status, CUploadNotifier::Failed);
  EXPECT_EQ(outcome.log, UpToSending + Log{L"Error reading data from attachment file."} + Failed);
  EXPECT_TRUE(outcome.Body().ends_with("Content-Transfer-Encoding: binary\r\n\r\n"));
  EXPECT_EQ(CloseHandlesOf(L"\\proc\\self\\mem"), 0);
}

TEST(MultipartSenderFailure, OfAnAddressThatIsNoneIsOneToConnect) {
  for (const std::wstring& address :
       {std::wstring(), std::wstring(L"http:///in"), std::wstring(L":"),
        L"http://" + std::wstring(512, L'h') + L"/", L"http://h/" + std::wstring(1023, L'p'),
        std::wstring(512, L's') + L"://h/"}) {
    const Outcome outcome = SendTo(TwoFields(), address);
    EXPECT_EQ(outcome.status, CUploadNotifier::Failed) << address.size();
    EXPECT_EQ(outcome.percent, 100) << address.size();
    EXPECT_EQ(outcome.log, UpToConnecting + Log{L"Error connecting to server"} + Failed);
  }
}

TEST(MultipartSenderFailure, OfAHostThatNobodyKnowsIsOneToSend) {
  for (const std::wstring& host : {std::wstring(L"a..b"), std::wstring(511, L'h')}) {
    const Outcome outcome = SendTo(TwoFields(), L"http://" + host + L"/in");
    EXPECT_EQ(outcome.status, CUploadNotifier::Failed);
    EXPECT_EQ(outcome.log, UpToSending + Log{L"HttpSendRequestEx has failed."} + Failed);
  }
}

TEST(MultipartSenderFailure, OfAConnectionThatIsRefusedIsOneToSend) {
  const LoopbackPort nobody;
  const Outcome outcome =
      SendTo(TwoFields(), L"http://127.0.0.1:" + std::to_wstring(nobody.Number()) + L"/in");
  EXPECT_EQ(outcome.status, CUploadNotifier::Failed);
  EXPECT_EQ(outcome.percent, 100);
  EXPECT_EQ(outcome.log, UpToSending + Log{L"HttpSendRequestEx has failed."} + Failed);
}

TEST(MultipartSenderFailure, OfAServerThatHangsUpAtOnceIsOneOfTheFirstParts) {
  for (const bool isReset : {false, true}) {
    const Outcome outcome = Send(OneField(std::string(MuchMoreThanBuffers, 'x')),
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

TEST(MultipartSenderFailure, OfAResetBetweenTextPartsIsOneOfAHeaderOrAFooter) {
  CUploadRequest request;
  for (std::size_t i = 0; i < MuchMoreThanBuffers / 1000; ++i) {
    request.textFields[std::to_wstring(i) + std::wstring(1000, L'n')] = "";
  }
  const Outcome outcome = Send(request, [](LoopbackClient& client, CUploadNotifier&) {
    ReadAtLeast(client, ToTheMiddle);
    client.Reset();
  });
  EXPECT_EQ(outcome.status, CUploadNotifier::Failed);
  EXPECT_THAT(outcome.log,
              testing::AnyOf(UpToSending + Log{L"Error uploading text part header."} + Failed,
                             UpToSending + Log{L"Error uploading text part footer."} + Failed));
}

TEST(MultipartSenderFailure, OfAResetInATextPartsDataIsToldAsThat) {
  const Outcome outcome = Send(OneField(std::string(MuchMoreThanBuffers, 'x')),
                               [](LoopbackClient& client, CUploadNotifier&) {
                                 ReadAtLeast(client, ToTheMiddle);
                                 client.Reset();
                               });
  EXPECT_EQ(outcome.status, CUploadNotifier::Failed);
  EXPECT_EQ(outcome.percent, 100);
  EXPECT_EQ(outcome.log, UpToSending + Log{L"Error uploading text part data."} + Failed);
}

TEST(MultipartSenderFailure, OfAResetBetweenAttachmentsIsOneOfAHeaderOrAFooter) {
  const TempFolder folder;
  WriteBytes(folder / L"a.bin", "");
  CUploadRequest request;
  for (std::size_t i = 0; i < MuchMoreThanBuffers / 1000; ++i) {
    request.files[std::to_wstring(i) + std::wstring(1000, L'n')] = {folder / L"a.bin", L"t/s"};
  }
  const Outcome outcome = Send(request, [](LoopbackClient& client, CUploadNotifier&) {
    ReadAtLeast(client, ToTheMiddle);
    client.Reset();
  });
  EXPECT_EQ(outcome.status, CUploadNotifier::Failed);
  EXPECT_THAT(
      outcome.log,
      testing::AnyOf(UpToSending + Log{L"Error uploading attachment part header."} + Failed,
                     UpToSending + Log{L"Error uploading attachment part footer."} + Failed));
  EXPECT_TRUE(IsFree(folder / L"a.bin"));
}

TEST(MultipartSenderFailure, OfAResetInAnAttachmentsDataIsToldAsThatAndLeavesTheFileOpen) {
  const TempFolder folder;
  WriteBytes(folder / L"a.bin", std::string(MuchMoreThanBuffers, 'x'));
  const Outcome outcome =
      Send(OneAttachment(folder / L"a.bin"), [](LoopbackClient& client, CUploadNotifier&) {
        ReadAtLeast(client, ToTheMiddle);
        client.Reset();
      });
  EXPECT_EQ(outcome.status, CUploadNotifier::Failed);
  EXPECT_EQ(outcome.log, UpToSending + Log{L"Error uploading attachment part data."} + Failed);
  EXPECT_FALSE(IsFree(folder / L"a.bin"));
  EXPECT_EQ(CloseHandlesOf(folder.Path().filename().wstring() + L"\\a.bin"), 1);
}

TEST(MultipartSenderFailure, OfAServerThatGoesWithoutAnAnswerIsStatusZero) {
  for (const bool isReset : {false, true}) {
    const Outcome outcome = Send(TwoFields(), [isReset](LoopbackClient& client, CUploadNotifier&) {
      client.ReadRequest();
      if (isReset) client.Reset();
    });
    EXPECT_EQ(outcome.status, CUploadNotifier::Failed) << isReset;
    EXPECT_EQ(outcome.log, Answered(L"0", L"", RefusedByStatus));
  }
}

TEST(MultipartSenderFailure, OfGarbageInsteadOfHttpIsStatusZero) {
  for (const std::string& answer : {std::string("garbage"), std::string("200"),
                                    std::string(10'000, '\xFF'), std::string(10'000, '\0')}) {
    const Outcome outcome = AnswerWith(answer);
    EXPECT_EQ(outcome.status, CUploadNotifier::Failed) << answer.substr(0, 20);
    EXPECT_EQ(outcome.log, Answered(L"0", L"", RefusedByStatus));
  }
}

TEST(MultipartSenderFailure, OfAStatusLineWithoutACodeIsNoDelivery) {
  for (const char* line : {"HTTP/1.1", "HTTP/1.1 abc OK", "HTTP/1.1 -1 OK", "HTTP/1.1 2000 OK",
                           "HTTP/1.1 99999999999 OK"}) {
    const Outcome outcome = AnswerWith(std::string(line) + "\r\n\r\nbody");
    EXPECT_EQ(outcome.status, CUploadNotifier::Failed) << line;
    EXPECT_EQ(outcome.log.back(), Failed.back()) << line;
  }
}

TEST(MultipartSenderFailure, OfGarbageInLinesGetsAVerdictAllTheSame) {
  // Whether that is an answer, of a server older than status lines, is up to the HTTP library.
  for (const char* answer : {"garbage\r\n\r\n", "\r\n\r\n", "SSH-2.0-x\r\n", "\n\n\n\n"}) {
    const Outcome outcome = AnswerWith(answer);
    const bool isDelivered = outcome.status == CUploadNotifier::Succeeded;
    EXPECT_EQ(outcome.log.back(), isDelivered ? Delivered.back() : Failed.back()) << answer;
  }
}

// --- Progress, cancelling and the end

TEST(MultipartSenderProgress, IsOfTheBytesThatWereSent) {
  constexpr std::size_t BodyLength = FieldHeader.size() + MuchMoreThanBuffers + BodyEnd.size();
  std::vector<int> percentages;
  bool isInStep = true;
  int atEnd = -1;
  const Outcome outcome = Send(
      OneField(std::string(MuchMoreThanBuffers, 'x')),
      [&](LoopbackClient& client, CUploadNotifier& notifier) {
        client.ReadHead();
        const std::size_t head = client.Received().find("\r\n\r\n") + 4;
        while (client.Received().size() < head + BodyLength) {
          percentages.push_back(notifier.GetPercent());
          // What was received was sent, and counted but for the piece on its way.
          const double received = static_cast<double>(client.Received().size() - head) - 1024;
          isInStep = isInStep && percentages.back() >= std::floor(100 * received / BodyLength) - 1;
          if (!client.ReadMore()) break;
        }
        if (IsTold(notifier, L"Ending HTTP request...")) atEnd = notifier.GetPercent();
        client.Send(HttpAnswer("200 OK", ""));
      });
  EXPECT_EQ(outcome.Body().size(), BodyLength);
  EXPECT_TRUE(isInStep);
  EXPECT_TRUE(std::is_sorted(percentages.begin(), percentages.end()));
  ASSERT_FALSE(percentages.empty());
  EXPECT_GE(percentages.front(), 0);
  EXPECT_LT(percentages.front(), 100) << "the server has read next to nothing";
  EXPECT_EQ(atEnd, 100);
  EXPECT_EQ(outcome.percent, 100);
}

TEST(MultipartSenderCancel, BeforeTheStartEndsTheSendBeforeARequestIsMade) {
  const Outcome outcome = Send(TwoFields(), Confirm, L"/in", true /* cancelled */);
  EXPECT_EQ(outcome.status, CUploadNotifier::Failed);
  EXPECT_EQ(outcome.percent, 100);
  EXPECT_EQ(outcome.log, UpToConnecting + Failed);
  EXPECT_TRUE(outcome.requests.empty());
}

/// Cancels when a good part of the body has come.
void CancelInTheMiddle(LoopbackClient& client, CUploadNotifier& notifier) {
  ReadAtLeast(client, ToTheMiddle);
  notifier.RequestCancel();
  client.ReadToEnd();
}

TEST(MultipartSenderCancel, EndsATextPartAfterAPieceOf1024Bytes) {
  bool wasOdd = false;
  // Longer pieces would show as an even number of that length every time.
  for (int attempt = 0; attempt < 30 && !wasOdd; ++attempt) {
    const Outcome outcome =
        Send(OneField(std::string(MuchMoreThanBuffers, 'x')), CancelInTheMiddle);
    EXPECT_EQ(outcome.status, CUploadNotifier::Failed);
    EXPECT_EQ(outcome.percent, 100);
    EXPECT_EQ(outcome.log, UpToSending + Failed);
    const std::size_t sent = outcome.Body().size() - FieldHeader.size();
    EXPECT_LT(sent, MuchMoreThanBuffers);
    ASSERT_EQ(sent % 1024, 0U) << sent;
    wasOdd = sent / 1024 % 2 == 1;
  }
  EXPECT_TRUE(wasOdd);
}

TEST(MultipartSenderCancel, EndsAnAttachmentAfterAPieceOf1024BytesAndLeavesTheFileOpen) {
  const TempFolder folder;
  WriteBytes(folder / L"a.bin", std::string(MuchMoreThanBuffers, 'x'));
  int attempts = 0;
  bool wasOdd = false;
  while (attempts < 30 && !wasOdd) {
    ++attempts;
    const Outcome outcome = Send(OneAttachment(folder / L"a.bin"), CancelInTheMiddle);
    EXPECT_EQ(outcome.status, CUploadNotifier::Failed);
    EXPECT_EQ(outcome.log, UpToSending + Failed);
    const std::size_t sent = outcome.Body().size() - AttachmentHeader.size();
    EXPECT_LT(sent, MuchMoreThanBuffers);
    EXPECT_EQ(sent % 1024, 0U) << sent;
    wasOdd = sent / 1024 % 2 == 1;
    EXPECT_FALSE(IsFree(folder / L"a.bin"));
  }
  EXPECT_TRUE(wasOdd);
  EXPECT_EQ(CloseHandlesOf(folder.Path().filename().wstring() + L"\\a.bin"), attempts);
}

TEST(MultipartSenderCancel, OnceAllIsSentComesTooLate) {
  bool isSent = false;
  const Outcome outcome = Send(TwoFields(), [&](LoopbackClient& client, CUploadNotifier& notifier) {
    client.ReadRequest();
    isSent = IsTold(notifier, L"Ending HTTP request...");
    notifier.RequestCancel();
    client.Send(HttpAnswer("200 OK", "thanks"));
  });
  EXPECT_TRUE(isSent);
  EXPECT_EQ(outcome.status, CUploadNotifier::Succeeded);
  EXPECT_EQ(outcome.log, Answered(L"200", L"thanks", Delivered));
}

TEST(MultipartSenderEnd, LeavesTheNotifiersThreeEventsAndTheThreadsHandleOpen) {
  const auto countHandles = [] {
    int count = 0;
    ForEachHandle([&count](HANDLE) { ++count; });
    return count;
  };
  // The first send also opens what the libraries keep.
  Send(TwoFields());
  const TempFolder folder;
  WriteBytes(folder / L"a.bin", "bytes");
  const int before = countHandles();
  EXPECT_EQ(Send(OneAttachment(folder / L"a.bin")).status, CUploadNotifier::Succeeded);
  EXPECT_EQ(countHandles() - before, 4);
}

TEST(MultipartSenderEnd, SenderAndNotifierMayBeDestroyedAsSoonAsTheWaitIsOver) {
  struct Place {
    CUploadNotifier notifier;
    CMultipartSender sender;
  };
  const Deadline deadline;
  const LoopbackPort nobody;
  CUploadRequest request = TwoFields();
  request.address = L"http://127.0.0.1:" + std::to_wstring(nobody.Number()) + L"/in";
  for (int i = 0; i < 300; ++i) {
    // Memory that is gone when they are: whoever uses them later crashes.
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

}  // namespace
