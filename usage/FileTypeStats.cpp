#include "usage/FileTypeStats.h"

FileTypeStat* FileTypeStats::Count(const UsageEvent& event) {
  if (event.kind != UsageEventKind::OpenDocument && event.kind != UsageEventKind::SaveDocument) {
    return nullptr;
  }
  const auto fileType = event.attributes.find(FileTypeAttribute);
  if (fileType == event.attributes.end()) return nullptr;
  FileTypeStat& entry = FindOrAdd(fileType->second);
  CountAgain(entry, event.kind);
  return &entry;
}

void FileTypeStats::CountAgain(FileTypeStat& entry, UsageEventKind kind) {
  if (kind == UsageEventKind::OpenDocument) {
    ++entry.ocnt;
  } else {
    ++entry.scnt;
  }
}

void FileTypeStats::Merge(const FileTypeStat& loaded) {
  FileTypeStat& entry = FindOrAdd(loaded.name);
  entry.ocnt += loaded.ocnt;
  entry.scnt += loaded.scnt;
}

FileTypeStat& FileTypeStats::FindOrAdd(const std::wstring& name) {
  const auto [position, isNew] = entries_.try_emplace(name);
  if (isNew) position->second.name = name;
  return position->second;
}
