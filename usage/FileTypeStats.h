#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "usage/UsageEvent.h"

/// How often documents of one file type were opened and saved.
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
  /// Returns the entry that counted it, or null. The pointer stays valid as long as the statistics,
  /// so a caller can count the same type again with `CountAgain`.
  FileTypeStat* Count(const UsageEvent& event);

  /// Counts one more document of an entry that `Count` has returned.
  static void CountAgain(FileTypeStat& entry, UsageEventKind kind);

  /// Takes over an entry of a loaded report. Its counts are added to those of an entry of the same
  /// name (docs/compatibility.md, 17).
  void Merge(const FileTypeStat& loaded);

  const Entries& GetEntries() const { return entries_; }

 private:
  FileTypeStat& FindOrAdd(const std::wstring& name);

  Entries entries_;
};
