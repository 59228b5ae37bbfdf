#include <limits>
#include <random>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "collector/storage/Storage.h"
#include "collector/storage/sqlite/Bytes.h"
#include "collector/storage/sqlite/Cells.h"
#include "collector/storage/sqlite/TextPacking.h"
#include "tests/collector/unit/storage/Samples.h"

namespace pelto::collector::testing {

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

TEST(Packing, NumbersOfEverySizeComeBack) {
  constexpr auto largest = std::numeric_limits<std::uint64_t>::max();
  constexpr auto lowest = std::numeric_limits<std::int64_t>::min();
  for (const std::uint64_t number : {std::uint64_t{0}, std::uint64_t{127}, std::uint64_t{128},
                                     std::uint64_t{1} << 35U, largest}) {
    ByteWriter writer;
    writer.number(number);
    EXPECT_EQ(ByteReader(writer.bytes()).number(), number);
  }
  for (const std::int64_t number : {std::int64_t{0}, std::int64_t{-1}, std::int64_t{63},
                                    std::int64_t{-64}, lowest, -(lowest + 1)}) {
    ByteWriter writer;
    writer.signed_number(number);
    EXPECT_EQ(ByteReader(writer.bytes()).signed_number(), number);
  }
}

TEST(Packing, BytesThatBreakOffAreDamaged) {
  EXPECT_THROW(ByteReader("").number(), StorageError);
  EXPECT_THROW(ByteReader("\x80").number(), StorageError);
  EXPECT_THROW(ByteReader(std::string(11, '\xff')).number(), StorageError);
  EXPECT_THROW(ByteReader("\x05"
                          "abc")
                   .text(),
               StorageError);
  NumberedReport report;
  EXPECT_FALSE(unpack("\x02\x01\x01", report));
  EXPECT_THAT(report.commands, IsEmpty());
  EXPECT_THROW(read_installations("xyz"), StorageError);
}

TEST(Packing, RandomBytesAreDamagedOrAReport) {
  std::mt19937 random(3);
  for (int i = 0; i < 5000; ++i) {
    std::string bytes;
    for (auto left = random() % 40; left > 0; --left) {
      bytes.push_back(static_cast<char>(random() % 16 == 0 ? random() : random() % 4));
    }
    NumberedReport report;
    const bool is_report = unpack(bytes, report);
    EXPECT_LE(report.commands.size(), is_report ? bytes.size() : 0);
  }
}

TEST(Packing, PlacesComeBackWithTheirSigns) {
  const Places places{{1, 3}, {7, -2}, {1'000'000'000, 1}};
  const Places read = read_places(bytes_of(places));
  EXPECT_EQ(read, places);
  EXPECT_THAT(add_places(read, {{2, 1}, {7, 2}}),
              ElementsAre(Pair(1, 3), Pair(2, 1), Pair(1'000'000'000, 1)));
}

std::string sent_text(const Report& report) {
  std::string text = "<PeltoRpt>\n    <cmd_stat>\n        <cmds>\n";
  for (const CommandCount& command : report.commands) {
    text += "            <cmd id=\"" + std::to_string(command.order) + "\" name=\"" + command.name +
            "\" count=\"" + std::to_string(command.uses) + "\" />\n";
  }
  text +=
      "        </cmds>\n    </cmd_stat>\n    <ftype_stat>\n        <ftypes>\n"
      "        </ftypes>\n    </ftype_stat>\n    <sys_info>\n    </sys_info>\n"
      "    <app_info>\n        <prop name=\"app_name\">Designer</prop>\n"
      "        <prop name=\"app_ver\">1.0</prop>\n    </app_info>\n</PeltoRpt>\n";
  return text;
}

TEST(Packing, AnOrdinaryTextCostsFewBytesAndComesBack) {
  Report report = sample_report("first");
  report.commands.clear();
  for (int i = 10; i < 70; ++i) {
    report.commands.push_back({"Command of a Menu " + std::to_string(i), i * 37 % 201, 80 - i});
  }
  report.text = sent_text(report);
  const std::string packed = pack_text(report);
  EXPECT_GT(report.text.size(), 4000U);
  EXPECT_LT(packed.size(), 60U);
  EXPECT_EQ(unpack_text(packed, report), report.text);
}

TEST(Packing, AnyTextComesBack) {
  Report report = sample_report("first");
  std::mt19937 random(5);
  for (const std::size_t length : {std::size_t{1}, std::size_t{100}, std::size_t{300'000}}) {
    report.text.clear();
    while (report.text.size() < length) report.text.push_back(static_cast<char>(random()));
    EXPECT_EQ(unpack_text(pack_text(report), report), report.text);
  }
}

TEST(Packing, ADamagedTextIsAnError) {
  Report report = sample_report("first");
  report.text = sent_text(report);
  const std::string packed = pack_text(report);
  EXPECT_THROW(unpack_text("", report), StorageError);
  EXPECT_THROW(unpack_text("no compressed text", report), StorageError);
  EXPECT_THROW(unpack_text(packed.substr(0, packed.size() - 2), report), StorageError);
}

}  // namespace

}  // namespace pelto::collector::testing
