// The answer must be the system's own for the whole path, of which it sees the end only.
#include <gtest/gtest.h>

#include "platform/WindowsHeader.h"

#include <shlwapi.h>

#include <random>
#include <string>

#include "platform/FileExtension.h"

namespace {

TEST(FindExtension, IsTheSystemsAnswerForTheWholePath) {
  std::mt19937 random(3);
  const std::string alphabet = "ab.. \\/:\x81\xE4\xFF";
  int extensions = 0;
  for (int i = 0; i < 50'000; ++i) {
    std::string path(random() % 20, ' ');
    for (char& c : path) c = alphabet[random() % alphabet.size()];
    const std::string expected = PathFindExtensionA(path.c_str());
    ASSERT_EQ(FindExtension(path), expected) << '"' << path << '"';
    extensions += expected.empty() ? 0 : 1;
  }
  EXPECT_GT(extensions, 10'000);
}

}  // namespace
