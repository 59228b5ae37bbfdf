#pragma once

#include <filesystem>
#include <string>
#include <string_view>

/// A new, empty folder that is removed with everything in it.
class TempFolder {
 public:
  TempFolder();
  ~TempFolder();
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  const std::filesystem::path& Path() const { return path_; }
  /// The path of `name` in the folder.
  std::wstring operator/(std::wstring_view name) const { return (path_ / name).wstring(); }

 private:
  std::filesystem::path path_;
};

/// Replaces the file's content; the bytes go out as they are.
void WriteBytes(const std::wstring& path, std::string_view bytes);
/// The file's bytes; the test fails when it cannot be read.
std::string ReadBytes(const std::wstring& path);
bool Exists(const std::wstring& path);
/// Whether nobody has the file open; the test fails when there is no such file.
bool IsFree(const std::wstring& path);
