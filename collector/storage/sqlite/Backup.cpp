#include "collector/storage/sqlite/Backup.h"

#include <cerrno>
#include <cstring>
#include <string>

#include <fcntl.h>
#include <unistd.h>

#include "collector/storage/Storage.h"

namespace pelto::collector {

namespace {

class File {
 public:
  File(const std::filesystem::path& path, int flags)
      : path_(path), file_(::open(path.c_str(), flags | O_CLOEXEC, 0600)) {
    if (file_ < 0) fail("open");
  }
  ~File() { ::close(file_); }
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  void sync() {
    if (::fsync(file_) != 0) fail("sync");
  }

 private:
  [[noreturn]] void fail(const char* action) {
    throw StorageError("cannot " + std::string(action) + " " + path_.string() + ": " +
                       std::strerror(errno) + "; choose a new file in a folder with space");
  }

  std::filesystem::path path_;
  int file_;
};

}  // namespace

void back_up(Connection& connection, const std::filesystem::path& path) {
  { const File created(path, O_RDWR | O_CREAT | O_EXCL); }
  try {
    // SQLite's backup interface begins anew with each commit of another connection, and would not
    // end beside a busy server. This reads one snapshot.
    connection.run("VACUUM INTO ?1", path.string());
    File(path, O_RDONLY).sync();
    const std::filesystem::path folder = path.parent_path();
    File(folder.empty() ? "." : folder, O_RDONLY | O_DIRECTORY).sync();
  } catch (...) {
    std::error_code ignored;
    std::filesystem::remove(path, ignored);
    throw;
  }
}

}  // namespace pelto::collector
