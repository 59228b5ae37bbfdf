#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "usage/UsageEvent.h"

/// The documents of one file type.
struct FileTypeStat {
  /// Times opened.
  std::uint64_t ocnt = 0;
  /// Times saved.
  std::uint64_t scnt = 0;
  /// A file extension with its leading dot, or empty.
  std::wstring name;
};

/// How often documents of each file type were opened and saved.
class FileTypeStats {
 public:
  /// Entries by file type, compared code unit by code unit: ".DWG" and ".dwg" are two types.
  using Entries = std::map<std::wstring, FileTypeStat>;

  /// Counts one opened or saved document. Events of other kinds, and events without a file type,
  /// are ignored; an empty file type is a type.
  /// Returns the entry that counted it, or null. Entries stay where they are for the life of the
  /// statistics, so a caller that meets the same type again may use `CountAgain` on it.
  FileTypeStat* Count(const UsageEvent& event);

  /// Counts one more document of an entry that `Count` has returned.
  static void CountAgain(FileTypeStat& entry, UsageEventKind kind);

  /// Takes over an entry of a loaded report: added to the entry of that name, if there is one.
  void Merge(const FileTypeStat& loaded);

  const Entries& GetEntries() const { return entries_; }

 private:
  FileTypeStat& FindOrAdd(const std::wstring& name);

  Entries entries_;
};
