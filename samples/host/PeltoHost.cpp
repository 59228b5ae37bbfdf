#include "PeltoHost.h"

#include <windows.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <initializer_list>

namespace pelto {

namespace {

constexpr size_t LargestLog = size_t{1} << 20;
// The sender takes 1,023 bytes of a line: 23 with the time, 10 of "Command = ", and the text.
constexpr size_t LongestText = 990;

std::string TimeText() {
  SYSTEMTIME now;
  GetLocalTime(&now);
  char text[64];
  std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d.%02d ", now.wYear, now.wMonth,
                now.wDay, now.wHour, now.wMinute, now.wSecond, now.wMilliseconds / 10);
  return text;
}

std::string ToBytes(const std::wstring& text) {
  // The system's code page, in which the sender reads. CP_ACP is another one if this application's
  // manifest says so.
  UINT page = CP_ACP;
  GetLocaleInfoEx(LOCALE_NAME_SYSTEM_DEFAULT, LOCALE_IDEFAULTANSICODEPAGE | LOCALE_RETURN_NUMBER,
                  reinterpret_cast<wchar_t*>(&page), sizeof page / sizeof(wchar_t));
  std::string bytes(4 * text.size(), '\0');
  const auto convert = [&](DWORD flags, const char* missing) {
    return WideCharToMultiByte(page, flags, text.data(), static_cast<int>(text.size()),
                               bytes.data(), static_cast<int>(bytes.size()), missing, nullptr);
  };
  int size = convert(WC_NO_BEST_FIT_CHARS, "_");
  // Code pages that have every character, such as UTF-8, refuse a substitute for missing ones.
  if (size == 0) size = convert(0, nullptr);
  return bytes.substr(0, static_cast<size_t>(size));
}

// The text as a line can hold it. What is too long loses its beginning or its end.
std::string LineText(std::wstring_view from, bool keepsEnd) {
  std::wstring text(from);
  std::ranges::replace_if(
      text, [](wchar_t character) { return character < L' '; }, L'_');
  std::string bytes;
  for (size_t size = (std::min)(text.size(), LongestText);; --size) {
    text = keepsEnd ? text.substr(text.size() - size) : text.substr(0, size);
    bytes = ToBytes(text);
    if (bytes.size() <= LongestText) return bytes;
  }
}

Handle Own(HANDLE handle) {
  return handle && handle != INVALID_HANDLE_VALUE ? Handle(handle, CloseHandle) : nullptr;
}

// Returns the process, or null.
Handle Start(const std::wstring& program, std::initializer_list<std::wstring> arguments) {
  std::wstring commandLine = QuoteArgument(program);
  for (const std::wstring& argument : arguments) commandLine += L' ' + QuoteArgument(argument);
  STARTUPINFOW startup = {};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION process = {};
  // In its own folder: the current one would be in use as long as the dialog is open.
  const std::wstring folder = program.substr(0, program.find_last_of(L'\\') + 1);
  CreateProcessW(program.c_str(), commandLine.data(), nullptr, nullptr, FALSE, DETACHED_PROCESS,
                 nullptr, folder.c_str(), &startup, &process);
  Own(process.hThread);
  return Own(process.hProcess);
}

}  // namespace

void UsageLog::AddCommand(std::wstring_view name) {
  Write(TimeText() + "Command = " + LineText(name, false) + "\r\n");
}

void UsageLog::AddDocument(const char* keyword, std::wstring_view path) {
  const std::string name = LineText(path.substr(path.find_last_of(L"\\/:") + 1), true);
  Write(TimeText() + keyword + "\r\n" + TimeText() + name + "\r\n");
}

void UsageLog::Open() {
  CreateDirectoryW(logFolder_.c_str(), nullptr);
  static std::atomic<int> number = 0;
  std::string name =
      TimeText() + std::to_string(GetCurrentProcessId()) + '-' + std::to_string(++number) + ".log";
  std::ranges::replace(name, ':', '.');
  const std::wstring path = logFolder_ + L'\\' + std::wstring(name.begin(), name.end());
  // As long as it is open for writing, the sender cannot open it: it shares its files with readers.
  file_ = Own(CreateFileW(path.c_str(), FILE_APPEND_DATA, FILE_SHARE_READ, nullptr, CREATE_NEW,
                          FILE_ATTRIBUTE_NORMAL, nullptr));
}

void UsageLog::Write(const std::string& lines) {
  const std::wstring settings = dataFolder_ + L"\\PeltoReport.ini";
  if (GetPrivateProfileIntW(L"General", L"PeltoState", 2, settings.c_str()) != 1) return Rotate();
  if (!file_) Open();
  if (!file_) return;
  DWORD written = 0;
  WriteFile(file_.get(), lines.data(), static_cast<DWORD>(lines.size()), &written, nullptr);
  size_ += written;
  if (written != lines.size() || size_ > LargestLog) Rotate();
}

void Sender::CountAndSend(const std::wstring& uploadAddress, const std::wstring& applicationName,
                          const std::wstring& applicationPath) const {
  // What is counted while a report is under way is deleted with it: first count, then send.
  const Handle counting = Start(program, {L"log_handle", dataFolder, logFolder});
  if (counting) WaitForSingleObject(counting.get(), INFINITE);
  Start(program, {L"duty", uploadAddress, dataFolder, applicationName, applicationPath});
}

void Sender::ShowSettings() {
  // A second dialog would wait for the first one, without a window.
  if (dialog && WaitForSingleObject(dialog.get(), 0) == WAIT_TIMEOUT) return;
  dialog = Start(program, {L"dlg", dataFolder});
}

}  // namespace pelto
