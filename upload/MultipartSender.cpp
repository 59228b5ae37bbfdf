#include "upload/MultipartSender.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <string_view>

#include "platform/AnsiText.h"
#include "platform/Handles.h"
#include "upload/DeliveryVerdict.h"
#include "upload/MultipartForm.h"
#include "upload/ReportForm.h"
#include "upload/UploadAddress.h"

namespace {

constexpr std::size_t ChunkLength = 1024;
/// In bytes. The rest of a response's body is not read.
constexpr DWORD ResponseLength = 4095;

constexpr long TlsPort = 443;

struct InternetTraits {
  using Handle = HINTERNET;
  static Handle GetInvalid() { return nullptr; }
  static void Close(Handle handle) { InternetCloseHandle(handle); }
};
using CInternetHandle = CUniqueHandle<InternetTraits>;

CFileHandle OpenAttachment(const std::wstring& path) {
  return CFileHandle(CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ,
                                 nullptr /* security */, OPEN_EXISTING, 0 /* no flags */,
                                 nullptr /* template */));
}

std::optional<std::uint64_t> GetAttachmentSize(const std::wstring& path) {
  const CFileHandle file = OpenAttachment(path);
  LARGE_INTEGER size;
  if (!file || !GetFileSizeEx(file.Get(), &size)) return {};
  return static_cast<std::uint64_t>(size.QuadPart);
}

}  // namespace

bool CMultipartSender::StartSend(const CUploadRequest& request, CUploadNotifier& notifier) {
  request_ = request;
  notifier_ = &notifier;
  const HANDLE thread = CreateThread(nullptr /* security */, 0 /* default stack */, ThreadMain,
                                     this, 0 /* no flags */, nullptr /* no id */);
  // The thread's handle is never closed (docs/compatibility.md, 45).
  return thread != nullptr;
}

DWORD WINAPI CMultipartSender::ThreadMain(void* sender) {
  static_cast<CMultipartSender*>(sender)->RunSend();
  return 0;
}

/// Completes last: the waiting thread may destroy the notifier and this object right afterwards.
bool CMultipartSender::RunSend() {
  bool isDelivered = false;
  try {
    isDelivered = Deliver();
  } catch (...) {
    // Memory exhaustion. The waiting thread must be released even if the message finds no memory.
    try {
      Fail();
    } catch (...) {
      notifier_->SetPercent(100, false);
    }
  }
  notifier_->Complete(isDelivered ? CUploadNotifier::Succeeded : CUploadNotifier::Failed);
  return isDelivered;
}

