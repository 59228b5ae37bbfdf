#pragma once

#include <string>
#include <utility>

/// The settings file's sections and keys.
namespace settings {
inline constexpr wchar_t ProgramSection[] = L"PELTO";
inline constexpr wchar_t Identifier[] = L"ID";

inline constexpr wchar_t GeneralSection[] = L"General";
inline constexpr wchar_t PeltoState[] = L"PeltoState";
inline constexpr wchar_t Email[] = L"Email";
inline constexpr wchar_t ShowMessage[] = L"ShowMessage";
inline constexpr wchar_t LastDlgOpenDate[] = L"LastDlgOpenDate";
inline constexpr wchar_t LastTransmissionDate[] = L"LastTransmissionDate";
inline constexpr wchar_t LastSysInfoCollectingDate[] = L"LastSysInfoCollectingDate";
}  // namespace settings

/// A private-profile (INI) file in the ANSI code page. Nothing is cached: every call goes to the
/// file. If the file is missing, every value has its default, and the first write creates it.
class CSettingsFile {
 public:
  /// `path` must be a full path: Windows looks for any other in its own folder.
  void SetPath(std::wstring path) { path_ = std::move(path); }

  /// The value, or an empty text. At most 1,023 characters are read; then every backslash followed
  /// by the letter n becomes a line feed (docs/compatibility.md, 11).
  std::wstring ReadText(const wchar_t* section, const wchar_t* key) const;
  /// Writes the value as it is: a line feed is not turned back. Returns false when the file cannot
  /// be written.
  bool WriteText(const wchar_t* section, const wchar_t* key, const std::wstring& value) const;
  /// The decimal number at the value's start, 0 for a value without one, `missing` if the key has
  /// no value.
  int ReadInteger(const wchar_t* section, const wchar_t* key, int missing) const;

 private:
  std::wstring path_;
};
