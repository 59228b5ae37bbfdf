// For a host application: writes its usage log and starts PELTOSender. Take PeltoHost.h and
// PeltoHost.cpp over as they are; they need Windows and C++20, nothing else. What fails fails
// silently: usage statistics must not disturb the user. Paths are full ones, shorter than 240.
#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace pelto {

/// Owns a handle of Windows; null without one.
using Handle = std::shared_ptr<void>;

/// The usage log of this process, for one thread at a time, of a user who takes part. The sender
/// leaves the file alone as long as it is open, and counts and deletes it once it is closed.
class UsageLog {
 public:
  /// The log folder's parent must exist. In the data folder is the user's answer.
  UsageLog(const std::wstring& logFolder, const std::wstring& dataFolder)
      : logFolder_(logFolder), dataFolder_(dataFolder) {}
  UsageLog(UsageLog&&) = default;
  UsageLog& operator=(UsageLog&&) = default;

  /// One use of a command. Its name should not depend on the user's language. What a line or the
  /// system's code page cannot hold becomes "_", and a name is cut after 990 bytes.
  void AddCommand(std::wstring_view name);
  /// A document was opened or saved. Of its path only the file's name is written, and of that only
  /// the type is counted.
  void AddOpenedDocument(std::wstring_view path) { AddDocument("OnOpenDocument", path); }
  void AddSavedDocument(std::wstring_view path) { AddDocument("OnSaveDocument", path); }
  /// Closes the file, so that the next `log_handle` counts it. One of a mebibyte closes by itself.
  void Rotate() { *this = UsageLog(logFolder_, dataFolder_); }

 private:
  void AddDocument(const char* keyword, std::wstring_view path);
  void Open();
  void Write(const std::string& lines);

  std::wstring logFolder_;
  std::wstring dataFolder_;
  Handle file_;
  size_t size_ = 0;
};

/// Starts the sender, each run in a process of its own.
struct Sender {
  std::wstring program;
  std::wstring dataFolder;
  std::wstring logFolder;
  Handle dialog{};

  /// Counts the closed logs. Then sends the report, or asks a user who has not agreed, if that is
  /// due. Waits until the logs are counted, up to 200 s beside another run: call it on a thread of
  /// its own, at each start of the application.
  void CountAndSend(const std::wstring& uploadAddress, const std::wstring& applicationName,
                    const std::wstring& applicationPath) const;
  /// Opens the dialog and does not wait. Does nothing while the one opened last is there.
  void ShowSettings();
};

/// An argument of a command line, quoted so that CommandLineToArgvW returns it unchanged. It has no
/// NUL character.
inline std::wstring QuoteArgument(std::wstring_view argument) {
  std::wstring quoted = L"\"";
  size_t backslashes = 0;
  for (const wchar_t character : argument) {
    // Backslashes are doubled only before a quotation mark.
    if (character == L'"') quoted.append(backslashes + 1, L'\\');
    backslashes = character == L'\\' ? backslashes + 1 : 0;
    quoted += character;
  }
  return quoted.append(backslashes, L'\\') + L'"';
}

}  // namespace pelto
