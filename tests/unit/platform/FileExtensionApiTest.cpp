// The extension as the system finds it in the whole path. The tests named after the code page run
// in several code pages, where lead bytes take the next byte with them.
#include <gtest/gtest.h>

#include "platform/WindowsHeader.h"

#include <shlwapi.h>

#include <random>
#include <string>

#include "platform/FileExtension.h"
#include "tests/support/CodePage.h"

namespace {

TEST(FileExtensionCodePage, ALeadByteTakesTheNextByteWithIt) {
  const struct {
    const char* path;
    /// In a code page of one byte per character, and in the double-byte ones.
    const char* single;
    const char* pair;
  } rows[] = {
      {"C:\\a\\b.dwg", ".dwg", ".dwg"},
      {"C:\\\x83.dwg", ".dwg", ""},           // no second half, but taken with the lead byte
      {"a.b\x83.dwg", ".dwg", ".b\x83.dwg"},  // so the dot before it is the last
      {"a\x83..dwg", ".dwg", ".dwg"},
      {"a.b\x83\\c", "", ".b\x83\\c"},  // a backslash that is a second half does not separate
      {"a.b\x83\\\\c", "", ""},
      {"a.b\x83 c", "", ".b\x83 c"},
      {"\x83\x83.x", ".x", ".x"},
      {"\x83\x83\x83.x", ".x", ""},
      {"\x83\\.x", ".x", ".x"},
  };
  const bool isDoubleByte = IsDoubleByteCodePage();
  for (const auto& [path, single, pair] : rows) {
    EXPECT_EQ(FindExtension(path), isDoubleByte ? pair : single) << path;
  }
}

TEST(FileExtensionCodePage, IsTheSystemsResultForTheWholePath) {
  GetCodePageText();
  std::mt19937 random(3);
  const std::string alphabet = "ab.. \\/:\x81\x83\xA0\xE4\xFF";
  int extensions = 0;
  for (int i = 0; i < 50'000; ++i) {
    std::string path(random() % 20, ' ');
    for (char& c : path) c = alphabet[random() % alphabet.size()];
    const std::string expected = PathFindExtensionA(path.c_str());
    ASSERT_EQ(FindExtension(path), expected) << '"' << path << '"';
    extensions += expected.empty() ? 0 : 1;
  }
  EXPECT_GT(extensions, 10'000) << "too few of the paths have an extension";
}

}  // namespace
