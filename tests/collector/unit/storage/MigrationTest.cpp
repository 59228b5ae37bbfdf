// Files that earlier versions of the program wrote, as SQL text, are brought up to date.
#include <fstream>
#include <iterator>

#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Statement.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "collector/storage/sqlite/Schema.h"
#include "tests/collector/unit/storage/Samples.h"

namespace pelto::collector::testing {
namespace {

using ::testing::IsEmpty;

class Migration : public ::testing::Test {
 protected:
  /// Makes the file that a program of this version wrote.
  void make_file(int version) {
    std::ifstream input(std::string(PELTO_STORAGE_SAMPLES) + "/version-" + std::to_string(version) +
                        ".sql");
    const std::string text(std::istreambuf_iterator<char>(input), {});
    ASSERT_FALSE(text.empty());
    SQLite::Database database(path_, SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE);
    database.exec(text);
    ASSERT_EQ(version_of_file(), version);
  }

  int version_of_file() {
    SQLite::Database database(path_);
    return database.execAndGet("PRAGMA user_version").getInt();
  }

  TemporaryFolder folder_;
  std::string path_ = folder_ / sqlite_file_name;
};

TEST_F(Migration, OfVersion1KeepsEverything) {
  make_file(1);
  const auto storage = open_sqlite_storage(path_);
  EXPECT_EQ(version_of_file(), schema_version);
  EXPECT_THAT(storage->check(), IsEmpty());

  const auto kept = export_all(*storage);
  ASSERT_EQ(kept.size(), 10);
  EXPECT_EQ(kept[0].delivery.id, "00000000-0000-0000-0000-000000000001");
  EXPECT_EQ(kept[0].delivery.received, at("2026-01-01T10:00:00Z"));
  EXPECT_TRUE(kept[0].is_replaced);
  EXPECT_EQ(kept[9].delivery.product, "other");
  const auto counts = storage->count_commands(everything());
  EXPECT_EQ(counts.installations.installations, 8);
  EXPECT_EQ(counts.rows.size(), 2);
  EXPECT_EQ(storage->erase_email("ann@example.org", to_the_end).deliveries, 1);
  EXPECT_THAT(storage->check(), IsEmpty());
}

TEST_F(Migration, OfVersion1GivesWhatIsNewRoom) {
  make_file(1);
  open_sqlite_storage(path_);
  SQLite::Database database(path_, SQLite::OPEN_READWRITE);
  database.exec("INSERT INTO audit(at, user, action, detail) VALUES (1, 'ann', 'log-in', '')");
  EXPECT_EQ(database.execAndGet("SELECT count(*) FROM audit").getInt(), 1);
}

TEST_F(Migration, IsDoneOnce) {
  make_file(1);
  for (int i = 0; i < 2; ++i) EXPECT_EQ(export_all(*open_sqlite_storage(path_)).size(), 10);
  EXPECT_EQ(version_of_file(), schema_version);
}

TEST_F(Migration, OfAnEmptyFileAndOfVersion1GivesTheSameTables) {
  const auto tables = [](const std::string& path) {
    SQLite::Database database(path);
    SQLite::Statement rows(database, "SELECT sql FROM sqlite_master WHERE sql <> '' ORDER BY name");
    std::vector<std::string> all;
    while (rows.executeStep()) all.push_back(rows.getColumn(0).getString());
    return all;
  };
  make_file(1);
  open_sqlite_storage(path_);
  open_sqlite_storage(folder_ / "new");
  EXPECT_EQ(tables(path_), tables(folder_ / "new"));
}

}  // namespace
}  // namespace pelto::collector::testing
