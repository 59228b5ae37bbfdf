#include "collector/serve/FolderLock.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "collector/http/ServeError.h"
#include "tests/collector/support/TemporaryFolder.h"

namespace pelto::collector {
namespace {

TEST(FolderLock, KeepsASecondServerOff) {
  const test::TemporaryFolder folder;
  const FolderLock lock(folder.path());
  try {
    const FolderLock second(folder.path());
    FAIL() << "two servers have the folder";
  } catch (const ServeError& error) {
    EXPECT_EQ(error.what(), "another server uses the data folder " + folder.path().string() +
                                "; end it first or name another folder");
  }
}

TEST(FolderLock, IsFreeAfterItsOwner) {
  const test::TemporaryFolder folder;
  { const FolderLock lock(folder.path()); }
  EXPECT_TRUE(std::filesystem::exists(folder / lock_file_name));
  const FolderLock lock(folder.path());
}

TEST(FolderLock, AFileThatCannotBeMadeIsAnError) {
  const test::TemporaryFolder folder;
  EXPECT_THROW(FolderLock(folder / "missing"), ServeError);
  std::filesystem::create_directory(folder / lock_file_name);
  EXPECT_THROW(FolderLock(folder.path()), ServeError);
}

}  // namespace
}  // namespace pelto::collector
