#include "tests/support/TestProcess.h"

#include <gtest/gtest.h>

FileHolder::FileHolder(const std::wstring& mode, const std::wstring& path) {
  SECURITY_ATTRIBUTES inherited = {sizeof inherited, nullptr, TRUE};
  HANDLE childInput = nullptr;
  HANDLE output = nullptr;
  HANDLE childOutput = nullptr;
  if (!CreatePipe(&childInput, &input_, &inherited, 0) ||
      !CreatePipe(&output, &childOutput, &inherited, 0)) {
    ADD_FAILURE() << "no pipe: " << GetLastError();
    return;
  }
  SetHandleInformation(input_, HANDLE_FLAG_INHERIT, 0);
  SetHandleInformation(output, HANDLE_FLAG_INHERIT, 0);

  STARTUPINFOW start = {};
  start.cb = sizeof start;
  start.dwFlags = STARTF_USESTDHANDLES;
  start.hStdInput = childInput;
  start.hStdOutput = childOutput;
  PROCESS_INFORMATION process = {};
  std::wstring command =
      L"\"" + ProgramFolder() + L"\\holder.exe\" " + mode + L" \"" + path + L"\"";
  const BOOL started = CreateProcessW(nullptr, command.data(), nullptr, nullptr, TRUE, 0, nullptr,
                                      nullptr, &start, &process);
  CloseHandle(childInput);
  CloseHandle(childOutput);
  if (!started) {
    ADD_FAILURE() << "holder.exe does not start: " << GetLastError();
    CloseHandle(output);
    return;
  }
  process_ = process.hProcess;
  CloseHandle(process.hThread);

  std::string line;
  char character = 0;
  DWORD count = 0;
  while (ReadFile(output, &character, 1, &count, nullptr) && count == 1 && character != '\n') {
    line += character;
  }
  CloseHandle(output);
  EXPECT_EQ(line.substr(0, 7), "holding") << line;
}

FileHolder::~FileHolder() {
  CloseHandle(input_);
  if (process_ == nullptr) return;
  WaitForSingleObject(process_, INFINITE);
  CloseHandle(process_);
}

std::wstring ProgramFolder() {
  wchar_t path[MAX_PATH];
  const std::wstring program(path, GetModuleFileNameW(nullptr, path, MAX_PATH));
  return program.substr(0, program.rfind(L'\\'));
}
