#include "collector/serve/FolderLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <system_error>

#include "collector/http/ServeError.h"

namespace pelto::collector {

FolderLock::FolderLock(const std::filesystem::path& folder) {
  const std::string path = folder / lock_file_name;
  descriptor_ = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  if (descriptor_ < 0) {
    throw ServeError("cannot open " + path + ": " + std::generic_category().message(errno));
  }
  if (flock(descriptor_, LOCK_EX | LOCK_NB) == 0) return;
  const int error = errno;
  close(descriptor_);
  if (error == EWOULDBLOCK) {
    throw ServeError("another server uses the data folder " + folder.string() +
                     "; end it first or name another folder");
  }
  throw ServeError("cannot lock " + path + ": " + std::generic_category().message(error));
}

FolderLock::~FolderLock() {
  close(descriptor_);
}

}  // namespace pelto::collector
