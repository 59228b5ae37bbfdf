#include "usage/LogFile.h"

std::size_t CLogFile::Read(std::span<char> buffer) {
  if (!isOpened_) {
    isOpened_ = true;
    file_.Reset(CreateFileW(path_.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                            nullptr /* security */, OPEN_EXISTING, FILE_FLAG_SEQUENTIAL_SCAN,
                            nullptr /* template */));
  }
  DWORD count = 0;
  if (!file_ || !ReadFile(file_.Get(), buffer.data(), static_cast<DWORD>(buffer.size()), &count,
                          nullptr /* not overlapped */)) {
    return 0;
  }
  return count;
}
