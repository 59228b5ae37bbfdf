#include "collector/serve/PageFiles.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

namespace pelto::collector {

/// Made from the folder "pages" beside this file, as the pages themselves are.
std::span<const EmbeddedFile> stand_in_pages();

namespace {

std::string text_of(const std::string& name) {
  std::ifstream input(std::string(PELTO_STAND_IN_PAGES) + "/" + name, std::ios::binary);
  return {std::istreambuf_iterator<char>(input), {}};
}

TEST(PageFiles, AreTheFilesOfTheFolder) {
  std::vector<std::string> paths;
  for (const EmbeddedFile& file : stand_in_pages()) {
    paths.emplace_back(file.path);
    EXPECT_FALSE(file.content.empty());
    EXPECT_EQ(file.content, text_of(paths.back())) << paths.back();
    EXPECT_TRUE(file.gzip.starts_with("\x1f\x8b")) << paths.back();
  }
  const std::vector<std::string> expected{"assets/app-1a2b3c.js", "assets/app-4d5e6f.css",
                                          "index.html", "mine.html"};
  EXPECT_EQ(paths, expected);
}

TEST(PageFiles, AssetsAreKeptByTheBrowser) {
  const PageFiles files(stand_in_pages());
  const auto script = files.asset("app-1a2b3c.js", false);
  ASSERT_TRUE(script);
  EXPECT_EQ(script->status, 200);
  EXPECT_EQ(script->content_type, "text/javascript; charset=utf-8");
  EXPECT_EQ(body_of(*script), text_of("assets/app-1a2b3c.js"));
  EXPECT_EQ(script->fields,
            "Vary: Accept-Encoding\r\nCache-Control: public, max-age=31536000, immutable\r\n");
  EXPECT_EQ(files.asset("app-4d5e6f.css", false)->content_type, "text/css; charset=utf-8");
}

TEST(PageFiles, AreSmallerInGzip) {
  const auto script = PageFiles(stand_in_pages()).asset("app-1a2b3c.js", true);
  ASSERT_TRUE(script);
  EXPECT_LT(body_of(*script).size(), text_of("assets/app-1a2b3c.js").size() / 2);
  EXPECT_TRUE(script->fields.find("Content-Encoding: gzip\r\n") != std::string::npos);
}

TEST(PageFiles, AreNotCopied) {
  const PageFiles files(stand_in_pages());
  for (const EmbeddedFile& file : stand_in_pages()) {
    if (file.path != "index.html") continue;
    EXPECT_EQ(body_of(files.page("index.html", false)).data(), file.content.data());
    EXPECT_EQ(body_of(files.page("index.html", true)).data(), file.gzip.data());
    return;
  }
  FAIL() << "there is no index.html";
}

TEST(PageFiles, OtherNamesAreNoAssets) {
  const PageFiles files(stand_in_pages());
  for (const char* const name : {"", "app.js", "../index.html", "app-1a2b3c.js/", "index.html"}) {
    EXPECT_FALSE(files.asset(name, false)) << name;
  }
}

TEST(PageFiles, PagesAreAskedForEachTime) {
  const Response page = PageFiles(stand_in_pages()).page("index.html", false);
  EXPECT_EQ(page.status, 200);
  EXPECT_EQ(page.content_type, "text/html; charset=utf-8");
  EXPECT_EQ(body_of(page), text_of("index.html"));
  EXPECT_TRUE(page.fields.find("Cache-Control: no-store\r\n") != std::string::npos);
}

TEST(PageFiles, AProgramWithoutPagesSaysSo) {
  const Response page = PageFiles({}).page("index.html", true);
  EXPECT_EQ(page.status, 404);
  EXPECT_EQ(page.content_type, "text/plain");
  EXPECT_TRUE(page.body.starts_with("this program was built without pages")) << page.body;
  EXPECT_EQ(page.fields, "");
}

}  // namespace
}  // namespace pelto::collector
