#include "platform/FolderPath.h"

#include <gtest/gtest.h>

#include "tests/support/TempFolder.h"

namespace {

TEST(CreateFolderPath, MakesAllMissingParents) {
  const TempFolder folder;
  EXPECT_TRUE(CreateFolderPath(folder / L"a\\b\\c d"));
  EXPECT_TRUE(std::filesystem::is_directory(folder / L"a\\b\\c d"));
}

TEST(CreateFolderPath, AFolderThatIsThereAlreadyIsFine) {
  const TempFolder folder;
  EXPECT_TRUE(CreateFolderPath(folder.Path().wstring()));
  EXPECT_TRUE(CreateFolderPath(folder.Path().wstring() + L"\\"));
}

TEST(CreateFolderPath, AFileInTheWayIsAFailure) {
  const TempFolder folder;
  WriteBytes(folder / L"file", "x");
  EXPECT_FALSE(CreateFolderPath(folder / L"file"));
  EXPECT_FALSE(CreateFolderPath(folder / L"file\\a"));
  EXPECT_EQ(ReadBytes(folder / L"file"), "x");
}

TEST(CreateFolderPath, ANameThatNoFolderCanHaveIsAFailure) {
  const TempFolder folder;
  EXPECT_FALSE(CreateFolderPath(folder / L"a\\b?c"));
  EXPECT_TRUE(std::filesystem::is_directory(folder / L"a")) << "its parent was made before";
  EXPECT_FALSE(CreateFolderPath(L""));
}

TEST(CreateFolderPath, MakesNoParentsWithoutADrive) {
  const TempFolder folder;
  const auto before = std::filesystem::current_path();
  std::filesystem::current_path(folder.Path());
  EXPECT_FALSE(CreateFolderPath(L"a\\b"));
  EXPECT_TRUE(CreateFolderPath(L"a"));
  std::filesystem::current_path(before);
}

}  // namespace