bool CMultipartSender::Deliver() {
  // Destroyed in reverse order: request, connection, session.
  CInternetHandle session;
  CInternetHandle connection;
  CInternetHandle http;

  const std::wstring header = FormatRequestHeader();
  Report(L"Calculating size of data to send.");
  const std::optional<std::uint64_t> length = ComputeFormLength(request_, GetAttachmentSize);
  if (!length) return Fail(L"Error calculating size of data to send!");

  Report(L"Opening Internet connection.");
  session.Reset(InternetOpenW(UserAgent, INTERNET_OPEN_TYPE_PRECONFIG, nullptr /* proxy */,
                              nullptr /* bypass */, 0 /* no flags */));
  if (!session) return Fail(L"Error opening Internet session");

  const std::optional<UploadAddress> address = SplitAddress(request_.address);
  Report(L"Connecting to server");
  if (address) {
    // The port is cut to 16 bits (docs/compatibility.md, 43).
    connection.Reset(InternetConnectW(session.Get(), address->host.c_str(),
                                      static_cast<INTERNET_PORT>(address->port), nullptr /* user */,
                                      nullptr /* password */, INTERNET_SERVICE_HTTP,
                                      0 /* no flags */, 0 /* context */));
  }
  if (!connection) return Fail(L"Error connecting to server");
  if (notifier_->CancelRequested()) return Fail();

  Report(L"Opening HTTP request...");
  // The port decides, not the scheme (docs/compatibility.md, 42): an address with another port is
  // sent in clear, whatever its scheme.
  const DWORD flags =
      INTERNET_FLAG_NO_CACHE_WRITE | (address->port == TlsPort ? INTERNET_FLAG_SECURE : DWORD{0});
  const wchar_t* acceptTypes[] = {L"*/*", nullptr};
  http.Reset(HttpOpenRequestW(connection.Get(), L"POST", address->path.c_str(),
                              nullptr /* default version */, nullptr /* referrer */, acceptTypes,
                              flags, 0 /* context */));
  if (!http) return Fail(L"HttpOpenRequest has failed.");

  totalSize_ = static_cast<std::uint32_t>(*length);
  bytesUploaded_ = 0;
  INTERNET_BUFFERSW buffers = {};
  buffers.dwStructSize = sizeof buffers;
  buffers.lpcszHeader = header.c_str();
  buffers.dwHeadersLength = static_cast<DWORD>(header.size());
  buffers.dwBufferTotal = totalSize_;
  Report(L"Sending HTTP request...");
  if (!HttpSendRequestExW(http.Get(), &buffers, nullptr /* output */, 0 /* no flags */,
                          0 /* context */)) {
    return Fail(L"HttpSendRequestEx has failed.");
  }
  if (!SendBody(http.Get())) return Fail();

  Report(L"Ending HTTP request...");
  if (!HttpEndRequestW(http.Get(), nullptr /* output */, 0 /* no flags */, 0 /* context */)) {
    return Fail(L"HttpEndRequest has failed.");
  }
  return JudgeResponse(http.Get()) || Fail();
}

bool CMultipartSender::SendBody(HINTERNET http) {
  for (const auto& [name, value] : request_.textFields) {
    if (!SendTextPart(http, name)) return false;
  }
  for (const auto& [name, file] : request_.files) {
    if (!SendAttachmentPart(http, name)) return false;
  }
  // A failure here has no message of its own (docs/compatibility.md, 47).
  const char* const closing = converter_.ToAnsi(FormatClosingBoundary().c_str());
  return closing != nullptr && Write(http, closing, std::strlen(closing));
}

bool CMultipartSender::SendTextPart(HINTERNET http, const std::wstring& name) {
  if (!WriteFormText(
          http, FormatTextPartHeader(request_, name),
          {L"Error formatting text part header.", L"Error converting text part header to ASCII.",
           L"Error uploading text part header."})) {
    return false;
  }
  const auto field = request_.textFields.find(name);
  if (field == request_.textFields.end()) {
    Report(L"Error searching for text part header name.");
    return false;
  }
  const std::string& value = field->second;
  for (std::size_t position = 0;;) {
    if (notifier_->CancelRequested()) return false;
    const std::size_t chunk = std::min(value.size() - position, ChunkLength);
    if (chunk == 0) break;
    if (!Write(http, value.data() + position, chunk)) {
      Report(L"Error uploading text part data.");
      return false;
    }
    position += chunk;
  }
  return WriteFormText(
      http, FormatPartFooter(),
      {L"Error formatting text part footer.", L"Error converting text part footer to ASCII.",
       L"Error uploading text part footer."});
}

