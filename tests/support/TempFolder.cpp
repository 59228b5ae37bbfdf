#include "tests/support/TempFolder.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <system_error>

#include "platform/Handles.h"
#include "platform/WindowsHeader.h"

TempFolder::TempFolder() {
  static int number = 0;
  path_ = std::filesystem::temp_directory_path() /
          (L"pelto-" + std::to_wstring(GetCurrentProcessId()) + L"-" + std::to_wstring(number++));
  std::filesystem::create_directories(path_);
}

TempFolder::~TempFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

void WriteBytes(const std::wstring& path, std::string_view bytes) {
  std::ofstream file(std::filesystem::path(path), std::ios::binary | std::ios::trunc);
  file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  ASSERT_TRUE(file.good()) << "cannot write " << std::filesystem::path(path).string();
}

std::string ReadBytes(const std::wstring& path) {
  std::ifstream file(std::filesystem::path(path), std::ios::binary);
  EXPECT_TRUE(file.is_open()) << "cannot read " << std::filesystem::path(path).string();
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

bool Exists(const std::wstring& path) {
  return std::filesystem::exists(path);
}

bool IsFree(const std::wstring& path) {
  const CFileHandle file(CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                     OPEN_EXISTING, 0, nullptr));
  const DWORD error = file ? ERROR_SUCCESS : GetLastError();
  EXPECT_TRUE(file || error == ERROR_SHARING_VIOLATION) << error;
  return static_cast<bool>(file);
}
