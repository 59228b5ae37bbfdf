#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "platform/WindowsHeader.h"

#include <wininet.h>

#include "upload/AnsiConverter.h"
#include "upload/UploadNotifier.h"
#include "upload/UploadRequest.h"

/// Sends one request as an HTTP POST of a multipart form, on a thread of its own. A sender serves
/// one send.
///
/// The body is sent in pieces and never held in memory as a whole. TLS is used for port 443 and no
/// other (docs/compatibility.md, 42), with the system's checks of the certificate. Proxies are the
/// system's.
class CMultipartSender {
 public:
  /// Copies `request` and starts to send. `notifier` receives every message and the completion; it
  /// and the sender must live until then. Returns false when the thread cannot be created; the send
  /// never completes then.
  bool StartSend(const CUploadRequest& request, CUploadNotifier& notifier);

 private:
  /// The messages of the steps that send a text of the form.
  struct FormTextMessages {
    const wchar_t* notFormatted;
    const wchar_t* notConverted;
    const wchar_t* notWritten;
  };

  static DWORD WINAPI ThreadMain(void* sender);

  bool RunSend();
  bool Deliver();
  bool SendBody(HINTERNET http);
  bool SendTextPart(HINTERNET http, const std::wstring& name);
  bool SendAttachmentPart(HINTERNET http, const std::wstring& name);
  bool JudgeResponse(HINTERNET http);
  bool WriteFormText(HINTERNET http, const std::optional<std::wstring>& text,
                     const FormTextMessages& messages);
  bool Write(HINTERNET http, const void* bytes, std::size_t count);
  void Report(const std::wstring& message);
  void ReportVerdict(const std::wstring& message);
  bool Fail(const wchar_t* message = nullptr);

  CUploadRequest request_;
  CUploadNotifier* notifier_ = nullptr;
  CAnsiConverter converter_;
  /// The declared length: the low 32 bits of the body's.
  std::uint32_t totalSize_ = 0;
  std::uint32_t bytesUploaded_ = 0;
};