bool CMultipartSender::SendAttachmentPart(HINTERNET http, const std::wstring& name) {
  if (!WriteFormText(http, FormatAttachmentPartHeader(request_, name),
                     {L"Error formatting attachment part header.",
                      L"Error converting attachment part header to ASCII.",
                      L"Error uploading attachment part header."})) {
    return false;
  }
  const auto attachment = request_.files.find(name);
  if (attachment == request_.files.end()) {
    Report(L"Error searching for attachment part name.");
    return false;
  }
  CFileHandle file = OpenAttachment(attachment->second.path);
  if (!file) {
    Report(L"Error opening attachment file.");
    return false;
  }
  for (;;) {
    if (notifier_->CancelRequested()) {
      // The file stays open, here and after a failed write (docs/compatibility.md, 46).
      file.Release();
      return false;
    }
    char bytes[ChunkLength];
    DWORD count = 0;
    if (!ReadFile(file.Get(), bytes, sizeof bytes, &count, nullptr /* not overlapped */)) {
      Report(L"Error reading data from attachment file.");
      return false;
    }
    if (count == 0) break;
    if (!Write(http, bytes, count)) {
      Report(L"Error uploading attachment part data.");
      file.Release();
      return false;
    }
  }
  file.Reset();
  return WriteFormText(http, FormatPartFooter(),
                       {L"Error formatting attachment part footer.",
                        L"Error converting attachment part footer to ASCII.",
                        L"Error uploading attachment part footer."});
}

// The message spellings "responce" are kept (docs/compatibility.md, 40).
bool CMultipartSender::JudgeResponse(HINTERNET http) {
  Report(L"Reading server response...");
  DWORD code = 0;
  DWORD codeSize = sizeof code;
  std::optional<unsigned long> statusCode;
  if (HttpQueryInfoW(http, HTTP_QUERY_STATUS_CODE | HTTP_QUERY_FLAG_NUMBER, &code, &codeSize,
                     nullptr /* first header */)) {
    statusCode = code;
    Report(L"Server responce code: " + std::to_wstring(static_cast<long>(code)));
  }
  char response[ResponseLength + 1] = {};
  DWORD count = 0;
  // A read failure is not an error here: with nothing read, the status code decides.
  InternetReadFile(http, response, ResponseLength, &count);
  response[count] = '\0';
  const std::string_view body = response;
  Report(L"Server responce body:" + ToWide(body));

  if (IsJudgedByBody(body)) {
    Report(L"Assuming legacy method of determining delivery status (from HTTP responce body).");
  }
  switch (JudgeDelivery(statusCode, body)) {
    case DeliveryVerdict::Delivered:
      ReportVerdict(L"Error report was sent OK!");
      return true;
    case DeliveryVerdict::RefusedByBody:
      ReportVerdict(L"Failed (HTTP responce body doesn't start with code 200).");
      return false;
    case DeliveryVerdict::RefusedByStatus:
      ReportVerdict(L"Failed (HTTP responce code is not equal to 200).");
      return false;
  }
  return false;
}

bool CMultipartSender::WriteFormText(HINTERNET http, const std::optional<std::wstring>& text,
                                     const FormTextMessages& messages) {
  if (!text) {
    Report(messages.notFormatted);
    return false;
  }
  const char* const bytes = converter_.ToAnsi(text->c_str());
  if (bytes == nullptr) {
    Report(messages.notConverted);
    return false;
  }
  if (!Write(http, bytes, std::strlen(bytes))) {
    Report(messages.notWritten);
    return false;
  }
  return true;
}

bool CMultipartSender::Write(HINTERNET http, const void* bytes, std::size_t count) {
  DWORD written = 0;
  if (!InternetWriteFile(http, bytes, static_cast<DWORD>(count), &written)) return false;
  bytesUploaded_ += written;
  // Both counts have 32 bits and wrap around for a larger body; the percentage stays within 100.
  const float percent =
      100.0F * static_cast<float>(bytesUploaded_) / static_cast<float>(std::max(totalSize_, 1U));
  notifier_->SetPercent(static_cast<int>(std::min(percent, 100.0F)), false);
  return true;
}

void CMultipartSender::Report(const std::wstring& message) {
  notifier_->AddStatus(message, 0, true);
}

void CMultipartSender::ReportVerdict(const std::wstring& message) {
  notifier_->AddStatus(message, 100, false);
}

/// Reports `message`, if any, and the verdict of every failed send. Returns false.
bool CMultipartSender::Fail(const wchar_t* message) {
  if (message != nullptr) Report(message);
  ReportVerdict(L"Error sending HTTP request.");
  return false;
}
