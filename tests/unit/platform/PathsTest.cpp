#include "platform/Paths.h"

#include <gtest/gtest.h>

namespace {

TEST(CombinePath, JoinsWithOneBackslash) {
  EXPECT_EQ(CombinePath(L"C:\\data", L"a.xml"), L"C:\\data\\a.xml");
  EXPECT_EQ(CombinePath(L"C:\\data\\", L"a.xml"), L"C:\\data\\a.xml");
}

TEST(CombinePath, IsEmptyWhenTheResultIsLongerThanWindowsAllows) {
  const std::wstring longest = L"C:\\" + std::wstring(250, L'x');
  EXPECT_EQ(CombinePath(longest, L"a.xml").size(), 259U);
  EXPECT_EQ(CombinePath(longest + L"x", L"a.xml"), L"");
}

TEST(PathExists, TellsFilesAndFoldersFromNothing) {
  EXPECT_TRUE(PathExists(L"C:\\windows"));
  EXPECT_TRUE(PathExists(L"C:\\windows\\system32\\kernel32.dll"));
  EXPECT_FALSE(PathExists(L"C:\\windows\\no such file"));
  EXPECT_FALSE(PathExists(L""));
}

}  // namespace
