#include "collector/storage/sqlite/LeafPage.h"

#include <cstdint>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Statement.h>
#include <gtest/gtest.h>

#include "tests/collector/support/TemporaryFolder.h"

namespace pelto::collector::testing {
namespace {

constexpr std::size_t header_size = 8;

/// The pages of a table that SQLite wrote, with rows of these sizes.
std::vector<std::string> pages_with(int page_size, const std::vector<std::int64_t>& sizes) {
  const test::TemporaryFolder folder;
  const std::string path = folder / "file";
  std::vector<std::string> pages;
  std::vector<std::int64_t> numbers;
  {
    SQLite::Database database(path, SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE);
    database.exec("PRAGMA synchronous = OFF; PRAGMA page_size = " + std::to_string(page_size));
    database.exec("CREATE TABLE t(number INTEGER PRIMARY KEY, text TEXT)");
    std::int64_t key = 1;
    for (const std::int64_t size : sizes) {
      SQLite::Statement row(database, "INSERT INTO t VALUES (?1, ?2)");
      row.bind(1, key);
      row.bind(2, std::string(static_cast<std::size_t>(size), 'x'));
      row.exec();
      // Keys of every length.
      key *= 100;
    }
    SQLite::Statement found(database,
                            "SELECT pageno FROM dbstat WHERE name = 't' AND pagetype = 'leaf'");
    while (found.executeStep()) numbers.push_back(found.getColumn(0).getInt64());
  }
  std::ifstream file(path, std::ios::binary);
  const std::string bytes(std::istreambuf_iterator<char>(file), {});
  for (const std::int64_t number : numbers) {
    pages.push_back(bytes.substr(static_cast<std::size_t>((number - 1) * page_size),
                                 static_cast<std::size_t>(page_size)));
  }
  return pages;
}

TEST(LeafPage, LosesItsRowsOfEverySize) {
  for (const int page_size : {512, 4096}) {
    for (std::int64_t size = 3; size < 3 * page_size; size += page_size / 73) {
      for (std::string& page : pages_with(page_size, {size})) {
        ASSERT_NE(page.find("xxx"), std::string::npos);
        blank_rows(page);
        EXPECT_EQ(page.find("xxx"), std::string::npos) << size << " in " << page_size;
      }
    }
  }
}

TEST(LeafPage, LosesAllOfItsRows) {
  const auto pages = pages_with(512, {3, 20, 300, 5000, 0, 100, 127, 128, 477});
  ASSERT_GT(pages.size(), 1U);
  for (std::string page : pages) {
    blank_rows(page);
    EXPECT_EQ(page.find("xxx"), std::string::npos);
  }
}

TEST(LeafPage, KeepsTheBytesOfItsUnusedParts) {
  std::string page = pages_with(4096, {20, 300}).at(0);
  const std::size_t unused = page.find("xxx") - 400;
  page.replace(unused, 4, "left");
  blank_rows(page);
  EXPECT_EQ(page.substr(unused, 4), "left");
  EXPECT_EQ(page[0], 13);
}

TEST(LeafPage, OfAnotherKindStaysAsItIs) {
  for (const int kind : {0, 2, 5, 10, 83}) {
    std::string page = pages_with(4096, {20}).at(0);
    page[0] = static_cast<char>(kind);
    const std::string before = page;
    blank_rows(page);
    EXPECT_EQ(page, before);
  }
}

TEST(LeafPage, WithARowBeyondItsEndKeepsThatRow) {
  std::string page = pages_with(4096, {20, 300}).at(0);
  const std::string before = page;
  page[header_size] = '\x0f';
  page[header_size + 1] = '\xff';
  blank_rows(page);
  EXPECT_NE(page.find(std::string(20, 'x')), std::string::npos);
  EXPECT_EQ(page.find(std::string(21, 'x')), std::string::npos);
}

TEST(LeafPage, OfRandomBytesIsNoDanger) {
  std::uint32_t state = 7;
  for (int round = 0; round < 2000; ++round) {
    std::string page(512, '\0');
    for (char& byte : page) {
      state = state * 1664525U + 1013904223U;
      byte = static_cast<char>(state >> 24U);
    }
    page[0] = 13;
    blank_rows(page);
    EXPECT_EQ(page.size(), 512U);
    EXPECT_EQ(page[0], 13);
  }
}

}  // namespace
}  // namespace pelto::collector::testing
