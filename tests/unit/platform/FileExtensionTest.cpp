#include "platform/FileExtension.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(FindExtension, IsTheTextFromTheLastDotOn) {
  const std::string longText(900, 'x');
  const struct {
    std::string path;
    std::string extension;
  } rows[] = {
      {"", ""},
      {"C:\\folder\\file", ""},
      {"C:\\a\\b.dwg", ".dwg"},
      {"c.tar.gz", ".gz"},
      {".profile", ".profile"},
      {"a.DwG", ".DwG"},
      {"a.", "."},
      {"a..b", ".b"},
      {longText + "." + longText, "." + longText},
      // A backslash or a space after the dot leaves none.
      {"C:\\a.b\\c", ""},
      {"a.b c", ""},
      {"x.dwg ", ""},
      {"a.b\\", ""},
      // A slash and a colon do not separate.
      {"a.b/c", ".b/c"},
      {"a.b:c", ".b:c"},
  };
  for (const auto& [path, extension] : rows) EXPECT_EQ(FindExtension(path), extension) << path;
}

}  // namespace
