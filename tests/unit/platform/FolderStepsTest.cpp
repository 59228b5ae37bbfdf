#include <gtest/gtest.h>

#include "platform/FolderPath.h"

namespace {

using Steps = std::vector<std::wstring>;

TEST(FolderSteps, GoFromTheOutermostFolderInwards) {
  EXPECT_EQ(ListFolderSteps(L"C:\\a\\b c\\d"), (Steps{L"C:\\a", L"C:\\a\\b c", L"C:\\a\\b c\\d"}));
  EXPECT_EQ(ListFolderSteps(L"C:\\a"), (Steps{L"C:\\a"}));
}

TEST(FolderSteps, StartBehindTheDrivesBackslash) {
  EXPECT_EQ(ListFolderSteps(L"C:\\"), (Steps{L"C:\\"}));
  EXPECT_EQ(ListFolderSteps(L"C:"), (Steps{L"C:"}));
  EXPECT_EQ(ListFolderSteps(L"\\\\?\\C:\\a\\b"), (Steps{L"\\\\?\\C:\\a", L"\\\\?\\C:\\a\\b"}));
}

TEST(FolderSteps, EndWithTheWholePath) {
  EXPECT_EQ(ListFolderSteps(L"C:\\a\\"), (Steps{L"C:\\a", L"C:\\a\\"}));
  EXPECT_EQ(ListFolderSteps(L"C:\\a\\\\b"), (Steps{L"C:\\a", L"C:\\a\\", L"C:\\a\\\\b"}));
}

TEST(FolderSteps, APathWithoutAColonIsOneStep) {
  EXPECT_EQ(ListFolderSteps(L"\\\\server\\share\\a\\b"), (Steps{L"\\\\server\\share\\a\\b"}));
  EXPECT_EQ(ListFolderSteps(L"a\\b"), (Steps{L"a\\b"}));
  EXPECT_EQ(ListFolderSteps(L""), (Steps{L""}));
}

TEST(FolderSteps, SlashesDoNotSeparate) {
  EXPECT_EQ(ListFolderSteps(L"C:/a/b"), (Steps{L"C:/a/b"}));
}

}  // namespace
