#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/WindowsHeader.h"

#include <wininet.h>

#include "upload/AnsiConverter.h"
#include "upload/UploadNotifier.h"
#include "upload/UploadRequest.h"

/// Sends one request as an HTTP POST of a multipart form, on a thread of its own. For one use.
///
/// The body goes out in pieces and is never whole in memory. TLS is used for port 443 and no other,
/// with the system's checks of the certificate. Proxies are the system's.
class CMultipartSender {
 public:
  /// Copies `request` and starts to send. `notifier`, which must live until it is told of
  /// completion, gets every message; the sender may be destroyed once it is. Answers false when
  /// the thread cannot be created; the notifier is not told then.
  bool StartSend(const CUploadRequest& request, CUploadNotifier& notifier);

 private:
  /// What is told when a text of the form cannot be sent.
  struct FormTextMessages {
    const wchar_t* notConverted;
    const wchar_t* notWritten;
  };

  static DWORD WINAPI ThreadMain(void* sender);

  bool RunSend();
  bool Deliver();
  bool SendBody(HINTERNET http);
  bool SendTextPart(HINTERNET http, const std::wstring& name);
  bool SendAttachmentPart(HINTERNET http, const std::wstring& name);
  bool JudgeAnswer(HINTERNET http);
  bool WriteFormText(HINTERNET http, const std::wstring& text, const FormTextMessages& messages);
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
