#include "tests/collector/support/TemporaryFolder.h"

#include <stdlib.h>

#include <cerrno>
#include <system_error>

namespace pelto::collector::test {

TemporaryFolder::TemporaryFolder() {
  std::string name = std::filesystem::temp_directory_path() / "pelto-collector-XXXXXX";
  if (::mkdtemp(name.data()) == nullptr) throw std::system_error(errno, std::generic_category());
  path_ = name;
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

}  // namespace pelto::collector::test
