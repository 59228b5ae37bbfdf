#pragma once

#include <string>
#include <utility>

#include "platform/Handles.h"
#include "usage/ByteSource.h"

/// The bytes of one log file. The file is opened on the first read, and others may read and write
/// it meanwhile. A file that cannot be opened, or cannot be read any further, has no more bytes.
class CLogFile : public CByteSource {
 public:
  explicit CLogFile(std::wstring path) : path_(std::move(path)) {}

  std::size_t Read(std::span<char> buffer) override;

 private:
  std::wstring path_;
  bool isOpened_ = false;
  CFileHandle file_;
};
