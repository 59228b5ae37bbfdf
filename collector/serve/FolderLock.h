#pragma once

#include <filesystem>

namespace pelto::collector {

/// The file's name in the data folder.
inline constexpr char lock_file_name[] = "serve.lock";

/// Keeps a second server off a data folder, for as long as it lives. The system gives the lock back
/// when a process ends in whatever way, so a file that is left means nothing.
class FolderLock {
 public:
  /// Throws `ServeError` if another process has the lock or the file cannot be made.
  explicit FolderLock(const std::filesystem::path& folder);
  ~FolderLock();
  FolderLock(const FolderLock&) = delete;
  FolderLock& operator=(const FolderLock&) = delete;

 private:
  int descriptor_;
};

}  // namespace pelto::collector
