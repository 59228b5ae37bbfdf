#include "collector/commands/LineFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "collector/commands/CommandLine.h"

namespace pelto::collector {

namespace {

constexpr std::size_t piece_size = std::size_t{256} * 1024;

[[noreturn]] void fail(const std::string& what, const std::string& advice) {
  throw CommandError(what + ": " + std::strerror(errno) + "; " + advice);
}

bool is_regular(int file) {
  struct stat status {};
  return ::fstat(file, &status) == 0 && S_ISREG(status.st_mode);
}

/// A new file without a name.
int make_nameless_file(const std::filesystem::path& folder) {
  std::string name = folder / "import-XXXXXX";
  const int file = ::mkostemp(name.data(), O_CLOEXEC);
  if (file < 0) fail("cannot make a file in " + folder.string(), "check its permissions");
  ::unlink(name.c_str());
  return file;
}

void write_all(int file, const char* bytes, std::size_t size) {
  while (size > 0) {
    const ssize_t written = ::write(file, bytes, size);
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) fail("cannot copy standard input", "free some space on the disk");
    bytes += written;
    size -= static_cast<std::size_t>(written);
  }
}

void copy_all(int from, int to) {
  std::vector<char> piece(piece_size);
  while (true) {
    const ssize_t size = ::read(from, piece.data(), piece.size());
    if (size < 0 && errno == EINTR) continue;
    if (size < 0) fail("cannot read standard input", "check where it comes from");
    if (size == 0) return;
    write_all(to, piece.data(), static_cast<std::size_t>(size));
  }
}

}  // namespace

LineFile::Descriptor::~Descriptor() {
  if (number_ >= 0) ::close(number_);
}

LineFile::LineFile(const std::string& path, const std::filesystem::path& folder)
    : path_(path), file_(open_file(path, folder)) {}

LineFile::Descriptor LineFile::open_file(const std::string& path,
                                         const std::filesystem::path& folder) {
  Descriptor source(path == "-" ? ::dup(STDIN_FILENO) : ::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (source.get() < 0) fail("cannot read " + path, "name a file with one delivery a line");
  // Standard input can be a file of which a part was read already, so it is copied, too.
  if (path != "-" && is_regular(source.get())) return source;
  Descriptor copy(make_nameless_file(folder));
  copy_all(source.get(), copy.get());
  return copy;
}

std::size_t LineFile::read_some(char* buffer, std::size_t size, std::int64_t offset) const {
  while (true) {
    const ssize_t read = ::pread(file_.get(), buffer, size, offset);
    if (read < 0 && errno == EINTR) continue;
    if (read < 0) fail("cannot read " + path_, "check the disk");
    return static_cast<std::size_t>(read);
  }
}

void LineFile::for_each_line(
    std::size_t longest,
    const std::function<void(std::optional<std::string_view> line, Place place)>& take) const {
  std::vector<char> piece(piece_size);
  std::string line;
  Place place;
  std::int64_t offset = 0;
  const auto finish = [&] {
    take(place.length > longest ? std::nullopt : std::optional<std::string_view>(line), place);
    place = {offset, 0};
    line.clear();
  };
  while (const std::size_t size = read_some(piece.data(), piece.size(), offset)) {
    std::string_view rest(piece.data(), size);
    while (!rest.empty()) {
      const std::size_t end = rest.find('\n');
      const std::string_view part = rest.substr(0, end);
      place.length += part.size();
      if (place.length <= longest) line += part;
      offset += static_cast<std::int64_t>(part.size());
      rest.remove_prefix(part.size());
      if (end == std::string_view::npos) break;
      ++offset;
      rest.remove_prefix(1);
      finish();
    }
  }
  if (place.length > 0) finish();
}

std::string LineFile::read(Place place) const {
  std::string bytes(place.length, '\0');
  std::size_t size = 0;
  while (size < bytes.size()) {
    const std::size_t more = read_some(bytes.data() + size, bytes.size() - size,
                                       place.offset + static_cast<std::int64_t>(size));
    if (more == 0) break;
    size += more;
  }
  bytes.resize(size);
  return bytes;
}

}  // namespace pelto::collector
